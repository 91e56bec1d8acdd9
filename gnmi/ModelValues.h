// The values of the embedded type system, as a resolver asks for them.
//
//   Gnmi::ModelValues const values;
//   auto const path = resolver.canonical(found, values);
//
// The one header that knows both gnmi/ and model/: include it where both are linked. It holds nothing; any thread may
// use it. Throws `std::bad_alloc` only.
#pragma once

#include <optional>
#include <string>

#include "gnmi/Resolver.h"
#include "model/Schema.h"
#include "model/Value.h"

namespace Gnmi {

class ModelValues final : public Values {
 public:
  /** With `useS4Encoding`, as in the resolver's options, types that have an s4 encoding print as s4 texts. */
  explicit ModelValues(bool useS4Encoding = false) : useS4Encoding_(useS4Encoding) {}

  Velko::Ptr<Zyn::GenericIf const> part(Zyn::GenericIf const& value, Zyn::ZynAttr attr) const override {
    return Model::attribute(value, attr);
  }
  std::optional<std::string> text(Zyn::GenericIf const& value) const override {
    Zyn::ZynType const type = Model::typeOf(value);
    if (!useS4Encoding_ || !type.hasS4Encoding() || !type.valAttr().empty()) {
      return Model::gnmiText(value);
    }
    try {
      return Model::s4Text(value);
    } catch (Velko::Exception const&) {
      return std::nullopt;  // Some of the value was never set.
    }
  }
  bool equal(Zyn::GenericIf const& a, Zyn::GenericIf const& b) const override { return Model::equal(a, b); }
  std::size_t hash(Zyn::GenericIf const& value) const override { return Model::hash(value); }

 private:
  bool useS4Encoding_;
};

/**
 * What the embedded type system knows of a schema: which attributes are lists without keys. Give it to every resolver
 * of types that were built in code or read from YAML. Modules and origins are known to a loader only; see `yangFacts`.
 */
inline SchemaFacts modelFacts() {
  return {.isList = [](Zyn::ZynAttr attr) { return Model::isList(attr); }};
}

}  // namespace Gnmi
