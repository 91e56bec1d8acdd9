// The works, by what they tell; `works()` of the program puts them together.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "bench/Work.h"

namespace Bench {

/** The decoder with the embedded provider, job by job. */
void addJobs(Works& works);
/** The same as hand-written code would do it that knows the key's type; and what an exception costs at least. */
void addFloor(Works& works);
/** Keys that differ from call to call. */
void addVaried(Works& works);
/** A table of a million keys: from a path to the entry, by typed key and by text. */
void addTables(Works& works);
/** A change against subscriptions. */
void addMatcher(Works& works);
/** One work for each size, to see that time and memory grow in proportion. */
void addGrowth(Works& works);
/** The same of paths, with their length, their keys, and the schema. */
void addPathGrowth(Works& works);
/** The types made of YANG modules, each beside libyang on the same list. */
void addYang(Works& works);
/** Another library on equal keys. */
void addProtobufPeer(Works& works);

/** The texts of a key of three fields, of which every peer makes the same: a string, a number, a prefix. */
struct KeyTexts {
  std::string vrf;
  std::string tag;
  std::string prefix;
};

/** The one key of all works that use no other. */
inline constexpr char const* vrfText = "customer1";
inline constexpr char const* tagText = "4200";
inline constexpr char const* prefixText = "10.20.0.0/16";
/** Of the same shape, another for each number. */
KeyTexts numberedKey(std::size_t number);
/**
 * 10^5 keys as networks have them, in an order without pattern: names of interfaces and of routing tables of 4 to 24
 * bytes, prefixes of IPv4 and IPv6 of the lengths that are common.
 */
std::vector<KeyTexts> const& variedKeys();
std::vector<Fields> variedFields();

/** A collection of such keys. */
Zyn::ZynAttr listOf3();
Fields fieldsOf(KeyTexts const& texts);
/** In the schema of `listOf3`. */
std::string pathOf(KeyTexts const& texts);
/** Numbers `f0`, `f1`, ... of a key. */
Fields numberFields(std::size_t count);

}  // namespace Bench
