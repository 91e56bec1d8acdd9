// "Did you mean ...": the names that are close to one that does not exist.
//
//   near       "Network::vlanid" -> "VlanId"; "Vfr.route" -> "Vrf.route"; "Strng" -> "String"; "BPG" -> "BGP"
//   not near   "Colour" -> none of "Route", "U8"
//
// Names may have a qualifier, up to their last '.' or "::". It counts less than the rest: one that is missing, hardly
// at all. Both functions may be called from any thread, copy what they return, and throw `std::bad_alloc` only.
//
// Time is bounded whatever the names are: none is near to a name of more than 64 bytes, and only the first 10,000 of
// `names` are looked at.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Text {

/**
 * At most three of `names`, nearest first by edit distance (in bytes, where another letter case counts little, and two
 * neighbours that are swapped count as one), in the order given where they are equally near. Empty when none is near: a
 * third of the name may differ, and always one byte.
 */
std::vector<std::string> nearest(std::string_view name, std::span<std::string const> names);

/** "; did you mean 'a', 'b'?", or nothing when none is near: to end a message with. */
std::string didYouMean(std::string_view name, std::span<std::string const> names);

}  // namespace Text
