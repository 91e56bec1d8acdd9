#include "bench/Gnmi.h"

#include <fmt/core.h>

#include <expected>
#include <map>
#include <utility>
#include <vector>

#include "bench/Decoder.h"
#include "examples/target/gnmi.pb.h"
#include "gnmi/Message.h"
#include "gnmi/Path.h"
#include "model/Schema.h"

namespace Bench {
namespace {

using Done = std::expected<void, Gnmi::Error>;

/** What is used again for every path. */
struct State {
  SharedResolver resolver;
  std::string text = {};
  gnmi::Path message = {};
  Gnmi::Path path = {};
  Gnmi::Resolved found = {};

  Done resolveText() {
    Done read = Gnmi::parsePath(text, path);
    return read ? resolver->resolve(path, found) : read;
  }
  Done resolveMessage() {
    Done read = Gnmi::readPath(message, path);
    return read ? resolver->resolve(path, found) : read;
  }
};

Work tried(std::string name, std::function<Done()> const& once) {
  if (auto const done = once(); !done) {
    fail(name, done.error().text);
  }
  return {std::move(name), [once] { keep(once()); }};
}

using Model::core;
using Model::Kind;

/** Leads back to itself, so that paths can be of any length. */
Zyn::ZynType endless() {
  static Model::Schema schema;
  Model::Module& module = schema.module("Endless");
  Zyn::ZynType const box = module.entity("Box");
  return module.extend(box).attr("box", box).attr("name", core(Kind::String));
}

/** One list, of which all keys are parts of a key. */
Zyn::ZynType listOfKeys(std::size_t count) {
  static Model::Schema schema;
  Model::Module& module = schema.module(fmt::format("Keys{}", count));
  Model::TypeBuilder key = module.value("Key");
  std::vector<std::string> names;
  for (std::size_t i = 0; i != count; ++i) {
    key.attr(names.emplace_back(fmt::format("k{}", i)), core(Kind::U32));
  }
  key.args(std::vector<std::string_view>(names.begin(), names.end()));
  return module.entity("Root").keyed("list", module.entity("Entry").attr("key", key), "key");
}

constexpr std::size_t nodesOfBlock = 1000;

/** A list of ten containers, each with 98 leaves. */
Zyn::ZynType block(Model::Module& module, std::size_t number) {
  Model::TypeBuilder entry = module.entity(fmt::format("Entry{}", number)).attr("id", core(Kind::String));
  for (int i = 0; i != 10; ++i) {
    Model::TypeBuilder inner = module.entity(fmt::format("Inner{}of{}", i, number));
    for (int leaf = 0; leaf != 98; ++leaf) {
      inner.attr(fmt::format("leaf{}", leaf), core(Kind::U32));
    }
    entry.attr(fmt::format("inner{}", i), inner);
  }
  return module.entity(fmt::format("Block{}", number)).keyed("entry", entry, "id");
}

/** The root of so many nodes. They are made when they are first asked for, and shared by all sizes. */
Zyn::ZynType rootOfNodes(std::size_t nodes) {
  static Model::Schema schema;
  static Model::Module& module = schema.module("Large");
  static std::vector<Zyn::ZynType> blocks;
  static std::map<std::size_t, Zyn::ZynType> roots;
  if (auto const known = roots.find(nodes); known != roots.end()) {
    return known->second;
  }
  Model::TypeBuilder root = module.entity(fmt::format("Root{}", nodes));
  for (std::size_t i = 0; i != nodes / nodesOfBlock; ++i) {
    if (i == blocks.size()) {
      blocks.push_back(block(module, i));
    }
    root.attr(fmt::format("block{}", i), blocks[i]);
  }
  return roots[nodes] = root;
}

}  // namespace

Work textPath(std::string name, SharedResolver resolver, std::string text) {
  auto const state = std::make_shared<State>(std::move(resolver), std::move(text));
  return tried(std::move(name), [state] { return state->resolveText(); });
}

Work messagePath(std::string name, SharedResolver resolver, std::string const& text) {
  auto const state = std::make_shared<State>(std::move(resolver));
  auto const path = Gnmi::parsePath(text);
  if (!path) {
    fail(name, path.error().text);
  }
  Gnmi::writePath(*path, state->message);
  return tried(std::move(name), [state] { return state->resolveMessage(); });
}

void addPathGrowth(Works& works) {
  auto const box = std::make_shared<Gnmi::Resolver const>(endless());
  for (std::size_t const count : {1U, 1024U, 2048U, 4096U, 6144U, 8192U}) {
    std::string text;
    for (std::size_t i = 0; i != count; ++i) {
      text += "/box";
    }
    works.push_back(textPath(fmt::format("growth, elements of a gNMI path: {}", count), box, text));
    works.back().rounds = 2;
  }
  for (std::size_t const count : {1U, 2U, 4U, 8U, 16U, 24U, 32U, 40U, 48U, 56U, 64U}) {
    std::string text = "/list";
    for (std::size_t i = 0; i != count; ++i) {
      text += fmt::format("[k{}={}]", i, 1000 + i);
    }
    auto const list = std::make_shared<Gnmi::Resolver const>(listOfKeys(count));
    works.push_back(textPath(fmt::format("growth, keys of one element: {}", count), list, text));
    works.back().rounds = 20;
  }
  std::vector<std::size_t> const sizes = {1'000, 10'000, 100'000, 250'000, 500'000, 750'000, 1'000'000};
  for (std::size_t const nodes : sizes) {
    works.push_back(later(fmt::format("growth, nodes of a schema that a resolver is made for: {}", nodes),
                          [nodes] { return [root = rootOfNodes(nodes)] { keep(Gnmi::Resolver(root)); }; }));
  }
  for (std::size_t const nodes : sizes) {
    works.push_back(later(fmt::format("growth, nodes of a schema that a path is resolved in: {}", nodes), [nodes] {
      return textPath("path", std::make_shared<Gnmi::Resolver const>(rootOfNodes(nodes)),
                      "/block0/entry[id=7]/inner3/leaf42")
          .run;
    }));
  }
}

}  // namespace Bench
