#include <cstdio>
#include <cstdlib>

#include "bench/Work.h"

namespace Bench {
namespace {

using Drovan::ZynKeyDecoder;

Work tried(Work work, std::function<KvStd::Expected<void, Velko::String>()> const& once, bool fails) {
  auto const outcome = once();
  if (outcome.has_value() == fails) {
    fail(work.name, fails ? "succeeds" : outcome.error().view());
  }
  return work;
}

}  // namespace

void fail(std::string_view what, std::string_view why) {
  std::fprintf(stderr, "bench: %.*s: %.*s\n", static_cast<int>(what.size()), what.data(), static_cast<int>(why.size()),
               why.data());
  std::exit(1);
}

Work split(std::string name, std::string path) {
  return {std::move(name), [path = std::move(path)] { keep(ZynKeyDecoder::splitPath(path)); }};
}

Work scalar(std::string name, Zyn::ZynAttr collection, Zyn::ZynType type, std::string value, bool s4, bool fails) {
  ZynKeyDecoder const decoder(collection, s4);
  std::string_view const key = collection.internalKeyName();
  auto const once = [decoder, type, key, value] -> KvStd::Expected<void, Velko::String> {
    auto outcome = decoder.decodeScalarKey(type, key, value);
    return outcome ? KvStd::Expected<void, Velko::String>() : KvStd::Unexpected(std::move(outcome).error());
  };
  return tried({std::move(name), [decoder, type, key, value] { keep(decoder.decodeScalarKey(type, key, value)); }},
               once, fails);
}

Work wholeKey(std::string name, Zyn::ZynAttr collection, Fields fields, bool fails) {
  auto const once = [collection, fields] -> KvStd::Expected<void, Velko::String> {
    ZynKeyDecoder const decoder(collection, false);
    ZynKeyDecoder::KeyElemNode root(collection.keyType(), false);
    for (auto const& [path, value] : fields) {
      if (auto done = decoder.processKeyPath(root, path, value); !done) {
        return done;
      }
    }
    return root.instantiate();
  };
  return tried({std::move(name), [once] { keep(once()); }}, once, fails);
}

Work filter(std::string name, Zyn::ZynAttr collection, Fields fields) {
  ZynKeyDecoder const decoder(collection, false);
  auto const once = [decoder, fields] -> KvStd::Expected<void, Velko::String> {
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

}  // namespace Bench
