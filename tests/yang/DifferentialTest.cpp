// Every keyed list of real modules, by a walk of libyang's compiled tree that knows nothing of ours: each has its
// collection, each key leaf takes exactly the texts that libyang takes, with the same canonical text, and a good key
// decodes by all three jobs.
//
// YANG_SEED and YANG_TEXTS in the environment set the seed and the number of texts for each key leaf.
#include <libyang/plugins_types.h>

#include <cstdlib>
#include <iostream>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <thread>

#include "tests/yang/Loaded.h"
#include "tests/yang/Texts.h"

namespace YangTest {
namespace {

struct ModuleSet {
  char const* name;
  std::vector<std::string> folders;
};

void PrintTo(ModuleSet const& set, std::ostream* out) { *out << set.name; }

// Of the Debian packages frr and libyuma-base; the latter has two revisions of some modules.
std::string const frr = YANG_PACKAGES "/frr/usr/share/yang";
std::string const yuma = YANG_PACKAGES "/libyuma-base/usr/share/yuma";

ModuleSet const moduleSets[] = {
    {"own", {YANG_MODULES "/modules"}},
    {"frr", {frr}},
    {"yuma", {yuma}},
    {"both", {frr, yuma}},
};

std::uint64_t fromEnvironment(char const* name, std::uint64_t otherwise) {
  char const* const text = std::getenv(name);
  return text == nullptr ? otherwise : std::strtoull(text, nullptr, 10);
}

#ifdef __SANITIZE_ADDRESS__
constexpr std::size_t usualTexts = 60;
#else
constexpr std::size_t usualTexts = 500;
#endif

/**
 * A context of the test's own. The modules that do not load in it are taken from the list. It is never destroyed: the
 * log location that libyang keeps for each thread may point into it.
 */
ly_ctx* contextOf(std::vector<std::string> const& folders, std::vector<std::string>& modules) {
  for (bool isAll = false; !isAll;) {
    // A module that fails may leave others half implemented: so the next try is one without it.
    ly_ctx* context = nullptr;
    ly_ctx_new(nullptr,
               LY_CTX_DISABLE_SEARCHDIR_CWD | LY_CTX_NO_YANGLIBRARY | LY_CTX_REF_IMPLEMENTED | LY_CTX_EXPLICIT_COMPILE,
               &context);
    for (std::string const& folder : folders) {
      ly_ctx_set_searchdir(context, folder.c_str());
    }
    isAll = true;
    char const* features[] = {"*", nullptr};
    for (std::string const& module : modules) {
      if (ly_ctx_load_module(context, module.c_str(), nullptr, features) == nullptr) {
        std::erase(modules, std::string(module));
        isAll = false;
        break;
      }
    }
    if (isAll && ly_ctx_compile(context) == LY_SUCCESS) {
      return context;
    }
    ly_ctx_destroy(context);
  }
  return nullptr;
}

struct KeyLeaf {
  lysc_node_leaf const* leaf;
  Zyn::ZynType type;
};

struct List {
  std::string path;
  Zyn::ZynAttr collection;
  std::vector<KeyLeaf> keys;
};

/** Collects the keyed lists below `first`, with what our tree has in their place. */
void collect(lysc_node const* first, Zyn::ZynType parent, Yang::Loaded const& ours, std::vector<List>& lists) {
  for (lysc_node const* node = first; node != nullptr; node = node->next) {
    if ((node->nodetype & (LYS_CHOICE | LYS_CASE)) != 0) {
      collect(lysc_node_child(node), parent, ours, lists);
    }
    if ((node->nodetype & (LYS_CONTAINER | LYS_LIST)) == 0) {
      continue;
    }
    Zyn::ZynAttr attr = parent.attr(std::string_view(node->name));
    if (attr.empty()) {
      attr = parent.attr(std::string_view(std::string(node->module->name) + ":" + node->name));
    }
    EXPECT_FALSE(attr.empty()) << parent.name() << " lacks " << node->name;
    EXPECT_EQ(ours.moduleOf(attr), node->module->name) << node->name;
    List list{std::string(parent.name()) + "." + attr.name(), attr, {}};
    for (lysc_node const* child = lysc_node_child(node); child != nullptr; child = child->next) {
      if (node->nodetype == LYS_LIST && (child->flags & LYS_KEY) != 0) {
        list.keys.push_back({reinterpret_cast<lysc_node_leaf const*>(child), {}});
      }
    }
    for (KeyLeaf& key : list.keys) {
      key.type =
          list.keys.size() == 1 ? attr.keyType() : attr.keyType().attr(std::string_view(key.leaf->name)).attrType();
      EXPECT_FALSE(key.type.empty()) << list.path << ": " << key.leaf->name;
    }
    EXPECT_EQ(attr.isKeyed(), !list.keys.empty()) << list.path;
    if (!list.keys.empty()) {
      lists.push_back(list);
    }
    collect(lysc_node_child(node), attr.attrType(), ours, lists);
  }
}

std::size_t countKeyed(Zyn::ZynType entity) {
  std::size_t count = 0;
  for (Zyn::AttributeQIterator attr(entity); attr; ++attr) {
    if (Model::kindOf((*attr).attrType()) == Model::Kind::Entity) {
      count += ((*attr).isKeyed() ? 1 : 0) + countKeyed((*attr).attrType());
    }
  }
  return count;
}

/** What libyang makes of the text; nothing when it refuses it. */
std::optional<std::string> libyangReads(lysc_node_leaf const& leaf, std::string const& text) {
  char const* canonical = nullptr;
  LY_ERR const result = lyd_value_validate(nullptr, reinterpret_cast<lysc_node const*>(&leaf), text.data(), text.size(),
                                           nullptr, nullptr, &canonical);
  std::optional<std::string> reads;
  if (result == LY_SUCCESS || result == LY_EINCOMPLETE) {
    reads = canonical;
    lydict_remove(leaf.module->ctx, canonical);
  }
  return reads;
}

/** Of a union, the alternative is the first that takes the text when asked alone, and holds the same value. */
void checkAlternative(Zyn::ZynType type, std::string const& text, Zyn::GenericIf const* value) {
  for (Zyn::AttributeQIterator attr(type); attr; ++attr) {
    if (auto const alone = read((*attr).attrType(), text)) {
      auto const held = value == nullptr ? nullptr : Model::attribute(*value, *attr);
      EXPECT_TRUE(held && Model::equal(*held, *alone)) << type.name() << ": " << testing::PrintToString(text);
      return;
    }
  }
  EXPECT_EQ(value, nullptr) << type.name() << ": " << testing::PrintToString(text);
}

std::optional<std::string> weRead(Zyn::ZynType type, std::string const& text) {
  auto const value = read(type, text);
  if (Model::kindOf(type) == Model::Kind::Union) {
    checkAlternative(type, text, value.get());
  }
  return value ? std::optional(canonical(value)) : std::nullopt;
}

/** An identity of another module without its module, which libyang does not take: there is only one of its name. */
bool isBareIdentity(KeyLeaf const& key, std::string const& text, std::string const& ours) {
  lysc_type const* type = key.leaf->type;
  while (type->basetype == LY_TYPE_LEAFREF || type->basetype == LY_TYPE_UNION) {
    // NOLINTNEXTLINE(clang-analyzer-core.NullDereference): a union that was compiled has alternatives.
    type = type->basetype == LY_TYPE_LEAFREF
               ? reinterpret_cast<lysc_type_leafref const*>(type)->realtype
               : reinterpret_cast<lysc_type_union const*>(type)
                     ->types[LY_ARRAY_COUNT(reinterpret_cast<lysc_type_union const*>(type)->types) - 1];
  }
  return type->basetype == LY_TYPE_IDENT && !text.contains(':') && ours.ends_with(":" + text);
}

/** An identity that nothing is derived from. */
bool hasNoValues(lysc_type const& type) {
  if (type.basetype == LY_TYPE_LEAFREF) {
    return hasNoValues(*reinterpret_cast<lysc_type_leafref const&>(type).realtype);
  }
  return type.basetype == LY_TYPE_IDENT &&
         LY_ARRAY_COUNT(reinterpret_cast<lysc_type_identityref const&>(type).bases[0]->derived) == 0;
}

struct Figures {
  std::size_t keyLeaves = 0;
  std::size_t texts = 0;
  std::size_t accepted = 0;
  std::size_t differences = 0;
  std::size_t generous = 0;
  std::set<std::string> generousTexts;
};

void compare(KeyLeaf const& key, std::string const& path, std::vector<std::string> const& texts, Figures& figures) {
  for (std::string const& text : texts) {
    auto const theirs = libyangReads(*key.leaf, text);
    auto const ours = weRead(key.type, text);
    ++figures.texts;
    figures.accepted += theirs ? 1 : 0;
    if (ours == theirs) {
      continue;
    }
    if (!theirs && isBareIdentity(key, text, *ours)) {
      ++figures.generous;
      figures.generousTexts.insert(text + " as " + *ours);
      continue;
    }
    // One line each, and not too many: one fault shows in thousands of texts.
    if (++figures.differences <= 20) {
      ADD_FAILURE() << path << " " << key.leaf->name << ": " << testing::PrintToString(text) << " is "
                    << testing::PrintToString(ours) << ", for libyang " << testing::PrintToString(theirs);
    }
  }
}

/** A whole key, leaf by leaf, through the three jobs. */
void decode(List const& list, std::vector<std::pair<std::string, std::string>> const& goodTexts) {
  ZynKeyDecoder const decoder(list.collection, false);
  if (list.keys.size() == 1) {
    auto const& [text, canonicalText] = goodTexts.front();
    auto const key = decoder.decodeScalarKey(list.collection.keyType(), list.collection.internalKeyName(), text);
    ASSERT_TRUE(key) << list.path;
    EXPECT_EQ(canonical(std::get<ZynKeyDecoder::Single>(*key).value), canonicalText) << list.path;
  }
  for (bool const isWhole : {false, true}) {
    KeyElemNode root(list.collection.keyType(), false);
    ZynKeyDecoder::FilterMap filter;
    for (std::size_t i = 0; i < list.keys.size(); ++i) {
      std::string const leaf = list.keys[i].leaf->name;
      std::string const path =
          isWhole && list.keys.size() > 1 ? list.collection.internalKeyName() + ("__" + leaf) : leaf;
      EXPECT_TRUE(decoder.processKeyPath(root, path, goodTexts[i].first)) << list.path << " " << path;
      if (list.keys.size() > 1) {
        EXPECT_TRUE(decoder.updateFilter(filter, leaf, goodTexts[i].first)) << list.path << " " << leaf;
      }
    }
    ASSERT_TRUE(root.instantiate()) << list.path;
    for (std::size_t i = 0; i < list.keys.size() && list.keys.size() > 1; ++i) {
      EXPECT_EQ(canonical(Model::attribute(*root.value, list.keys[i].leaf->name)), goodTexts[i].second) << list.path;
    }
    EXPECT_TRUE(Model::matches(filter, *root.value)) << list.path;
  }
}

class Real : public testing::TestWithParam<ModuleSet> {};

TEST_P(Real, KeysAreReadAsLibyangReadsThem) {
  ModuleSet const& set = GetParam();
  if (!std::ranges::all_of(set.folders, [](auto const& folder) { return std::filesystem::is_directory(folder); })) {
    GTEST_SKIP() << "skipped: no folder " << set.folders.back();
  }
  ly_log_options(0);
  Yang::Loaded ours = loaded(set.folders, {}, {.allFeatures = true});
  EXPECT_THAT(ours.warnings, testing::IsEmpty());
  auto const& names = ours.origins["rfc7951"];
  std::vector<std::string> modules(names.begin(), names.end());
  std::size_t const found = modules.size();
  static auto& kept = *new std::vector<ly_ctx*>;
  ly_ctx* context = nullptr;
  // In a thread of its own: a log location may point into a context that is gone by the next error.
  std::thread([&] { context = contextOf(set.folders, modules); }).join();
  kept.push_back(context);
  EXPECT_EQ(modules.size(), found) << "what libyang finds by itself";

  std::vector<List> lists;
  std::uint32_t at = 0;
  while (lys_module const* const module = ly_ctx_get_module_iter(context, &at)) {
    // Not those that libyang always brings along, unless they are in the folder.
    bool const isWanted = module->implemented != 0 &&
                          (module->filepath != nullptr || std::ranges::find(modules, module->name) != modules.end());
    if (isWanted) {
      collect(module->compiled->data, ours.root, ours, lists);
    }
  }
  EXPECT_EQ(countKeyed(ours.root), lists.size());

  std::uint64_t const seed = fromEnvironment("YANG_SEED", 1);
  std::size_t const texts = fromEnvironment("YANG_TEXTS", usualTexts);
  Random random(seed);
  Figures figures;
  std::map<std::string, std::size_t> kinds;
  std::vector<std::string> withoutValues;
  for (List const& list : lists) {
    std::vector<std::pair<std::string, std::string>> goodTexts;
    for (KeyLeaf const& key : list.keys) {
      ++figures.keyLeaves;
      std::string const plugin = key.leaf->type->plugin->id;
      std::string kind = plugin.substr(plugin.find(" - ") + 3);
      kind.resize(kind.find(','));
      ++kinds[kind == "integers" ? std::string(Model::kindName(Model::kindOf(key.type))) : kind];
      std::vector<std::string> const tried = textsFor(*key.leaf->type, random, texts);
      compare(key, list.path, tried, figures);
      auto const good =
          std::ranges::find_if(tried, [&](auto const& text) { return libyangReads(*key.leaf, text).has_value(); });
      if (good == tried.end()) {
        EXPECT_TRUE(hasNoValues(*key.leaf->type)) << "no good text for " << list.path << " " << key.leaf->name;
        continue;
      }
      goodTexts.emplace_back(*good, *libyangReads(*key.leaf, *good));
    }
    if (goodTexts.size() == list.keys.size()) {
      decode(list, goodTexts);
    } else {
      withoutValues.push_back(list.path);
    }
  }
  EXPECT_EQ(figures.differences, 0U);
  std::cout << set.name << ": " << modules.size() << " of " << found << " modules, " << lists.size() << " keyed lists, "
            << lists.size() - withoutValues.size() << " decoded; " << figures.keyLeaves << " key leaves:";
  for (auto const& [kind, count] : kinds) {
    std::cout << ' ' << kind << ' ' << count << ',';
  }
  for (std::string const& path : withoutValues) {
    std::cout << "\nno value exists for a key of " << path;
  }
  std::cout << '\n'
            << figures.texts << " texts tried (seed " << seed << "), " << figures.accepted << " accepted, "
            << figures.differences << " differences, " << figures.generous << " generous cases:";
  for (std::string const& text : figures.generousTexts) {
    std::cout << ' ' << text << ',';
  }
  std::cout << '\n';
}

TEST_P(Real, AreTheSameInEveryOrder) {
  ModuleSet const& set = GetParam();
  if (!std::ranges::all_of(set.folders, [](auto const& folder) { return std::filesystem::is_directory(folder); })) {
    GTEST_SKIP() << "skipped: no folder " << set.folders.back();
  }
  Yang::Loaded const whole = loaded(set.folders, {});
  auto const& modules = whole.origins.at("rfc7951");
  std::vector<std::string> names(modules.begin(), modules.end());
  Random random(fromEnvironment("YANG_SEED", 1));
  for (int order = 0; order < 3; ++order) {
    std::ranges::shuffle(names, random);
    Yang::Loaded const again = loaded(set.folders, names);
    EXPECT_EQ(again.schema.names(), whole.schema.names());
    EXPECT_EQ(again.origins, whole.origins);
  }
  std::cout << set.name << ": " << names.size() << " modules in three orders, " << whole.schema.names().size()
            << " types each\n";
}

INSTANTIATE_TEST_SUITE_P(Modules, Real, testing::ValuesIn(moduleSets), testing::PrintToStringParamName());

}  // namespace
}  // namespace YangTest
