// Random texts for a compiled YANG type: many that fit, many that nearly do, and some that fit nothing.
#pragma once

#include <libyang/libyang.h>

#include <cstddef>
#include <random>
#include <string>
#include <vector>

namespace YangTest {

using Random = std::mt19937_64;

/** At least `count` texts without NUL bytes, for the type's target where it is a leafref. */
std::vector<std::string> textsFor(lysc_type const& type, Random& random, std::size_t count);

/** A text that an XSD pattern mostly takes; what it does not know of patterns it takes literally. */
std::string likePattern(std::string_view pattern, Random& random);

}  // namespace YangTest
