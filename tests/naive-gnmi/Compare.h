// One case: a schema, a path, perhaps a prefix, as text or message, and what the resolver and the oracle make of it. Or
// a schema, subscriptions and changed nodes, and what the matcher makes of them.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "tests/naive-gnmi/Choices.h"

namespace NaiveGnmi {

/** How often something worth trying happened. */
using Tally = std::map<std::string_view, std::uint64_t>;

/** What differs first, the case behind it; empty where nothing does. Throws `std::bad_alloc` only. */
std::string difference(Choices& choices, Tally& tally);

/** What a tally comes by when there are enough cases. */
extern std::string_view const wanted[];
extern std::size_t const wantedCount;

/** The same for subscriptions and changed nodes: the matcher, and rules tried one subscription after the other. */
std::string matcherDifference(Choices& choices, Tally& tally);
extern std::string_view const wantedOfMatcher[];
extern std::size_t const wantedOfMatcherCount;

}  // namespace NaiveGnmi
