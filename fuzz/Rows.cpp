// Lines of telemetry, with the command's own schema: a byte for the form of lines, one for that of rows, one for the
// collection, and then the lines.
#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>
#include <string>

#include "fuzz/Fuzz.h"
#include "gnmi/ModelValues.h"
#include "yaml/Yaml.h"
#include "zynkey/ExampleSchema.h"
#include "zynkey/Rows.h"

namespace {

using ZynKey::RowFormat;
using ZynKey::RowInput;

std::size_t countOf(std::string_view text, char byte) {
  return static_cast<std::size_t>(std::ranges::count(text, byte));
}

/** The cells of a row without quotes: of all rows alike. */
void requireRow(std::string_view row, RowFormat format, std::size_t columns) {
  Fuzz::require(ZynKey::utf8Prefix(row) == row.size(), "a row is UTF-8");
  if (format == RowFormat::Csv) {
    Fuzz::require(row.ends_with("\r\n") && countOf(row, '"') % 2 == 0, "a row ends, and so do its texts");
    return;
  }
  Fuzz::require(countOf(row, '\n') == 1 && row.ends_with('\n'), "a row is one line");
  if (format == RowFormat::Tsv) {
    Fuzz::require(countOf(row, '\t') + 1 == columns, "each row has all columns");
    return;
  }
  auto const json = nlohmann::json::parse(row, nullptr, false);
  Fuzz::require(json.is_object(), "a row is a JSON object");
  for (char const* const name : {"id", "path", "entry", "kind", "error", "class", "offset"}) {
    Fuzz::require(json.contains(name), "each row has all columns");
  }
  Fuzz::require(json["error"].is_null() == json["class"].is_null(), "an error has a class");
}

}  // namespace

void Fuzz::run(std::string_view bytes) {
  static Yaml::Loaded const loaded = Yaml::loadText(ZynKey::exampleSchema, "example.yaml");
  Input input(bytes);
  auto const form = static_cast<RowInput>(input.choice(3));
  auto const format = static_cast<RowFormat>(input.choice(3));
  std::string const collection = std::array{"", "Vrf.route", "Device.interface", "Device.flow"}[input.choice(4)];
  // For each input: what is kept for the next line would count as memory that is not given back.
  auto rows = ZynKey::Rows::make(*loaded, Gnmi::modelFacts(),
                                 {.input = form, .output = format, .collection = collection, .maxLine = 4096});
  require(rows.has_value(), "the options fit");
  std::size_t const columns = countOf(rows->clickHouseColumns(), '\n');
  std::string out = "before";
  while (!input.empty()) {
    Exact const line(input.upTo('\n'));
    std::size_t at = out.size();
    auto const made = rows->rows(line.view(), out);
    for (ZynKey::Row const& row : made) {
      require(row.begin == at && row.end > at, "rows follow each other");
      requireRow(std::string_view(out).substr(at, row.end - at), format, columns);
      at = row.end;
    }
    require(at == out.size(), "all that is written is rows");
    require(made.size() == 1 || form == RowInput::Event || (collection.empty() && !made.empty()),
            "a path is one row of its collection");
  }
}
