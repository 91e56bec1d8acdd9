#include "bench/Decoder.h"

#include <absl/strings/escaping.h>
#include <fmt/core.h>

#include <algorithm>
#include <memory>
#include <random>

#include "bench/Gnmi.h"
#include "model/Runtime.h"
#include "model/Schema.h"
#include "yaml/Yaml.h"

namespace Bench {
namespace {

using Model::core;
using Model::Kind;

Model::Module& module() {
  static Model::Schema schema;
  static Model::Module& one = schema.module("Bench");
  return one;
}

/** A collection of entries with such a key, which is held in the attribute `key`. */
Zyn::ZynAttr collectionOf(Zyn::ZynType key) {
  static int number = 0;
  std::string const name = fmt::format("list{}", ++number);
  Zyn::ZynType const entry = module().entity("Entry-" + name).attr("key", key);
  Zyn::ZynType const owner = module().entity("Owner-" + name).keyed(name, entry, "key");
  return owner.attr(name);
}

/** A value type of `count` numbers `f0`, `f1`, ..., of which the first `arguments` are constructor arguments. */
Zyn::ZynType numbers(std::string const& name, std::size_t count, std::size_t arguments) {
  Model::TypeBuilder type = module().value(name);
  std::vector<std::string> names;
  for (std::size_t i = 0; i < count; ++i) {
    type.attr(names.emplace_back(fmt::format("f{}", i)), core(Kind::U32));
  }
  type.args(std::vector<std::string_view>(names.begin(), names.begin() + static_cast<std::ptrdiff_t>(arguments)));
  return type;
}

/** A union of `width` alternatives, of which only the last takes a text that is no number. */
Zyn::ZynType unionOf(std::size_t width) {
  Model::TypeBuilder type = module().unionOf(fmt::format("Union{}", width));
  for (std::size_t i = 0; i + 1 < width; ++i) {
    Zyn::ZynType const number = module().scalar(fmt::format("Number{}of{}", i, width), Kind::U32);
    type.attr(fmt::format("number{}", i), number);
  }
  type.attr("mac", core(Kind::MacAddress));
  return type;
}

/** A text of `size` base64 characters: the message of a type that holds bytes. */
std::string s4Text(std::size_t size) {
  std::size_t const payload = size / 4 * 3 - (size > 1000 ? 4 : 2);
  std::string message = "\x0a";
  for (std::size_t rest = payload; rest != 0; rest >>= 7U) {
    message += static_cast<char>((rest & 0x7FU) | (rest > 0x7FU ? 0x80U : 0U));
  }
  message.append(payload, 'x');
  return absl::Base64Escape(message);
}

/** Collections of so many types: for each a key of two numbers, an entry, and an owner. */
std::vector<Zyn::ZynAttr> collectionsOf(std::size_t types, Model::Schema& schema) {
  Model::Module& all = schema.module(fmt::format("Types{}", types));
  std::vector<Zyn::ZynAttr> lists;
  for (std::size_t i = 0; i < types / 3; ++i) {
    Zyn::ZynType const key =
        all.value(fmt::format("Key{}", i)).attr("f0", core(Kind::U32)).attr("f1", core(Kind::U32)).args({"f0", "f1"});
    Zyn::ZynType const entry = all.entity(fmt::format("Entry{}", i)).attr("key", key);
    lists.push_back(Zyn::ZynType(all.entity(fmt::format("Owner{}", i)).keyed("list", entry, "key")).attr("list"));
  }
  // In an order without pattern, so that the next one is not at hand already.
  std::ranges::shuffle(lists, std::mt19937_64());
  return lists;
}

}  // namespace

Zyn::ZynAttr listOf3() {
  static Zyn::ZynAttr const list = collectionOf(module()
                                                    .value("Key3")
                                                    .attr("vrf", core(Kind::String))
                                                    .attr("tag", core(Kind::U32))
                                                    .attr("prefix", core(Kind::IpPrefix))
                                                    .args({"vrf", "tag", "prefix"}));
  return list;
}

SharedResolver resolverOf(Zyn::ZynAttr collection) {
  return std::make_shared<Gnmi::Resolver const>(Zyn::ZynType(collection.module(), collection.owner()));
}

void addJobs(Works& works) {
  Zyn::ZynType const string = core(Kind::String);
  Zyn::ZynType const u32 = core(Kind::U32);
  Zyn::ZynAttr const list3 = listOf3();
  Zyn::ZynType const inner = module().wrapper("Inner", core(Kind::U16));
  Zyn::ZynType const outer = module().wrapper("Outer", inner);
  Zyn::ZynType const color = module().enumeration("Color", {{"red", 1}, {"green", 2}, {"blue", 3}});
  Zyn::ZynType const either =
      module().unionOf("Either", {{"number", u32}, {"address", core(Kind::IpAddress)}, {"name", string}});
  Zyn::ZynType const five = unionOf(5);
  Zyn::ZynType const blob = module().value("Blob").attr("data", core(Kind::Bytes)).s4({{"data", 1}});
  Zyn::ZynType const site = module().value("Site").attr("region", string).attr("rack", u32).args({"region", "rack"});
  Zyn::ZynType const endpoint =
      module().value("Endpoint").attr("site", site).attr("address", core(Kind::IpAddress)).args({"site", "address"});
  Zyn::ZynType const tunnel = module().value("Tunnel").attr("from", endpoint).attr("id", u32).args({"from", "id"});

  works.push_back({"nothing", [] {}});
  works.push_back(split("split, 3 elements", "key__site__region"));
  works.push_back(scalar("scalar, string of 9", list3, string, "Ethernet1"));
  works.push_back(scalar("scalar, u32", list3, u32, "4200"));
  works.push_back(scalar("scalar, enum", list3, color, "green"));
  works.push_back(scalar("scalar, gNMI form", list3, core(Kind::IpPrefix), prefixText));
  works.push_back(scalar("scalar, wrapper of wrapper", list3, outer, "7"));
  works.push_back(scalar("scalar, union hit first", list3, either, "4200"));
  works.push_back(scalar("scalar, union of 5 hit first", list3, five, "4200"));
  works.push_back(scalar("scalar, union of 5 hit last", list3, five, "02:00:5e:10:00:ff"));
  works.push_back(scalar("scalar, union of 5 missed", list3, five, "eth0", false, true));
  works.push_back(scalar("scalar, s4 of 16 bytes", list3, blob, s4Text(16), true));
  works.push_back(scalar("scalar, s4 of 1 MiB", list3, blob, s4Text(std::size_t{1} << 20U), true));
  works.back().rounds = 2;
  Fields const threeFields = fieldsOf({vrfText, tagText, prefixText});
  works.push_back(wholeKey("key, 3 fields", list3, threeFields));
  works.push_back({"key, 3 fields, plain counts", [whole = works.back().run] {
                     Model::setThreadSafe(false);
                     whole();
                     Model::setThreadSafe(true);
                   }});
  works.push_back(wholeKey("key, 8 fields", collectionOf(numbers("Key8", 8, 8)), numberFields(8)));
  works.push_back(wholeKey("key, 12 fields", collectionOf(numbers("Key12", 12, 9)), numberFields(12)));
  works.push_back(wholeKey("key, nested three deep", collectionOf(tunnel),
                           {{"key__from__site__region", "north"},
                            {"key__from__site__rack", "42"},
                            {"key__from__address", "10.0.0.1"},
                            {"key__id", "7"}}));
  static Yaml::Loaded const example = Yaml::loadFile(EXAMPLE_SCHEMA);
  if (!example) {
    fail(EXAMPLE_SCHEMA, "does not load");
  }
  works.push_back(wholeKey("key, as in a batch", example->type("Vrf").attr("route"),
                           {{"key__vrf", "red"}, {"key__prefix", "10.0.0.0/24"}, {"key__protocol", "bgp"}}));
  works.push_back(filter("filter, 3 fields", list3, {{"vrf", vrfText}, {"tag", tagText}, {"prefix", prefixText}}));
  works.push_back(wholeKey("error, unknown attribute", list3, {{"key__color", "red"}}, true));
  works.push_back(wholeKey("error, value that does not fit", list3, {{"key__tag", "red"}}, true));
  works.push_back(
      wholeKey("error, key with a value that does not fit", list3, fieldsOf({vrfText, "red", prefixText}), true));
  works.push_back(wholeKey("error, missing attribute", list3, {{"key__vrf", "red"}}, true));
  Zyn::ZynAttr const list1 = collectionOf(string);
  works.push_back(textPath("gnmi, path of 1 key", resolverOf(list1), fmt::format("/{}[key=Ethernet1]", list1.name())));
  std::string const path3 = pathOf({vrfText, tagText, prefixText});
  works.push_back(textPath("gnmi, path of 3 keys", resolverOf(list3), path3));
  works.push_back(messagePath("gnmi, message of 3 keys", resolverOf(list3), path3));
}

void addGrowth(Works& works) {
  for (std::size_t const count : {1U, 2U, 4U, 8U, 16U, 24U, 32U, 40U, 48U, 56U, 64U}) {
    Zyn::ZynType const key = numbers(fmt::format("Wide{}", count), count, count);
    works.push_back(wholeKey(fmt::format("growth, fields: {}", count), collectionOf(key), numberFields(count)));
    works.back().rounds = 20;
  }
  Zyn::ZynType level = core(Kind::U32);
  std::string path = "key";
  for (std::size_t depth = 1; depth <= 32; ++depth) {
    level = module().value(fmt::format("Level{}", depth)).attr("in", level).args({"in"});
    path += "__in";
    if (depth == 1 || depth % 4 == 0) {
      works.push_back(wholeKey(fmt::format("growth, depth: {}", depth), collectionOf(level), {{path, "7"}}));
      works.back().rounds = 20;
    }
  }
  for (std::size_t const count : {1U, 1024U, 2048U, 4096U, 6144U, 8192U}) {
    std::string longPath = "a";
    for (std::size_t i = 1; i < count; ++i) {
      longPath += "__a";
    }
    works.push_back(split(fmt::format("growth, path elements: {}", count), longPath));
    works.back().rounds = 2;
  }
  Zyn::ZynAttr const anyList = collectionOf(core(Kind::U32));
  for (std::size_t const width : {1U, 2U, 4U, 8U, 16U, 24U, 32U, 40U, 48U, 56U, 64U}) {
    works.push_back(scalar(fmt::format("growth, union width: {}", width), anyList, unionOf(width == 5 ? 6 : width),
                           "02:00:5e:10:00:ff"));
    works.back().rounds = 5;
  }
  for (std::size_t const mib : {1U, 8U, 16U, 24U, 32U, 40U, 48U, 56U, 64U}) {
    works.push_back(later(fmt::format("growth, string of MiB: {}", mib), [mib, anyList] {
      return scalar("string", anyList, core(Kind::String), std::string(std::size_t{mib} << 20U, 'x')).run;
    }));
  }
  std::vector<std::size_t> const sizes = {1'000, 10'000, 100'000, 250'000, 500'000, 750'000, 1'000'000};
  for (std::size_t const types : sizes) {
    works.push_back(later(fmt::format("growth, types of a schema that is built: {}", types), [types] {
      return [types] {
        Model::Schema schema;
        keep(collectionsOf(types, schema));
      };
    }));
  }
  for (std::size_t const types : sizes) {
    works.push_back(later(fmt::format("growth, types of a schema that decode a key in turn: {}", types), [types] {
      static Model::Schema schema;
      return inTurn(collectionsOf(types, schema),
                    [fields = numberFields(2)](Zyn::ZynAttr list) { keep(decodedKey(list, fields)); });
    }));
  }
}

Works works() {
  Works all;
  addJobs(all);
  addFloor(all);
  addProtobufPeer(all);
  addYang(all);
  addVaried(all);
  addTables(all);
  addMatcher(all);
  addGrowth(all);
  addPathGrowth(all);
  return all;
}

}  // namespace Bench
