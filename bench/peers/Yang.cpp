// libyang's own way from the text of a list's keys to a list instance, and the types made of the same modules.
#include <libyang/libyang.h>

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "bench/Decoder.h"
#include "bench/Gnmi.h"
#include "bench/Held.h"
#include "gnmi/YangFacts.h"
#include "yang/Yang.h"

namespace Bench {
namespace {

/** A keyed list of a module: once as libyang has it, once as a collection. */
struct List {
  lyd_node* parent = nullptr;
  lys_module const* module = nullptr;
  Zyn::ZynAttr collection;
};

/** What a module holds; it stays until the process ends. */
struct Module {
  lys_module const* module = nullptr;
  std::shared_ptr<Yang::Loaded const> loaded;
  Zyn::ZynType root;

  Module(char const* folder, char const* name) {
    ly_ctx* context = nullptr;
    if (ly_ctx_new(folder, 0, &context) == LY_SUCCESS) {
      module = ly_ctx_load_module(context, name, nullptr, nullptr);
    }
    auto read = Yang::load(std::vector<std::string>{folder}, std::vector<std::string>{name});
    if (module == nullptr || !read) {
      fail(name, "the module does not load");
    }
    static std::vector<std::shared_ptr<Yang::Loaded const>> kept;
    loaded = kept.emplace_back(std::make_shared<Yang::Loaded const>(*std::move(read)));
    root = loaded->root;
  }
};

lyd_node* fromText(List const& list, char const* keys) {
  lyd_node* node = nullptr;
  if (lyd_new_list2(list.parent, list.module, list.collection.name(), keys, 0, &node) != LY_SUCCESS) {
    fail("libyang", keys);
  }
  return node;
}

/** Both ways from the same texts to the list's key. */
void addBoth(Works& works, std::string const& name, List const& list, Fields const& keys) {
  std::string text;
  for (auto const& [key, value] : keys) {
    text += "[" + key + "='" + value + "']";
  }
  lyd_free_tree(fromText(list, text.c_str()));
  works.push_back({"libyang, text, " + name, [list, text] { lyd_free_tree(fromText(list, text.c_str())); }});
  works.push_back(keys.size() == 1
                      ? scalar("yang, " + name, list.collection, list.collection.keyType(), keys.front().second)
                      : wholeKey("yang, " + name, list.collection, keys));
}

/** A path of the shape that OpenConfig's have, from text to its keys, and to libyang's tree. */
void addDeepPath(Works& works) {
  static Module const network(BENCH_MODULES, "bench-network");
  std::string_view const text =
      "/network-instances/network-instance[name=default]/protocols/protocol[identifier=BGP][name=BGP]/bgp/neighbors/"
      "neighbor[neighbor-address=192.0.2.1]";
  std::string const quoted =
      "/bench-network:network-instances/network-instance[name='default']/protocols/protocol[identifier='BGP']"
      "[name='BGP']/bgp/neighbors/neighbor[neighbor-address='192.0.2.1']";
  auto const makeTree = [quoted] {
    lyd_node* tree = nullptr;
    if (lyd_new_path(nullptr, network.module->ctx, quoted.c_str(), nullptr, 0, &tree) != LY_SUCCESS) {
      fail("libyang", quoted);
    }
    lyd_free_all(tree);
  };
  makeTree();
  works.push_back({"libyang, path of 7 elements", makeTree});
  auto const resolver =
      std::make_shared<Gnmi::Resolver const>(network.root, Gnmi::Options{.facts = Gnmi::yangFacts(network.loaded)});
  works.push_back(textPath("gnmi, path of 7 elements", resolver, std::string(text)));
  works.push_back(messagePath("gnmi, message of 7 elements", resolver, std::string(text)));
}

/** A real list with four keys, where its modules are at hand: `./dev setup` unpacks them. */
void addNexthop(Works& works) {
  if (!std::filesystem::exists(FRR_MODULES)) {
    return;
  }
  Module const frr(FRR_MODULES, "frr-nexthop");
  lyd_node* group = nullptr;
  lyd_node* nexthops = nullptr;
  if (lyd_new_path(nullptr, frr.module->ctx, "/frr-nexthop:frr-nexthop-group/nexthop-groups[name='a']/frr-nexthops",
                   nullptr, 0, &group) != LY_SUCCESS ||
      lyd_find_path(group, "nexthop-groups[name='a']/frr-nexthops", 0, &nexthops) != LY_SUCCESS) {
    fail("libyang", "no parent for a list");
  }
  Zyn::ZynType const groups = frr.root.attr("frr-nexthop-group").attrType();
  Zyn::ZynType const holder = groups.attr("nexthop-groups").attrType().attr("frr-nexthops").attrType();
  addBoth(works, "4 keys of FRR", {nexthops, frr.module, holder.attr("nexthop")},
          {{"nh-type", "ip4-ifindex"}, {"vrf", "default"}, {"gateway", "10.0.0.1"}, {"interface", "eth0"}});
}

Module const& benchModule() {
  static Module const one(BENCH_MODULES, "bench");
  return one;
}

/** The error of a value that does not fit, with its text, which libyang keeps in its context. */
void addRefused(Works& works) {
  ly_log_options(LY_LOSTORE_LAST);
  auto const refused = [] {
    lys_module const* const module = benchModule().module;
    lyd_node* node = nullptr;
    if (lyd_new_list2(nullptr, module, "route", "[vrf='customer1'][tag='red'][prefix='10.20.0.0/16']", 0, &node) ==
            LY_SUCCESS ||
        ly_errmsg(module->ctx) == nullptr) {
      fail("libyang", "takes a value that does not fit");
    }
    keep(ly_errmsg(module->ctx));
  };
  refused();
  works.push_back({"libyang, error, value that does not fit", refused});
}

}  // namespace

void addYang(Works& works) {
  Module const& bench = benchModule();
  auto const add = [&works, &bench](std::string const& name, char const* list, Fields const& keys) {
    addBoth(works, name, {nullptr, bench.module, bench.root.attr(list)}, keys);
  };
  add("1 string", "interface", {{"name", "Ethernet1"}});
  add("3 keys", "route", {{"vrf", vrfText}, {"tag", tagText}, {"prefix", prefixText}});
  works.push_back({"libyang, values, 3 keys", [&bench] {
                     lyd_node* node = nullptr;
                     if (lyd_new_list(nullptr, bench.module, "route", 0, &node, vrfText, tagText, prefixText) !=
                         LY_SUCCESS) {
                       fail("libyang", "values");
                     }
                     lyd_free_tree(node);
                   }});
  add("union hit first", "speaker", {{"id", "4200"}});
  add("union hit last", "speaker", {{"id", "Ethernet1"}});
  add("restricted string", "port", {{"name", "Ethernet1/2"}});
  addDeepPath(works);
  addNexthop(works);
  addRefused(works);
}

Held holdNodes(std::size_t count) {
  using Node = std::unique_ptr<lyd_node, decltype([](lyd_node* node) { lyd_free_tree(node); })>;
  return hold(count, [](std::size_t i) {
    KeyTexts const key = numberedKey(i);
    lyd_node* node = nullptr;
    if (lyd_new_list(nullptr, benchModule().module, "route", 0, &node, key.vrf.c_str(), key.tag.c_str(),
                     key.prefix.c_str()) != LY_SUCCESS) {
      fail("libyang", key.prefix);
    }
    return Node(node);
  });
}

}  // namespace Bench
