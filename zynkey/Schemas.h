// The schema that the options name: a YAML file, YANG modules, or the built-in example.
#pragma once

#include <exception>
#include <string>
#include <string_view>
#include <vector>

#include "gnmi/Resolver.h"
#include "model/Schema.h"
#include "zynkey/Names.h"
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

/** With the name of the command in front. */
void warnOnStandardError(std::string_view line);

struct Source {
  Model::Schema schema;
  /** What paths need to know of it. */
  Gnmi::SchemaFacts facts;
};

/**
 * All of these throw `BadSchema` for a schema with errors, and for a file that cannot be read. `warn` gets a line for
 * each YANG module of which one of several files was taken, "note: ...", and each that does not load, "warning: ...".
 */
Source loadSource(SchemaOptions const& options, void (*warn)(std::string_view line) = warnOnStandardError);
Model::Schema loadSchema(SchemaOptions const& options, void (*warn)(std::string_view line) = warnOnStandardError);

}  // namespace ZynKey
