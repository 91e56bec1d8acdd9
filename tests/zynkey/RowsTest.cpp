// Lines to rows, as a program calls it: what the command's golden files do not show.
#include "zynkey/Rows.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "gnmi/ModelValues.h"
#include "model/Runtime.h"
#include "yaml/Yaml.h"
#include "zynkey/ExampleSchema.h"

namespace {

using nlohmann::json;
using ZynKey::Row;
using ZynKey::RowFormat;
using ZynKey::RowInput;
using ZynKey::RowOptions;
using ZynKey::Rows;

Model::Schema const& schema() {
  static Yaml::Loaded const loaded = Yaml::loadText(ZynKey::exampleSchema, "example.yaml");
  return *loaded;
}

Rows made(RowOptions const& options) {
  auto rows = Rows::make(schema(), Gnmi::modelFacts(), options);
  if (!rows) {
    throw std::runtime_error(rows.error());
  }
  return *std::move(rows);
}

std::vector<json> objects(Rows& rows, std::string_view line) {
  std::string out;
  std::vector<json> all;
  for (Row const& row : rows.rows(line, out)) {
    all.push_back(json::parse(out.substr(row.begin, row.end - row.begin)));
    EXPECT_EQ(row.failed, !all.back()["error"].is_null());
  }
  return all;
}

json only(RowOptions const& options, std::string_view line) {
  Rows rows = made(options);
  auto all = objects(rows, line);
  EXPECT_EQ(all.size(), 1U) << line;
  return all.empty() ? json() : all.front();
}

/** The number in place of each '#'. */
std::string withNumber(std::string_view text, int number) {
  std::string all;
  for (char const byte : text) {
    byte == '#' ? all += std::to_string(number) : all += byte;
  }
  return all;
}

TEST(Rows, AreAppended) {
  Rows rows = made({.output = RowFormat::Tsv, .collection = "Device.vlan"});
  std::string out = "before\n";
  auto const first = rows.rows("/vlan[id=7]", out);
  ASSERT_EQ(first.size(), 1U);
  EXPECT_EQ(first[0].begin, 7U);
  EXPECT_FALSE(first[0].failed);
  std::size_t const end = first[0].end;
  auto const second = rows.rows("/vlan[id=x]", out);
  ASSERT_EQ(second.size(), 1U);
  EXPECT_EQ(second[0].begin, end);
  EXPECT_TRUE(second[0].failed);
  EXPECT_EQ(second[0].end, out.size());
  EXPECT_EQ(out.substr(0, end), "before\n\\N\t/vlan[id=7]\t/vlan[id=7]\tone\t7\t\\N\t\\N\t\\N\n");
}

TEST(Rows, OfAnEventAreOneForEachEntry) {
  Rows rows = made({.input = RowInput::Event});
  auto const all = objects(rows, R"({"tags": {"vrf_name": "red", "route_tag": "7", "interface_name": "eth0"}, "values":
    {"/vrf/route/protocol": 1, "/vrf/route/vrf": 2, "/interface/mac": 3, "/vrf/name": 4, "/hostname": 5}})");
  std::vector<std::string> entries;
  for (json const& row : all) {
    entries.push_back(row["entry"]);
  }
  EXPECT_EQ(entries,
            (std::vector<std::string>{"/vrf[name=red]", "/vrf[name=red]/route[tag=7]", "/interface[name=eth0]"}));
  EXPECT_EQ(all[1]["key"], (json{{"vrf", nullptr}, {"prefix", nullptr}, {"protocol", nullptr}, {"tag", 7}}));
  EXPECT_EQ(all[1]["path"], "/vrf/route/protocol");
}

