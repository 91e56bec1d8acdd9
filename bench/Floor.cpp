// The least that the work can cost: code that knows the key's type, with the value objects and the slab of the model.
#include <arpa/inet.h>

#include <array>
#include <charconv>
#include <cstring>

#include "Velko/Exception.h"
#include "bench/Decoder.h"
#include "model/Schema.h"
#include "model/Zyn/Objects.h"

namespace Bench {
namespace {

using Model::core;
using Model::Kind;

struct Known {
  Zyn::ZynType key;
  Zyn::ZynType string = core(Kind::String);
  Zyn::ZynType u32 = core(Kind::U32);
  Zyn::ZynType prefix = core(Kind::IpPrefix);
};

std::uint64_t numberOf(std::string_view text) {
  std::uint64_t number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

Model::NewValue makeKey(Known const& types, std::string_view vrf, std::string_view tag, std::string_view prefix) {
  Model::Content content;
  content.text = vrf;
  Model::NewValue vrfValue = Model::Scalar::make(types.string, content);
  content.number = numberOf(tag);
  Model::NewValue tagValue = Model::Scalar::make(types.u32, content);
  std::string_view rest = prefix;
  for (std::size_t i = 0; i < 4; ++i) {
    std::uint8_t byte = 0;
    char const* const end = std::from_chars(rest.data(), rest.data() + rest.size(), byte).ptr;
    rest.remove_prefix(static_cast<std::size_t>(end - rest.data()) + 1);
    content.small[i] = static_cast<char>(byte);
  }
  content.small[4] = static_cast<char>(numberOf(rest));
  content.text = {content.small.data(), 5};
  Model::NewValue prefixValue = Model::Scalar::make(types.prefix, content);
  Velko::Ptr<Model::Composed> key = Model::Composed::make(types.key);
  auto const slots = key->slots();
  slots[0] = std::move(vrfValue);
  slots[1] = std::move(tagValue);
  slots[2] = std::move(prefixValue);
  return key;
}

[[gnu::noinline]] void refuse() { throw Velko::Exception(Velko::String("refused")); }

[[gnu::noinline]] bool accepts(void (*call)()) {
  try {
    call();
    return true;
  } catch (Velko::Exception const&) {
    return false;
  }
}

}  // namespace

void addFloor(Works& works) {
  static Model::Schema schema;
  static Known types;
  types.key = schema.module("Floor")
                  .value("Key3")
                  .attr("vrf", types.string)
                  .attr("tag", types.u32)
                  .attr("prefix", types.prefix)
                  .args({"vrf", "tag", "prefix"});
  if (Model::print(*makeKey(types, "a", "7", "10.0.0.0/8")) != R"(Floor::Key3(vrf="a", tag=7, prefix=10.0.0.0/8))") {
    fail("floor", "makes another key");
  }
  works.push_back({"floor, 3 fields", [] { keep(makeKey(types, vrfText, tagText, prefixText)); }});
  works.push_back({"a bare throw and catch", [] { keep(accepts(refuse)); }});
}

}  // namespace Bench
