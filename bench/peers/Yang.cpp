// libyang's own way from the text of a list's keys to a list instance.
#include <libyang/libyang.h>

#include <string>

#include "bench/Decoder.h"

namespace Bench {
namespace {

constexpr char const* moduleText = R"(
module bench {
  namespace "urn:bench";
  prefix b;
  import ietf-inet-types { prefix inet; }

  list interface {
    key "name";
    leaf name { type string; }
  }
  list route {
    key "vrf tag prefix";
    leaf vrf { type string; }
    leaf tag { type uint32; }
    leaf prefix { type inet:ip-prefix; }
  }
  list speaker {
    key "id";
    leaf id { type union { type uint32; type inet:ipv4-address; type string { length "1..16"; } } }
  }
  list port {
    key "name";
    leaf name { type string { length "1..32"; pattern "[a-zA-Z]+[0-9]+(/[0-9]+)*"; } }
  }
}
)";

lys_module const* module() {
  static lys_module const* const one = [] {
    ly_ctx* context = nullptr;
    lys_module* loaded = nullptr;
    if (ly_ctx_new(nullptr, 0, &context) != LY_SUCCESS ||
        lys_parse_mem(context, moduleText, LYS_IN_YANG, &loaded) != LY_SUCCESS) {
      fail("libyang", "the module does not load");
    }
    return loaded;
  }();
  return one;
}

lyd_node* fromText(char const* list, char const* keys) {
  lyd_node* node = nullptr;
  if (lyd_new_list2(nullptr, module(), list, keys, 0, &node) != LY_SUCCESS) {
    fail("libyang", keys);
  }
  return node;
}

template <typename... Values>
lyd_node* fromValues(char const* list, Values... values) {
  lyd_node* node = nullptr;
  if (lyd_new_list(nullptr, module(), list, 0, &node, values...) != LY_SUCCESS) {
    fail("libyang", list);
  }
  return node;
}

Work textWork(std::string name, char const* list, std::string keys) {
  lyd_free_tree(fromText(list, keys.c_str()));
  return {std::move(name), [list, keys = std::move(keys)] { lyd_free_tree(fromText(list, keys.c_str())); }};
}

}  // namespace

void addYangPeer(Works& works) {
  works.push_back(textWork("libyang, text, 1 string", "interface", "[name='Ethernet1']"));
  works.push_back(textWork("libyang, text, 3 keys", "route",
                           std::string("[vrf='") + vrfText + "'][tag='" + tagText + "'][prefix='" + prefixText + "']"));
  works.push_back(
      {"libyang, values, 3 keys", [] { lyd_free_tree(fromValues("route", vrfText, tagText, prefixText)); }});
  works.push_back(textWork("libyang, text, union hit first", "speaker", "[id='4200']"));
  works.push_back(textWork("libyang, text, union hit last", "speaker", "[id='Ethernet1']"));
  works.push_back(textWork("libyang, text, restricted string", "port", "[name='Ethernet1/2']"));
}

}  // namespace Bench