// What is kept of the paths of events is bounded, and says the same when it is made again.
TEST(Rows, OfManyPathsOfEventsStayRight) {
  Rows rows = made({.input = RowInput::Event, .collection = "Device.interface"});
  for (int i = 0; i != 10'000; ++i) {
    auto const all =
        objects(rows, withNumber(R"({"tags": {"interface_name": "eth#"}, "values": {"/interface/x#": 1}})", i));
    ASSERT_EQ(all.size(), 1U);
    ASSERT_EQ(all[0]["name"], withNumber("eth#", i));
  }
}

TEST(Rows, OfLongAndDeepLinesEnd) {
  std::string const deep(1'000'000, '[');
  for (std::string const& line :
       {deep, R"({"id": 1, "x": )" + deep, R"({"id": 1, "elem": )" + deep, R"({"id": 1, "tags": )" + deep,
        R"({"id": 1, "path": ")" + std::string(500'000, '/')}) {
    json const row = only({.input = RowInput::Json, .maxLine = std::size_t{1} << 22U}, line);
    EXPECT_EQ(row["class"], "BadLine");
    EXPECT_EQ(row["id"].is_null(), line.front() == '[');
  }
}

// A field for each name that a row has, and again with its mark: no two become one.
TEST(Rows, FieldsWithNamesOfColumnsStayApart) {
  json line{{"id", 0}, {"path", "/vlan[id=7]"}};
  for (std::string const name : {"entry", "kind", "key__id", "error", "class", "offset", "fields", "collection"}) {
    line[name] = name;
    line["input_" + name] = "input_" + name;
    line["input_input_" + name] = "input_input_" + name;
  }
  json const row = only({.input = RowInput::Json, .collection = "Device.vlan"}, line.dump());
  std::size_t passed = 0;
  for (auto const& [name, value] : row.items()) {
    if (value.is_string() && name.ends_with(std::string(value))) {
      ++passed;
    }
  }
  EXPECT_EQ(passed, 8U * 3U) << row;
  EXPECT_EQ(row["key__id"], 7);
  EXPECT_EQ(row["input_key__id"], "key__id");
  EXPECT_EQ(row["fields"], "fields");
  EXPECT_EQ(row["input_error"], "error");
  EXPECT_EQ(row["input_input_error"], "input_error");
}

TEST(Rows, KeepTheIdOfALineThatIsTooLong) {
  std::string const line = R"({"id": 5, "path": "/vlan[id=7]", "x": ")" + std::string(100, 'x') + "\"}";
  json const row = only({.input = RowInput::Json, .collection = "Device.vlan", .maxLine = 50}, line);
  EXPECT_EQ(row["id"], 5);
  EXPECT_EQ(row["path"], "/vlan[id=7]");
  EXPECT_EQ(row["error"], "longer than 50 bytes; --max-line allows more");
}

TEST(Rows, OfOneLineEndInOneErrorWhereItBreaksOff) {
  Rows rows = made({.input = RowInput::Event, .collection = "Device.vlan"});
  auto const all = objects(rows, R"([{"id": 1, "tags": {"vlan_id": "7"}, "values": {"/vlan": 1}}, {"id": 2, "x": {"y)");
  ASSERT_EQ(all.size(), 2U);
  EXPECT_EQ(all[0]["key__id"], 7);
  EXPECT_EQ(all[1]["id"], 2);
  EXPECT_EQ(all[1]["class"], "BadLine");
  EXPECT_FALSE(all[1].contains("x"));
}

// Each row repeats the fields of its record, so rows without a bound would be the square of the line.
TEST(Rows, OfALineAreBounded) {
  std::string deletes;
  for (int i = 0; i != 200; ++i) {
    deletes += withNumber(i == 0 ? R"("/vlan[id=#]")" : R"(,"/vlan[id=#]")", i);
  }
  std::string const line = R"([{"id": 1, "deletes": [)" + deletes + R"(]}, {"id": 2, "deletes": ["/vlan[id=7]"]},
                              {"id": 3, "deletes": ["/vlan[id=7]", "/vlan[id=8]", "/vlan[id=9]"]}])";
  Rows rows = made({.input = RowInput::Event, .maxLine = 4096});
  ASSERT_LT(line.size(), 4096U);
  auto const all = objects(rows, line);
  ASSERT_GT(all.size(), 5U);
  EXPECT_LT(all.size(), 205U);
  std::vector<std::pair<int, json>> ends;
  for (json const& row : std::span(all).subspan(all.size() - 5)) {
    ends.emplace_back(row["id"], row["class"]);
  }
  // Each record has its first row, and says where it has no more of them.
  EXPECT_EQ(ends, (std::vector<std::pair<int, json>>{
                      {1, nullptr}, {1, "BoundPassed"}, {2, nullptr}, {3, nullptr}, {3, "BoundPassed"}}));
  EXPECT_TRUE(all[all.size() - 4]["path"].is_string());
  EXPECT_EQ(objects(rows, R"({"id": 4, "deletes": ["/vlan[id=7]"]})").size(), 1U);
}

TEST(Rows, OfACollectionAreOneForEachEventOfALongLine) {
  Rows rows = made({.input = RowInput::Event, .collection = "Device.flow", .maxLine = 1000});
  std::string line = "[{}";
  for (int i = 1; i != 300; ++i) {
    line += ",{}";
  }
  EXPECT_EQ(objects(rows, line + "]").size(), 300U);
}

// Of the tags that end alike, the one that names the most of the path counts.
TEST(Rows, TakeRenamedTagsByTheirEnds) {
  Yaml::Loaded const nested = Yaml::loadText(
      "{module: R, types: {A: {entity: {n: U8, a: {keyed: A, by: n}}}, Top: {entity: {a: {keyed: A, by: n}}}}}", "a");
  auto rows = Rows::make(*nested, Gnmi::modelFacts(), {.input = RowInput::Event, .collection = "Top.a"});
  ASSERT_TRUE(rows.has_value());
  auto const rowOf = [&](std::string const& tags) {
    return objects(*rows, R"({"tags": {"a_n": "1")" + tags + R"(}, "values": {"/a/a/n": 1}})").at(0);
  };
  EXPECT_EQ(rowOf(R"(, "/a/a/n_a_n": "2")")["n"], 1);
  EXPECT_EQ(rowOf(R"(, "n_a_n": "2")")["n"], 1);
  for (std::string const tags : {"", R"(, "_a_n": "2")", R"(, "x/a/a/n_a_n": "2")", R"(, "/a/a/n": "2")",
                                 R"(, "/b/n_a_n": "2")", R"(, "/a/a/na_n": "2")"}) {
    EXPECT_EQ(rowOf(tags)["class"], "TagsCollide") << tags;
  }
  auto inner = Rows::make(*nested, Gnmi::modelFacts(), {.input = RowInput::Event, .collection = "A.a"});
  ASSERT_TRUE(inner.has_value());
  auto const line =
      R"({"tags": {"a_n": "1", "n_a_n": "2", "/a/a/n_a_n": "3", "a/n_a_n": "4"}, "values": {"/a/a/n": 1}})";
  EXPECT_EQ(objects(*inner, line).at(0)["n"], 3);
}

TEST(Rows, CopiesHaveThreadsOfTheirOwn) {
  Model::setThreadSafe(true);
  Rows const rows = made({.input = RowInput::Event, .collection = "Vrf.route"});
  std::array<std::string, 4> outs;
  {
    std::vector<std::jthread> threads;
    for (std::string& out : outs) {
      threads.emplace_back([&rows, &out] {
        Rows own = rows;
        for (int i = 0; i != 500; ++i) {
          own.rows(withNumber(R"({"tags": {"vrf_name": "a", "route_tag": "#"}, "values": {"/vrf/route/#": 1}})", i),
                   out);
        }
      });
    }
  }
  for (std::string const& out : outs) {
    EXPECT_EQ(out, outs[0]);
    EXPECT_EQ(std::ranges::count(out, '\n'), 500);
  }
  Model::setThreadSafe(false);
}

TEST(Rows, RefuseOptionsThatDoNotFit) {
  auto const refusal = [](RowOptions const& options) {
    auto const rows = Rows::make(schema(), Gnmi::modelFacts(), options);
    return rows ? "" : rows.error();
  };
  EXPECT_EQ(refusal({.collection = "Vrf.rout"}), "unknown collection 'Vrf.rout'; did you mean 'Vrf.route'?");
  EXPECT_EQ(refusal({.collection = "Device.vlan", .root = "Vrf"}),
            "paths from 'Vrf' do not pass 'Network::Device.vlan'");
  EXPECT_NE(refusal({.collection = "Device.event"}), "");
  EXPECT_NE(refusal({.root = "Nowhere"}), "");
  EXPECT_NE(refusal({.input = RowInput::Json, .fields = {"id"}}), "");
  EXPECT_EQ(refusal({.input = RowInput::Event, .fields = {"path", "elem"}}), "");
}

}  // namespace
