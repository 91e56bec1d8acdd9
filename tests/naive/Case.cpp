#include "tests/naive/Case.h"

#include <string_view>

namespace Naive {

using Model::Kind;
using Model::Mark;

World::World(Case const& from) {
  Model::Module& module = schema.module("Case");
  for (int kind = 0; kind < coreTypes; ++kind) {
    types.push_back(Model::core(static_cast<Kind>(kind)));
  }
  for (std::size_t i = 0; i < from.types.size(); ++i) {
    Type const& row = from.types[i];
    std::string const name = "T" + std::to_string(i);
    std::vector<Model::Enumerator> enumerators;
    for (std::string const& enumerator : row.enumerators) {
      enumerators.push_back({enumerator, static_cast<std::int32_t>(enumerators.size())});
    }
    auto builder = [&] {
      switch (row.kind) {
        case Kind::Enum:
          return module.enumeration(name, enumerators);
        case Kind::Wrapper:
          return module.wrapper(name, type(row.attrs.empty() ? -1 : row.attrs[0].type));
        case Kind::Union:
          return module.unionOf(name);
        case Kind::Value:
          return module.value(name);
        default:
          return module.scalar(name, row.kind);
      }
    }();
    if (row.kind != Kind::Wrapper) {
      for (Attribute const& attr : row.attrs) {
        builder.attr(attr.name, type(attr.type));
      }
    }
    if (!row.args.empty()) {
      std::vector<std::string_view> const args(row.args.begin(), row.args.end());
      builder.args(std::span(args));
    }
    if (!row.gnmi.empty()) {
      builder.gnmi(row.gnmi);
    }
    if (!row.s4.empty()) {
      std::vector<std::pair<std::string_view, std::uint32_t>> const numbers(row.s4.begin(), row.s4.end());
      builder.s4(std::span(numbers));
    }
    if (!row.valAttr.empty()) {
      builder.valAttr(row.valAttr);
    }
    for (auto const& [mark, on] : row.marks) {
      builder.mark(mark, on);
    }
    if (Model::hasMark(builder, Mark::Union)) {
      builder.mark(Mark::Value);
    }
    types.emplace_back(builder);
  }
  auto entry = module.entity("Entry");
  for (Attribute const& attr : from.entry) {
    entry.attr(attr.name, type(attr.type));
  }
  auto owner = module.entity("Owner");
  Zyn::ZynType const ownerType = owner;
  switch (from.shape) {
    case Shape::Keyed:
      owner.keyed("entries", entry, from.by, type(from.keyType));
      break;
    case Shape::List:
      owner.list("entries", entry);
      break;
    case Shape::Plain:
      owner.attr("entries", entry);
      break;
    case Shape::None:
      break;
  }
  collection = ownerType.attr(std::string_view("entries"));
  root = from.root ? type(*from.root) : collection.keyType();
}

Case shrunk(Case from, std::function<bool(Case const&)> const& isStillOne) {
  int left = 20'000;
  bool again = true;
  auto const attempt = [&](auto&& edit) {
    Case smaller = from;
    edit(smaller);
    bool const taken = left-- > 0 && isStillOne(smaller);
    if (taken) {
      from = std::move(smaller);
      again = true;
    }
    return taken;
  };
  /** Leaves out one element after the other of a list of the case. */
  auto const thin = [&](auto&& listOf) {
    for (std::size_t i = listOf(from).size(); i-- > 0;) {
      attempt([&](Case& one) { listOf(one).erase(listOf(one).begin() + static_cast<std::ptrdiff_t>(i)); });
    }
  };
  /** A text: nothing, else half of it, else a character less. */
  auto const shorten = [&](auto&& textOf) {
    if (textOf(from).empty() || attempt([&](Case& one) { textOf(one).clear(); })) {
      return;
    }
    while (textOf(from).size() > 1 && (attempt([&](Case& one) { textOf(one).resize(textOf(one).size() / 2); }) ||
                                       attempt([&](Case& one) { textOf(one).erase(0, textOf(one).size() / 2); }))) {
    }
    for (std::size_t at = textOf(from).size(); at-- > 0;) {
      attempt([&](Case& one) { textOf(one).erase(at, 1); });
    }
  };
  auto const drop = [&](auto&& textOf) {
    if (!textOf(from).empty()) {
      attempt([&](Case& one) { textOf(one).clear(); });
    }
  };
  auto const clear = [&](auto&& fieldOf) {
    if (fieldOf(from)) {
      attempt([&](Case& one) { fieldOf(one) = {}; });
    }
  };
  auto const plainType = [&](auto&& attrOf) {
    for (TypeNumber const plain : {static_cast<int>(Kind::String), static_cast<int>(Kind::U8)}) {
      if (attrOf(from).type >= coreTypes && attempt([&](Case& one) { attrOf(one).type = plain; })) {
        return;
      }
    }
  };

  while (again && left > 0) {
    again = false;
    thin([](Case& one) -> auto& { return one.steps; });
    for (std::size_t i = 0; i < from.steps.size(); ++i) {
      shorten([i](Case& one) -> auto& { return one.steps[i].path; });
      shorten([i](Case& one) -> auto& { return one.steps[i].value; });
      clear([i](Case& one) -> auto& { return one.steps[i].refusedCall; });
      clear([i](Case& one) -> auto& { return one.steps[i].answersNull; });
    }
    clear([](Case& one) -> auto& { return one.traces; });
    clear([](Case& one) -> auto& { return one.decoderS4; });
    clear([](Case& one) -> auto& { return one.treeS4; });
    clear([](Case& one) -> auto& { return one.root; });
    thin([](Case& one) -> auto& { return one.entry; });
    for (std::size_t i = 0; i < from.entry.size(); ++i) {
      plainType([i](Case& one) -> auto& { return one.entry[i]; });
    }
    for (std::size_t i = 0; i < from.types.size(); ++i) {
      thin([i](Case& one) -> auto& { return one.types[i].marks; });
      thin([i](Case& one) -> auto& { return one.types[i].args; });
      thin([i](Case& one) -> auto& { return one.types[i].s4; });
      thin([i](Case& one) -> auto& { return one.types[i].enumerators; });
      thin([i](Case& one) -> auto& { return one.types[i].attrs; });
      drop([i](Case& one) -> auto& { return one.types[i].gnmi; });
      drop([i](Case& one) -> auto& { return one.types[i].valAttr; });
      for (std::size_t j = 0; j < from.types[i].attrs.size(); ++j) {
        plainType([i, j](Case& one) -> auto& { return one.types[i].attrs[j]; });
      }
    }
  }
  return from;
}

}  // namespace Naive
