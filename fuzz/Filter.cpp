// Filters on a key with an attribute of every kind of type: a byte for the encoding, then lines `attribute=value`.
#include <map>

#include "Drovan/ZynKeyDecoder.h"
#include "fuzz/Fuzz.h"
#include "fuzz/Types.h"

void Fuzz::run(std::string_view bytes) {
  using Drovan::ZynKeyDecoder;
  Input input(bytes);
  bool const s4 = input.choice(2) == 1;
  ZynKeyDecoder const decoder(types().collection, s4);
  ZynKeyDecoder::FilterMap filter;
  std::map<std::string, Model::ValuePtr, std::less<>> expected;
  while (!input.empty()) {
    Input line(input.upTo('\n'));
    Exact const name(line.upTo('='));
    Exact const value(line.rest());
    auto const done = decoder.updateFilter(filter, name.view(), value.view());
    require(done || !done.error().empty(), "a value or an error text");
    if (value.view() == "*") {
      require(bool(done), "a wildcard is never refused");
    } else {
      Zyn::ZynAttr const attr = types().key.attr(name.view());
      require(!done || !attr.empty(), "only attributes of the key are taken");
      if (!attr.empty()) {
        Made const made = decoded(attr.attrType(), value.view(), s4);
        require(bool(made.value) == bool(done) && (done || made.error == done.error().view()),
                "a filter takes what a scalar key takes");
        if (done) {
          expected.insert_or_assign(std::string(name.view()), made.value);
        }
      }
    }
  }
  require(filter.size() == expected.size(), "one entry for each attribute");
  auto const key = types().key.genericIf(static_cast<void const*>(nullptr), false);
  for (auto const& [attr, value] : filter) {
    require(Model::equal(*value, *expected.at(attr.name())), "the latest value of each attribute");
    require(!Model::matches(filter, *key), "a key without a filtered attribute does not match");
    attr.genericIfSet(key, nullptr, value);
  }
  require(Model::matches(filter, *key), "a key with the filter's values matches");
  check(*key);
}
