// The works, by what they tell; `works()` of the program puts them together.
#pragma once

#include <cstddef>

#include "bench/Work.h"

namespace Bench {

/** The decoder with the embedded provider, job by job. */
void addJobs(Works& works);
/** The same as hand-written code would do it that knows the key's type; and what an exception costs at least. */
void addFloor(Works& works);
/** One work for each size, to see that time and memory grow in proportion. */
void addGrowth(Works& works);
/** The same of paths, with their length, their keys, and the schema. */
void addPathGrowth(Works& works);
/** The types made of YANG modules, each beside libyang on the same list. */
void addYang(Works& works);
/** Another library on equal keys. */
void addProtobufPeer(Works& works);

/** The key of which every peer makes the same: a string, a number, a prefix. */
inline constexpr char const* vrfText = "customer1";
inline constexpr char const* tagText = "4200";
inline constexpr char const* prefixText = "10.20.0.0/16";

}  // namespace Bench
