// What YANG modules tell of a schema, as a resolver asks for it.
//
//   auto const modules = std::make_shared<Yang::Loaded const>(*Yang::load(folders, {}));
//   Gnmi::Resolver const resolver(modules->root, {.facts = Gnmi::yangFacts(modules)});
//
// Whether a node that was resolved is state, and whether the user orders the entries of a list, the modules tell:
//
//   modules->isState(found.node.attr)
//   modules->isOrderedByUser(found.selections[0].collection)
//
// The one header that knows both gnmi/ and yang/: include it where both are linked. The facts keep the modules.
#pragma once

#include <memory>
#include <utility>

#include "gnmi/ModelValues.h"
#include "gnmi/Resolver.h"
#include "yang/Yang.h"

namespace Gnmi {

inline SchemaFacts yangFacts(std::shared_ptr<Yang::Loaded const> modules) {
  SchemaFacts facts = modelFacts();
  facts.origins = modules->origins;
  facts.isHidden = [modules](Zyn::ZynAttr attr) { return modules->isWholeKey(attr); };
  facts.pathOf = [modules](Zyn::ZynAttr attr) { return modules->pathOf(attr); };
  facts.moduleOf = [modules = std::move(modules)](Zyn::ZynAttr attr) { return modules->moduleOf(attr); };
  return facts;
}

}  // namespace Gnmi
