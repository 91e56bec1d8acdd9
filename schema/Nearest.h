// "Did you mean ...": the names that are close to one that does not exist.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Yaml {

/**
 * At most three of `names`, nearest first by edit distance (letter case and a missing "Module::" count little), in the
 * order given where they are equally near. Empty when none is near.
 */
std::vector<std::string> nearest(std::string_view name, std::span<std::string const> names);

/** "; did you mean 'a', 'b'?", or nothing when none is near: to end a message with. */
std::string didYouMean(std::string_view name, std::span<std::string const> names);

}  // namespace Yaml
