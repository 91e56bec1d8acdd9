// Keys by the many: that differ from call to call, and in tables.
#include <absl/container/flat_hash_map.h>

#include <algorithm>
#include <ctime>
#include <numeric>
#include <random>

#include "bench/Decoder.h"
#include "bench/Gnmi.h"
#include "bench/Held.h"
#include "gnmi/Path.h"
#include "gnmi/Resolver.h"
#include "model/Value.h"

namespace Bench {
namespace {

/** What a host keeps for a key. */
struct Entry {
  std::uint64_t counter = 0;
};

constexpr std::size_t million = 1'000'000;

/** Paths, from first to last and again. They lie back to back, so that reading them costs little beside their use. */
class Paths {
 public:
  void add(KeyTexts const& key) {
    text_ += pathOf(key);
    ends_.push_back(text_.size());
  }
  std::string_view next() {
    at_ = at_ == ends_.size() ? 0 : at_;
    std::size_t const begin = at_ == 0 ? 0 : ends_[at_ - 1];
    return std::string_view(text_).substr(begin, ends_[at_++] - begin);
  }

 private:
  std::string text_;
  std::vector<std::size_t> ends_;
  std::size_t at_ = 0;
};

/** Of numbered keys below `count`, in an order without pattern; a million of them at most. */
Paths somePaths(std::size_t count) {
  std::vector<std::size_t> order(count);
  std::iota(order.begin(), order.end(), 0);
  std::ranges::shuffle(order, std::mt19937_64());
  order.resize(std::min(count, million));
  Paths paths;
  for (std::size_t const number : order) {
    paths.add(numberedKey(number));
  }
  return paths;
}

/** Reads paths; what is used again for each. */
struct KeyReader {
  SharedResolver resolver = resolverOf(listOf3());
  Gnmi::Path path = {};
  Gnmi::Resolved found = {};

  /** Of the last element. */
  Velko::Ptr<Zyn::GenericIf>& key(std::string_view text) {
    if (!Gnmi::parsePath(text, path) || !resolver->resolve(path, found)) {
      fail("path", text);
    }
    return std::get<Drovan::ZynKeyDecoder::Single>(found.selections.back().selection).value;
  }
};

/** From a path to the entry of a table. */
struct TypedFinder {
  absl::flat_hash_map<Model::Key, Entry> table;
  KeyReader reader = {};

  void fill(std::size_t keys) {
    for (std::size_t i = 0; i < keys; ++i) {
      table.emplace(decodedKey(listOf3(), fieldsOf(numberedKey(i))), Entry{i});
    }
  }
  Entry const& find(std::string_view text) {
    auto const entry = table.find(Model::Key(std::move(reader.key(text))));
    if (entry == table.end()) {
      fail("table, not found", text);
    }
    return entry->second;
  }
};

/** The same where nothing has a type: the key is the path's text in one form, keys sorted by name. */
struct TextFinder {
  absl::flat_hash_map<std::string, Entry> table;
  Gnmi::Path path = {};
  std::string key = {};

  void fill(std::size_t keys) {
    for (std::size_t i = 0; i < keys; ++i) {
      table.emplace(keyOf(pathOf(numberedKey(i))), Entry{i});
    }
  }
  std::string const& keyOf(std::string_view text) {
    if (!Gnmi::parsePath(text, path)) {
      fail("table", text);
    }
    path.sortKeys();
    key.clear();
    for (Gnmi::Element const& element : path.elements()) {
      key.append("/").append(element.name);
      for (Gnmi::Key const& part : path.keys(element)) {
        key.append("[").append(part.name).append("=").append(part.value).append("]");
      }
    }
    return key;
  }
  Entry const& find(std::string_view text) {
    auto const entry = table.find(keyOf(text));
    if (entry == table.end()) {
      fail("table, not found", text);
    }
    return entry->second;
  }
};

template <typename Finder>
std::function<void()> finds() {
  auto const finder = std::make_shared<Finder>();
  finder->fill(million);
  return [finder, paths = somePaths(million)]() mutable { keep(finder->find(paths.next())); };
}

}  // namespace

void addVaried(Works& works) {
  works.push_back(later("key, 3 fields, varied", [] {
    return inTurn(variedFields(), [list = listOf3()](Fields const& fields) { keep(decodedKey(list, fields)); });
  }));
  works.push_back(later("gnmi, path of 3 keys, varied", [] {
    Paths paths;
    std::ranges::for_each(variedKeys(), [&paths](KeyTexts const& key) { paths.add(key); });
    return [reader = std::make_shared<KeyReader>(), paths]() mutable { keep(reader->key(paths.next())); };
  }));
}

void addTables(Works& works) {
  works.push_back(later("table of 10^6 keys, typed", finds<TypedFinder>));
  works.push_back(later("table of 10^6 keys, by text", finds<TextFinder>));
}

Held holdKeys(std::size_t count) {
  return hold(count, [](std::size_t i) { return decodedKey(listOf3(), fieldsOf(numberedKey(i))); });
}

Growth growTable(std::size_t keys) {
  TypedFinder finder;
  Paths paths = somePaths(keys);
  double const start = resident();
  finder.fill(keys);
  double const bytes = (resident() - start) / static_cast<double>(keys);
  std::clock_t const before = std::clock();
  for (std::size_t i = 0; i < million; ++i) {
    keep(finder.find(paths.next()));
  }
  return {static_cast<double>(std::clock() - before) * 1e9 / CLOCKS_PER_SEC / static_cast<double>(million), bytes};
}

}  // namespace Bench
