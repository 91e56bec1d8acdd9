#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "bench/Work.h"

namespace Bench {
namespace {

using Drovan::ZynKeyDecoder;

using Done = KvStd::Expected<void, Velko::String>;

Work tried(Work work, std::function<Done()> const& once, bool fails) {
  auto const outcome = once();
  if (outcome.has_value() == fails) {
    fail(work.name, fails ? "succeeds" : outcome.error().view());
  }
  return work;
}

/** Inline, as a user would write it where the key is needed. */
[[gnu::always_inline]] inline Done decode(ZynKeyDecoder::KeyElemNode& root, Zyn::ZynAttr collection,
                                          Fields const& fields) {
  ZynKeyDecoder const decoder(collection, false);
  for (auto const& [path, value] : fields) {
    if (auto done = decoder.processKeyPath(root, path, value); !done) {
      return done;
    }
  }
  return root.instantiate();
}

}  // namespace

void fail(std::string_view what, std::string_view why) {
  std::fprintf(stderr, "bench: %.*s: %.*s\n", static_cast<int>(what.size()), what.data(), static_cast<int>(why.size()),
               why.data());
  std::exit(1);
}

Works worksNamed(std::span<char const* const> names) {
  Works all = works();
  if (names.empty()) {
    return all;
  }
  Works named;
  for (char const* const name : names) {
    auto const found = std::ranges::find(all, std::string_view(name), &Work::name);
    if (found == all.end()) {
      fail(name, "there is no such work");
    }
    named.push_back(*found);
  }
  return named;
}

Work later(std::string name, std::function<std::function<void()>()> prepare) {
  auto const run = std::make_shared<std::function<void()>>();
  return {std::move(name),
          [run, prepare = std::move(prepare)] {
            if (!*run) {
              *run = prepare();
            }
            (*run)();
          },
          0};
}

Work split(std::string name, std::string path) {
  return {std::move(name), [path = std::move(path)] { keep(ZynKeyDecoder::splitPath(path)); }};
}

Work scalar(std::string name, Zyn::ZynAttr collection, Zyn::ZynType type, std::string value, bool s4, bool fails) {
  ZynKeyDecoder const decoder(collection, s4);
  std::string_view const key = collection.internalKeyName();
  auto const once = [decoder, type, key, value] -> Done {
    auto outcome = decoder.decodeScalarKey(type, key, value);
    return outcome ? Done() : KvStd::Unexpected(std::move(outcome).error());
  };
  return tried({std::move(name), [decoder, type, key, value] { keep(decoder.decodeScalarKey(type, key, value)); }},
               once, fails);
}

Work wholeKey(std::string name, Zyn::ZynAttr collection, Fields fields, bool fails) {
  auto const once = [collection, fields] {
    ZynKeyDecoder::KeyElemNode root(collection.keyType(), false);
    return decode(root, collection, fields);
  };
  return tried({std::move(name), [once] { keep(once()); }}, once, fails);
}

Work filter(std::string name, Zyn::ZynAttr collection, Fields fields) {
  ZynKeyDecoder const decoder(collection, false);
  auto const once = [decoder, fields] -> Done {
    ZynKeyDecoder::FilterMap map;
    for (auto const& [path, value] : fields) {
      if (auto done = decoder.updateFilter(map, path, value); !done) {
        return done;
      }
    }
    return {};
  };
  return tried({std::move(name), [once] { keep(once()); }}, once, false);
}

Velko::Ptr<Zyn::GenericIf> decodedKey(Zyn::ZynAttr collection, Fields const& fields) {
  ZynKeyDecoder::KeyElemNode root(collection.keyType(), false);
  if (auto const done = decode(root, collection, fields); !done) {
    fail(fields.front().second, done.error().view());
  }
  return std::move(root.value);
}

}  // namespace Bench
