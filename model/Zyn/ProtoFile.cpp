// Messages of a schema as a `.proto` file.
#include <absl/container/flat_hash_map.h>
#include <absl/container/flat_hash_set.h>
#include <fmt/core.h>

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Zyn/Zyn.h"
#include "model/Schema.h"
#include "model/Value.h"
#include "model/Zyn/Objects.h"
#include "model/Zyn/Tables.h"
#include "model/Zyn/Wire.h"

namespace Model {
namespace {

constexpr std::string_view enumName = "Enum";

/** The names of one scope: makes identifiers of them, no two of which are the same. */
class Names {
 public:
  Names(std::initializer_list<std::string_view> taken = {}) {
    for (std::string_view const name : taken) {
      next_.emplace(name, 2);
    }
  }

  std::string add(std::string_view wanted) {
    std::string name;
    for (char const c : wanted) {
      bool const isKept = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
      name += isKept ? c : '_';
    }
    if (name.empty() || (name.front() >= '0' && name.front() <= '9')) {
      name.insert(0, 1, '_');
    }
    std::string unique = name;
    while (!next_.emplace(unique, 2).second) {
      unique = fmt::format("{}_{}", name, next_[name]++);
    }
    return unique;
  }

 private:
  /** For each name in use, the number to try when it is wanted again. */
  absl::flat_hash_map<std::string, unsigned> next_;
};

class ProtoFile {
 public:
  explicit ProtoFile(Schema const& schema) {
    for (Module const* const module : schema.modules()) {
      for (Zyn::ZynType const type : module->types()) {
        if (hasMark(type, Mark::S4) && rowOf(type).kind != Kind::Entity) {
          need(type);
        }
      }
    }
    // The types of their fields are appended to the list while it is iterated over.
    for (std::size_t i = 0; i < needed_.size(); ++i) {
      needParts(needed_[i]);
    }
    nameModules(schema);
  }

  std::string text() const {
    std::string out = "syntax = \"proto2\";\n";
    for (auto const& [name, types] : modules_) {
      out += fmt::format("\nmessage {} {{\n", name);
      for (Zyn::ZynType const type : types) {
        write(type, out);
      }
      out += "}\n";
    }
    return out;
  }

 private:
  using TypeId = std::pair<Zyn::ZynModule const*, std::uint32_t>;
  static TypeId idOf(Zyn::ZynType type) { return {type.module(), type.index()}; }

  void need(Zyn::ZynType type) {
    if (names_.emplace(idOf(type), "").second) {
      needed_.push_back(type);
    }
  }

  void needParts(Zyn::ZynType type) {
    auto const needField = [&](Zyn::ZynType field) {
      if (Zyn::ZynType const inner = unwrapped(field); wireOf(rowOf(inner).kind).protoType.empty()) {
        need(inner);
      }
    };
    if (Kind const kind = rowOf(type).kind; kind != Kind::Value && kind != Kind::Union) {
      needField(type);
      return;
    }
    for (std::uint32_t slot = 0; slot < rowOf(type).attrs.size(); ++slot) {
      if (fieldNumber(type, slot) != 0) {
        needField(attrRow(type, slot).type);
      }
    }
  }

  void nameModules(Schema const& schema) {
    auto modules = schema.modules();
    for (Zyn::ZynType const type : needed_) {
      // A field may be of a type of another schema.
      if (Module const* const module = &tablesOf(*type.module()); std::ranges::find(modules, module) == modules.end()) {
        modules.push_back(module);
      }
    }
    Names moduleNames;
    for (Module const* const module : modules) {
      std::vector<Zyn::ZynType> types;
      for (Zyn::ZynType const type : module->types()) {
        if (names_.contains(idOf(type))) {
          types.push_back(type);
        }
      }
      if (types.empty()) {
        continue;
      }
      std::string const moduleName = moduleNames.add(module->name());
      Names typeNames;
      for (Zyn::ZynType const type : types) {
        names_[idOf(type)] = fmt::format("{}.{}", moduleName, typeNames.add(shortName(type)));
      }
      modules_.emplace_back(moduleName, std::move(types));
    }
  }

  std::string fieldType(Zyn::ZynType type) const {
    Zyn::ZynType const inner = unwrapped(type);
    Kind const kind = rowOf(inner).kind;
    if (std::string_view const name = wireOf(kind).protoType; !name.empty()) {
      return std::string(name);
    }
    // With a leading dot, from the outermost scope: a name inside the message could hide the one meant.
    std::string const& name = names_.at(idOf(inner));
    return kind == Kind::Enum ? fmt::format(".{}.{}", name, enumName) : "." + name;
  }

  void write(Zyn::ZynType type, std::string& out) const {
    std::string const& name = names_.at(idOf(type));
    out += fmt::format("  message {} {{\n", std::string_view(name).substr(name.find('.') + 1));
    Kind const kind = rowOf(type).kind;
    if (kind == Kind::Enum) {
      writeEnum(type, out);
    }
    if (kind == Kind::Value || kind == Kind::Union) {
      writeFields(type, out);
    } else if (hasMark(type, Mark::S4)) {
      out += fmt::format("    required {} {} = {};\n", fieldType(type), onlyFieldName, onlyField);
    }
    out += "  }\n";
  }

  static void writeEnum(Zyn::ZynType type, std::string& out) {
    out += fmt::format("    enum {} {{\n", enumName);
    // Protobuf puts enumerators into the scope around the enum, where "option" and "reserved" would start statements.
    Names names = {enumName, onlyFieldName, "option", "reserved"};
    for (Enumerator const& enumerator : rowOf(type).enumerators) {
      out += fmt::format("      {} = {};\n", names.add(enumerator.name), enumerator.number);
    }
    out += "    }\n";
  }

  void writeFields(Zyn::ZynType type, std::string& out) const {
    TypeRow const& row = rowOf(type);
    Names names;
    std::string fields;
    for (std::uint32_t slot = 0; slot < row.attrs.size(); ++slot) {
      AttrRow const& attr = attrRow(type, slot);
      if (std::uint32_t const number = fieldNumber(type, slot); number != 0) {
        std::string_view const label = row.kind == Kind::Union ? "  " : attr.isArgument ? "required " : "optional ";
        fields += fmt::format("    {}{} {} = {};\n", label, fieldType(attr.type), names.add(attr.name), number);
      }
    }
    if (row.kind == Kind::Union && !fields.empty()) {
      fields = fmt::format("    oneof {} {{\n{}    }}\n", names.add("alternative"), fields);
    }
    out += fields;
  }

  std::vector<Zyn::ZynType> needed_;
  /** "Network.RouteKey" */
  absl::flat_hash_map<TypeId, std::string> names_;
  std::vector<std::pair<std::string, std::vector<Zyn::ZynType>>> modules_;
};

}  // namespace

std::string protoFile(Schema const& schema) { return ProtoFile(schema).text(); }

}  // namespace Model
