// What a schema holds, in lines for a person.
#pragma once

#include <string>

#include "model/Schema.h"

namespace ZynKey {

/**
 * One line for the type (name, kind, marks, form) and one for each attribute or enumerator:
 *
 *   Network::RouteKey: Value, marks Value S4
 *     vrf: Zyn::String, argument 1, s4 1
 *   Network::Vrf: Entity
 *     route: keyed by key, Network::RouteKey; entries Network::Route
 */
std::string describe(Zyn::ZynType type);
/** Every type, core types first. */
std::string describe(Model::Schema const& schema);

/** One line for each module: how many types and collections it has. */
std::string summary(Model::Schema const& schema);

}  // namespace ZynKey
