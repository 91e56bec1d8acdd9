// A case as a person can try it: a schema file, and command lines.
#include <fmt/core.h>

#include <array>
#include <iterator>
#include <set>
#include <string_view>

#include "tests/naive/Case.h"

namespace Naive {
namespace {

std::string hex(char byte) { return fmt::format("\\x{:02x}", static_cast<unsigned char>(byte)); }

bool isPlain(char byte) { return byte >= ' ' && byte <= '~'; }

/** For YAML, in double quotes. */
std::string inYaml(std::string_view text) {
  std::string quoted = "\"";
  for (char const byte : text) {
    quoted += byte == '"' || byte == '\\' ? std::string("\\") + byte : isPlain(byte) ? std::string(1, byte) : hex(byte);
  }
  return quoted + '"';
}

/** For bash. */
std::string inShell(std::string_view text) {
  std::string quoted = "$'";
  bool isSimple = true;
  for (char const byte : text) {
    isSimple = isSimple && isPlain(byte) && byte != '\'';
    quoted += byte == '\'' || byte == '\\' ? std::string("\\") + byte
              : isPlain(byte)              ? std::string(1, byte)
                                           : hex(byte);
  }
  return isSimple ? "'" + std::string(text) + "'" : quoted + "'";
}

std::string nameOf(TypeNumber number) {
  return number < 0           ? "(none)"
         : number < coreTypes ? std::string(Model::kindName(static_cast<Model::Kind>(number)))
                              : "T" + std::to_string(number - coreTypes);
}

template <typename List, typename Line>
std::string joined(List const& list, Line&& line) {
  std::string text;
  for (auto const& element : list) {
    text += (text.empty() ? "" : ", ") + line(element);
  }
  return text;
}

std::string attrsOf(std::vector<Attribute> const& attrs) {
  return joined(attrs, [](Attribute const& attr) { return inYaml(attr.name) + ": " + nameOf(attr.type); });
}

std::string markName(Model::Mark mark) {
  constexpr std::array<std::string_view, 6> names = {"Value", "Enum", "S4", "GnmiString", "Union", "ScalarKind"};
  return std::string(names.at(static_cast<std::size_t>(mark)));
}

std::string bodyOf(Type const& type) {
  using Model::Kind;
  switch (type.kind) {
    case Kind::Enum:
      return "enum: [" + joined(type.enumerators, inYaml) + "]";
    case Kind::Wrapper:
      return "wraps: " + nameOf(type.attrs.at(0).type);
    case Kind::Union:
      return "union: {" + attrsOf(type.attrs) + "}";
    case Kind::Value: {
      std::string body = "value: {" + attrsOf(type.attrs) + "}";
      body += type.args.empty() ? "" : ", args: [" + joined(type.args, inYaml) + "]";
      body += type.gnmi.empty() ? "" : ", gnmi: " + inYaml(type.gnmi);
      if (!type.s4.empty()) {
        body += ", s4: {" +
                joined(type.s4,
                       [](auto const& number) { return inYaml(number.first) + ": " + std::to_string(number.second); }) +
                "}";
      }
      return body;
    }
    default:
      return "wraps: " + std::string(Model::kindName(type.kind));
  }
}

/** What a schema file cannot say of a type. */
std::string remarksOn(Type const& type) {
  std::string remarks;
  if (type.kind < Model::Kind::Enum) {
    remarks += "  # in truth a further type of that kind, and no wrapper";
  }
  if (!type.valAttr.empty()) {
    remarks += "  # and in code .valAttr(" + inYaml(type.valAttr) + ")";
  }
  for (auto const& [mark, on] : type.marks) {
    remarks += "  # and in code .mark(" + markName(mark) + (on ? ")" : ", false)");
  }
  return remarks;
}

/** The types that are needed, those of their attributes included. */
void reach(Case const& one, TypeNumber number, std::set<TypeNumber>& reached) {
  if (number >= coreTypes && reached.insert(number).second) {
    for (Attribute const& attr : one.types.at(static_cast<std::size_t>(number - coreTypes)).attrs) {
      reach(one, attr.type, reached);
    }
  }
}

std::string collectionOf(Case const& one) {
  switch (one.shape) {
    case Shape::Keyed: {
      std::string text = "{keyed: Entry";
      text += one.by ? ", by: " + inYaml(*one.by) : "";
      return text + (one.keyType < 0 ? "}" : ", type: " + nameOf(one.keyType) + "}");
    }
    case Shape::List:
      return "{list: Entry}";
    case Shape::Plain:
      return "Entry";
    case Shape::None:
      break;
  }
  return "String  # in truth the decoder is made for no attribute at all";
}

std::string schemaOf(Case const& one) {
  std::set<TypeNumber> reached;
  reach(one, one.keyType, reached);
  reach(one, one.root.value_or(-1), reached);
  for (Attribute const& attr : one.entry) {
    reach(one, attr.type, reached);
  }
  for (Step const& step : one.steps) {
    reach(one, step.type, reached);
  }
  std::string text = "module: Case\ntypes:\n";
  for (TypeNumber const number : reached) {
    Type const& type = one.types.at(static_cast<std::size_t>(number - coreTypes));
    text += "  " + nameOf(number) + ": {" + bodyOf(type) + "}" + remarksOn(type) + "\n";
  }
  text += "  Entry: {entity: {" + attrsOf(one.entry) + "}}\n";
  return text + "  Owner:\n    entity:\n      entries: " + collectionOf(one) + "\n";
}

std::string faultOf(Step const& step) {
  return step.refusedCall == 0 ? ""
                               : fmt::format("  # and call {} of it to the type system {}", step.refusedCall,
                                             step.answersNull ? "answers null" : "is refused");
}

std::string commandOf(Case const& one, std::string const& job, bool s4) {
  return "zynkey " + job + " --schema case.yaml --collection Owner.entries" + (s4 ? " --s4" : "") +
         (one.traces ? " --trace" : "");
}

std::string commandsOf(Case const& one) {
  std::string decode;
  std::string filter;
  std::string text;
  bool hasTree = false;
  for (Step const& step : one.steps) {
    std::string const key = " " + inShell(step.path + "=" + step.value);
    std::string const fault = faultOf(step);
    switch (step.job) {
      case Job::Split:
        text += "zynkey split " + inShell(step.path) + "\n";
        break;
      case Job::Scalar:
        text += commandOf(one, "scalar", one.decoderS4);
        text.append(" --type ").append(nameOf(step.type)).append(key).append(fault).append("\n");
        break;
      case Job::Path:
        decode += key;
        hasTree = true;
        break;
      case Job::Instantiate:
        hasTree = true;
        break;
      case Job::Filter:
        filter += key;
        break;
      default:
        break;
    }
  }
  if (hasTree) {
    text += decode.empty() ? "# a key without any path, which no command line can say\n"
                           : commandOf(one, "decode", one.treeS4) + decode + "\n";
  }
  text += filter.empty() ? "" : commandOf(one, "filter", one.decoderS4) + filter + "\n";
  if (one.root) {
    text += "# the tree is made for " + nameOf(*one.root) + "\n";
  }
  return text;
}

std::string stepsOf(Case const& one) {
  constexpr std::array<std::string_view, 7> names = {
      "splitPath", "decodeScalarKey", "processKeyPath", "insertPathSuffix", "instantiate", "construct", "updateFilter"};
  std::string text;
  for (Step const& step : one.steps) {
    text += "# " + std::string(names.at(static_cast<std::size_t>(step.job)));
    switch (step.job) {
      case Job::Split:
        text += " " + inShell(step.path);
        break;
      case Job::Instantiate:
        break;
      case Job::Construct:
        text += " " + nameOf(step.type);
        break;
      case Job::Scalar:
        text += " " + nameOf(step.type) + " " + inShell(step.path) + " " + inShell(step.value);
        break;
      default:
        text += " " + inShell(step.path) + " " + inShell(step.value);
        break;
    }
    text += faultOf(step) + "\n";
  }
  return text;
}

}  // namespace

std::string shown(Case const& one) {
  return "--- case.yaml\n" + schemaOf(one) + "--- commands (each comes close; what happens in truth stands below)\n" +
         commandsOf(one) + "--- steps\n" + stepsOf(one);
}

}  // namespace Naive
