// The schema that the options name: a YAML file, YANG modules, or the built-in example.
#pragma once

#include <exception>
#include <string>
#include <vector>

#include "gnmi/Resolve.h"
#include "model/Schema.h"
#include "zynkey/Options.h"

namespace ZynKey {

/** Every problem of a schema is a line of `what()`, with its end. */
class BadSchema : public std::exception {
 public:
  explicit BadSchema(std::vector<std::string> const& problems);
  char const* what() const noexcept override { return lines_.c_str(); }

 private:
  std::string lines_;
};

struct Source {
  Model::Schema schema;
  /** Tells the YANG module of an attribute; empty for other schemas. */
  Gnmi::ModuleOf moduleOf = {};
};

/** All of these throw `BadSchema` for a schema with errors, and for a file that cannot be read. */
Source loadSource(SchemaOptions const& options);
Model::Schema loadSchema(SchemaOptions const& options);

}  // namespace ZynKey
