#include "yaml/Yaml.h"

#include <fmt/core.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "Drovan/ZynKeyDecoder.h"

namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using Texts = std::vector<std::string>;
using Files = std::map<std::string, std::string>;

Texts problemsOf(Yaml::Loaded const& loaded) {
  Texts texts;
  if (!loaded) {
    for (Yaml::Problem const& problem : loaded.error()) {
      texts.push_back(problem.text());
    }
  }
  return texts;
}

Texts problemsOf(std::string_view text) { return problemsOf(Yaml::loadText(text, "net.yaml")); }

struct Row {
  char const* why;
  std::string text;
  /** Without the file's name. */
  Texts problems = {};
};

void expectProblems(std::vector<Row> const& rows) {
  for (Row const& row : rows) {
    Texts wanted;
    for (std::string const& problem : row.problems) {
      wanted.push_back("net.yaml:" + problem);
    }
    EXPECT_THAT(problemsOf(row.text), ElementsAreArray(wanted)) << row.why << "\n" << row.text;
  }
}

/** `types` are the lines below `types:`, which is line 2. */
void expectTypeProblems(std::vector<Row> rows) {
  for (Row& row : rows) {
    row.text = "module: N\ntypes:\n" + row.text;
  }
  expectProblems(rows);
}

/** What a type is made of: "key: RouteKey, vrf: String". */
std::string attrsOf(Zyn::ZynType type) {
  std::string text;
  for (Zyn::AttributeQIterator attr(type); attr; ++attr) {
    text += text.empty() ? "" : ", ";
    text += std::string((*attr).name()) + ": " + (*attr).attrType().name();
  }
  return text;
}

std::string argsOf(Zyn::ZynType type) {
  std::string text;
  for (auto name = type.module()->argNameQIterator(type.argListIndex()); name; ++name) {
    text += (text.empty() ? "" : ", ") + std::string(*name);
  }
  return text;
}

/** Files in a folder that goes away. */
class Folder {
 public:
  explicit Folder(Files const& files)
      : path_(std::filesystem::path(testing::TempDir()) / ("schema_" + std::to_string(::getpid()))) {
    std::filesystem::create_directories(path_);
    for (auto const& [name, text] : files) {
      std::filesystem::create_directories((path_ / name).parent_path());
      std::ofstream(path_ / name) << text;
    }
  }
  Folder(Folder const&) = delete;
  Folder& operator=(Folder const&) = delete;
  ~Folder() { std::filesystem::remove_all(path_); }

  std::string path(std::string const& name) const { return (path_ / name).string(); }

  /** With the folder's path cut out. */
  Texts problemsOf(std::string const& name) const {
    Texts texts = ::problemsOf(Yaml::loadFile(path(name)));
    for (std::string& text : texts) {
      std::string const folder = path_.string() + "/";
      for (std::size_t at = text.find(folder); at != std::string::npos; at = text.find(folder)) {
        text.erase(at, folder.size());
      }
    }
    return texts;
  }

 private:
  std::filesystem::path path_;
};

// What is accepted.

TEST(Yaml, LoadsEveryKindOfType) {
  Yaml::Loaded const loaded = Yaml::loadText(R"(
module: Network
types:
  Protocol:  {enum: {connected: 1, bgp: 9, none: -2147483648, all: 2147483647}}
  Action:    {enum: [permit, deny]}
  VlanId:    {wraps: U16}
  PortName:  {union: {number: U32, name: String}}
  PortRange: {value: {low: U16, high: U16}, args: [low, high], gnmi: "{low}-{high}"}
  RouteKey:
    value: {vrf: String, protocol: Protocol, tag: U32}
    args: [protocol, vrf]
    s4: {vrf: 1, protocol: 2, tag: 536870911}
  Route: {entity: {key: RouteKey, vrf: String}}
  Event: {entity: {text: String}}
  Empty: {value: {}}
  Vrf:
    entity:
      name: String
      route: {keyed: Route, by: key}
      other: {keyed: Route, by: id, type: VlanId}
      third: {keyed: Route, type: RouteKey}
      event: {list: Event}
)",
                                             "net.yaml");
  ASSERT_THAT(problemsOf(loaded), IsEmpty());
  Model::Module const& network = *loaded->findModule("Network");
  EXPECT_THAT(loaded->modules(), ElementsAre(&network));

  Zyn::ZynType const protocol = network.find("Protocol");
  ASSERT_THAT(Model::enumerators(protocol), SizeIs(4));
  EXPECT_EQ(Model::enumerators(protocol)[1].name, "bgp");
  EXPECT_EQ(Model::enumerators(protocol)[1].number, 9);
  EXPECT_EQ(Model::enumerators(protocol)[2].number, -2147483648);
  EXPECT_EQ(Model::enumerators(protocol)[3].number, 2147483647);
  ASSERT_THAT(Model::enumerators(network.find("Action")), SizeIs(2));
  EXPECT_EQ(Model::enumerators(network.find("Action"))[0].number, 0);
  EXPECT_EQ(Model::enumerators(network.find("Action"))[1].number, 1);

  EXPECT_EQ(network.find("VlanId").valAttr().attrType(), Model::core(Model::Kind::U16));
  EXPECT_TRUE(network.find("PortName").isUnionType());
  EXPECT_EQ(attrsOf(network.find("PortName")), "number: Zyn::U32, name: Zyn::String");
  EXPECT_EQ(Model::gnmiPattern(network.find("PortRange")), "{low}-{high}");

  Zyn::ZynType const key = network.find("RouteKey");
  EXPECT_EQ(attrsOf(key), "vrf: Zyn::String, protocol: Network::Protocol, tag: Zyn::U32");
  EXPECT_EQ(argsOf(key), "protocol, vrf");
  EXPECT_TRUE(key.hasS4Encoding());
  EXPECT_EQ(Model::s4Number(key, key.attr("tag")), 536870911);

  Zyn::ZynType const vrf = network.find("Vrf");
  EXPECT_EQ(attrsOf(vrf),
            "name: Zyn::String, route: Network::Route, other: Network::Route, third: Network::Route, "
            "event: Network::Event");
  EXPECT_STREQ(vrf.attr("route").internalKeyName(), "key");
  EXPECT_EQ(vrf.attr("route").keyType(), key);
  EXPECT_STREQ(vrf.attr("other").internalKeyName(), "id");
  EXPECT_EQ(vrf.attr("other").keyType(), network.find("VlanId"));
  EXPECT_EQ(vrf.attr("third").internalKeyName(), nullptr);
  EXPECT_EQ(vrf.attr("third").keyType(), key);
  EXPECT_TRUE(Model::isList(vrf.attr("event")));
}

TEST(Yaml, KeepsTheOrderOfDeclaration) {
  Yaml::Loaded const loaded = Yaml::loadText(
      "module: N\ntypes:\n  Zz: {value: {z: U8, 5: U8, a: U8, true: U8, m: U8}}\n  Aa: {enum: [x]}\n  Mm: {entity: "
      "{}}\n",
      "net.yaml");
  ASSERT_THAT(problemsOf(loaded), IsEmpty());
  Texts names;
  for (Zyn::ZynType const type : loaded->findModule("N")->types()) {
    names.emplace_back(Model::shortName(type));
  }
  EXPECT_THAT(names, ElementsAre("Zz", "Aa", "Mm"));
  EXPECT_EQ(attrsOf(loaded->find("Zz")), "z: Zyn::U8, 5: Zyn::U8, a: Zyn::U8, true: Zyn::U8, m: Zyn::U8");
}

TEST(Yaml, TypesMayBeNamedBeforeTheyAreDeclared) {
  Yaml::Loaded const loaded = Yaml::loadText(R"(
types:
  Vrf:     {entity: {route: {keyed: Route, by: key}, peer: {keyed: Peer, by: id}, name: Label}}
  Route:   {entity: {vrf: {keyed: Vrf, by: name}, key: Key}}
  Peer:    {value: {id: Label}}
  Key:     {value: {label: Label, ports: Ports}, args: [label, ports], gnmi: "{label}:{ports}"}
  Label:   {wraps: Inner}
  Inner:   {wraps: Either}
  Either:  {union: {ports: Ports, any: String}}
  Ports:   {value: {low: U16, high: U16}, args: [low, high], gnmi: "{low}-{high}"}
module: N
)",
                                             "net.yaml");
  ASSERT_THAT(problemsOf(loaded), IsEmpty());
  EXPECT_EQ(attrsOf(loaded->find("Vrf")), "route: N::Route, peer: N::Peer, name: N::Label");
  EXPECT_EQ(loaded->find("Vrf").attr("route").keyType(), loaded->find("Key"));
  EXPECT_EQ(loaded->find("Vrf").attr("peer").keyType(), loaded->find("Label"));
  EXPECT_EQ(loaded->find("Route").attr("vrf").keyType(), loaded->find("Label"));
}

TEST(Yaml, CoreTypesAreThoseWithAKindOfTheirOwn) {
  for (std::string const name : {"Bool", "S8", "S16", "S32", "S64", "U8", "U16", "U32", "U64", "Float", "Double",
                                 "String", "Bytes", "Seconds", "Time", "IpAddress", "IpPrefix", "MacAddress"}) {
    EXPECT_THAT(problemsOf("module: N\ntypes: {T: {wraps: " + name + "}}"), IsEmpty()) << name;
    EXPECT_THAT(problemsOf("module: N\ntypes: {" + name + ": {wraps: U8}}"),
                ElementsAre("net.yaml:2:9: '" + name + "' is the name of a core type; choose another name"));
  }
  for (std::string const kind : {"Enum", "Wrapper", "Union", "Value", "Entity"}) {
    EXPECT_THAT(problemsOf("module: N\ntypes: {T: {wraps: " + kind + "}}"), SizeIs(1)) << kind;
    EXPECT_THAT(problemsOf("module: N\ntypes: {" + kind + ": {wraps: U8}}"), IsEmpty()) << kind;
  }
}

TEST(Yaml, AcceptsWhatIsOdd) {
  expectProblems({
      {"no types", "module: N"},
      {"names of modules and types", "module: _n2\ntypes: {_T_2: {wraps: U8}, t: {wraps: _T_2}}"},
      {"comments, document marks, a byte order mark", "\xef\xbb\xbf# c\n---\nmodule: N # c\n...\n"},
      {"CR LF", "module: N\r\ntypes:\r\n  T: {wraps: U8}\r\n"},
      {"quotes", "\"module\": 'N'\ntypes: {\"T\": {'wraps': \"U8\"}}"},
      {"names that are no words",
       "module: N\ntypes: {T: {value: {\"null\": U8, '': U8, a b: U8}}}",
       {"2:33: the name of an attribute of 'N::T' is empty; write at least one character"}},
      {"an anchor that nobody uses", "module: &a N\n"},
      {"an entity that holds itself", "module: N\ntypes: {E: {entity: {id: U8, inner: {keyed: E, by: id}, next: E}}}"},
  });
}

// What is refused: the file.

TEST(Yaml, RefusesWhatIsNoSchema) {
  expectProblems({
      {"no YAML", "module: N\ntypes: [\n", {"3:1: not YAML: end of sequence flow not found"}},
      {"a fault that the parser finds, and others before it",
       "modul: N\nmodule:\ntypes: }",
       {"2:1: 'module' is a bare null; write a value, or put quotes around a name like 'null' or '~'",
        "3:8: not YAML: illegal flow end"}},
      {"nothing", "", {"1:1: the file is empty; write a map with 'module' and 'types'"}},
      {"comments only", "# nothing\n", {"1:1: the file is empty; write a map with 'module' and 'types'"}},
      {"a list", "- module: N", {"1:1: expected a map with 'module' and 'types', found a list"}},
      {"a text", "\n  N", {"2:3: expected a map with 'module' and 'types', found a plain text"}},
      {"a null", "~", {"1:1: a bare null; write a value, or put quotes around a name like 'null' or '~'"}},
      {"two documents, whatever the second holds",
       "module: N\n---\nmodule: 3\n...\n",
       {"2:1: a second document; write one to a file"}},
      {"a byte that the parser takes for the end",
       std::string("module: N\nab\x04"
                   "c: d"),
       {"2:3: not YAML: a control byte 0x04; a schema file is UTF-8 text"}},
      {"a NUL byte",
       std::string("module: N\0", 10),
       {"1:10: not YAML: a control byte 0x00; a schema file is UTF-8 text"}},
      {"an alias", "module: &a N\ntypes: {T: {wraps: *a}}", {"2:20: an alias; write out what it stands for"}},
      {"an alias to what holds it", "module: N\ntypes: &a {T: *a}", {"2:15: an alias; write out what it stands for"}},
      {"a tag",
       "module: !!str N\ntypes: !x {}",
       {"1:9: the tag 'tag:yaml.org,2002:str' has no meaning here; leave it out",
        "2:8: the tag '!x' has no meaning here; leave it out"}},
      {"a map as a key", "module: N\n{a: b}: c", {"2:1: a list or map as a key; a key is a plain text"}},
  });
}

TEST(Yaml, RefusesWrongKeysOfTheFile) {
  expectProblems({
      {"a misspelt key", "modul: N\nmodule: N", {"1:1: unknown key 'modul'; did you mean 'module'?"}},
      {"another key", "module: N\nversion: 1", {"2:1: unknown key 'version'; known here: module, imports, types"}},
      {"a key twice",
       "module: N\ntypes: {}\nmodule: M",
       {"3:1: the key 'module' is written twice, first on line 1; keep one"}},
      {"no module",
       "types: {T: {wraps: U9}}",
       {"1:1: the key 'module' is missing; name the module, as in 'module: Network'",
        "1:20: no type 'U9'; did you mean 'U8'?"}},
      {"a module without a name",
       "module:\ntypes: {}",
       {"1:1: 'module' is a bare null; write a value, or put quotes around a name like 'null' or '~'"}},
      {"a module that is a list", "module: [N]", {"1:9: expected the name of the module, found a list"}},
      {"a module with an empty name",
       "module: ''",
       {"1:9: '' is no name for a module; write letters, digits and '_', not starting with a digit"}},
      {"a module with a dot",
       "module: a.b",
       {"1:9: 'a.b' is no name for a module; write letters, digits and '_', not starting with a digit"}},
      {"a module with a digit in front",
       "module: 5g",
       {"1:9: '5g' is no name for a module; write letters, digits and '_', not starting with a digit"}},
      {"the module of the core types",
       "module: Zyn\ntypes: {T: {wraps: T2}}",
       {"1:9: 'Zyn' is the module of the core types; choose another name", "2:20: no type 'T2'; did you mean 'T'?"}},
      {"imports that are no list",
       "module: N\nimports: a.yaml\ntypes: {T: {wraps: A.B}}",
       {"2:10: expected a list of files to import, found a plain text"}},
      {"an import that is no text", "module: N\nimports: [{a: b}]", {"2:11: expected the name of a file, found a map"}},
      {"types that are a list", "module: N\ntypes: [T]", {"2:8: expected a map of type names to types, found a list"}},
      {"types that are null",
       "module: N\ntypes: null",
       {"2:1: 'types' is a bare null; write a value, or put quotes around a name like 'null' or '~'"}},
  });
}

TEST(Yaml, RefusesFilesThatCannotBeRead) {
  Folder const folder(Files{{"dir/file.yaml", ""}});
  EXPECT_THAT(folder.problemsOf("none.yaml"), ElementsAre("none.yaml: cannot be read: No such file or directory"));
  EXPECT_THAT(folder.problemsOf("dir"), ElementsAre("dir: cannot be read: it is a directory"));
}

// What is refused: types.

TEST(Yaml, RefusesWrongDeclarations) {
  expectTypeProblems({
      {"no map", "  T: U8", {"3:6: expected a map with a kind, as in '{wraps: U16}', found a plain text"}},
      {"null", "  T:", {"3:3: 'T' is a bare null; write a value, or put quotes around a name like 'null' or '~'"}},
      {"no kind", "  T: {}", {"3:3: type 'T' is of no kind; give it one of: enum, wraps, union, value, entity"}},
      {"a misspelt kind",
       "  T: {wrap: U8}",
       {"3:3: type 'T' is of no kind; give it one of: enum, wraps, union, value, entity",
        "3:7: unknown key 'wrap'; did you mean 'wraps'?"}},
      {"two kinds",
       "  T: {wraps: U8, value: {a: U8}}\n  S: {wraps: T}",
       {"3:18: type 'T' is of two kinds, 'wraps' and 'value'; keep one"}},
      {"a type twice",
       "  T: {wraps: U8}\n  T: {wraps: U9}",
       {"4:3: the key 'T' is written twice, first on line 3; keep one"}},
      {"an odd name",
       "  a-b: {wraps: U8}\n  T: {wraps: a-b}",
       {"3:3: 'a-b' is no name for a type; write letters, digits and '_', not starting with a digit"}},
      {"an empty name",
       "  '': {wraps: U8}",
       {"3:3: '' is no name for a type; write letters, digits and '_', not starting with a digit"}},
      {"a null as a name",
       "  ~: {wraps: U8}",
       {"3:3: a bare null; write a value, or put quotes around a name like 'null' or '~'"}},
      {"an enumeration with arguments",
       "  T: {enum: [a], args: [a]}",
       {"3:18: 'args' stands beside 'enum'; it goes with 'value' only"}},
      {"a wrapper with a pattern",
       "  T: {gnmi: x, wraps: U8}",
       {"3:7: 'gnmi' stands beside 'wraps'; it goes with 'value' only"}},
      {"a union with numbers",
       "  T: {union: {a: U8}, s4: {a: 1}}",
       {"3:23: 's4' stands beside 'union'; it goes with 'value' only"}},
      {"an entity with all of them",
       "  T: {entity: {}, s4: {}, args: [], gnmi: x}",
       {"3:19: 's4' stands beside 'entity'; it goes with 'value' only",
        "3:27: 'args' stands beside 'entity'; it goes with 'value' only",
        "3:37: 'gnmi' stands beside 'entity'; it goes with 'value' only"}},
      {"what follows from an error is no error",
       "  T: {value: U8}\n  S: {wraps: T}\n  V: {value: {t: T, s: S}, args: [t, s], gnmi: \"{t}{s\"}\n  E: {entity: "
       "{t: {keyed: T, by: x}, u: {list: S}}}",
       {"3:14: expected a map of names to types, found a plain text",
        "5:48: the gNMI pattern '{t}{s' of 'N::V' has a brace without its partner; write attributes as {name}"}},
  });
}

TEST(Yaml, RefusesWrongEnumerations) {
  expectTypeProblems({
      {"a text",
       "  T: {enum: a}",
       {"3:13: expected a map of names to numbers, or a list of names, found a plain text"}},
      {"empty",
       "  T: {enum: []}\n  S: {enum: {}}",
       {"3:13: the enumeration 'N::T' has no enumerators; give it at least one",
        "4:13: the enumeration 'N::S' has no enumerators; give it at least one"}},
      {"no numbers",
       "  T: {enum: {a: x, b: 1.5, c: +1, d: 0x1, e: 1, f: [1], g: ''}}",
       {"3:17: 'x' is no whole number; write one from -2147483648 to 2147483647",
        "3:23: '1.5' is no whole number; write one from -2147483648 to 2147483647",
        "3:31: '+1' is no whole number; write one from -2147483648 to 2147483647",
        "3:38: '0x1' is no whole number; write one from -2147483648 to 2147483647",
        "3:52: expected a whole number, found a list",
        "3:60: '' is no whole number; write one from -2147483648 to 2147483647"}},
      {"one more than 32 bits hold",
       "  T: {enum: {a: 2147483648, b: -2147483649}}",
       {"3:17: '2147483648' is no whole number; write one from -2147483648 to 2147483647",
        "3:32: '-2147483649' is no whole number; write one from -2147483648 to 2147483647"}},
      {"numbers twice",
       "  T: {enum: {a: 1, b: 2, c: 1, d: 3, e: 2}}\n  S: {wraps: T}",
       {"3:26: the enumerators 'a' and 'c' of 'N::T' have the same number 1; choose another one",
        "3:38: the enumerators 'b' and 'e' of 'N::T' have the same number 2; choose another one"}},
      {"names twice", "  T: {enum: [a, b, a]}", {"3:20: 'N::T' already has an enumerator 'a'; choose another name"}},
      {"a name that is no text, empty, or null",
       "  T: {enum: [a, [b], '', null]}",
       {"3:17: expected the name of an enumerator, found a list",
        "3:22: the name of an enumerator of 'N::T' is empty; write at least one character",
        "3:26: a bare null; write a value, or put quotes around a name like 'null' or '~'"}},
  });
}

TEST(Yaml, RefusesWrongTypes) {
  expectTypeProblems({
      {"an unknown type that is near", "  T: {wraps: Strng}", {"3:14: no type 'Strng'; did you mean 'String'?"}},
      {"one that is not", "  T: {wraps: Colour}", {"3:14: no type 'Colour'"}},
      {"one in another letter case", "  Flow: {value: {5: u8}}", {"3:21: no type 'u8'; did you mean 'U8', 'S8'?"}},
      {"one of the file's own",
       "  Colour: {wraps: U8}\n  T: {value: {c: colour, d: N.Colour}}",
       {"4:18: no type 'colour'; did you mean 'Colour'?", "4:29: no type 'N.Colour'; did you mean 'Colour'?"}},
      {"a map", "  T: {union: {a: {wraps: U8}}}", {"3:18: expected the name of a type, found a map"}},
      {"a list",
       "  T: {value: {a: [U8]}}\n  S: {wraps: []}",
       {"3:18: expected the name of a type, found a list", "4:14: expected the name of a type, found a list"}},
      {"a null",
       "  T: {value: {a: null, b: U8}}",
       {"3:15: 'a' is a bare null; write a value, or put quotes around a name like 'null' or '~'"}},
      {"a union without alternatives",
       "  T: {union: {}}",
       {"3:14: a union without alternatives; give it at least one"}},
      {"an entity within a value",
       "  E: {entity: {}}\n  T: {value: {e: E}, args: [e]}",
       {"4:15: the attribute 'e' of 'N::T' is of the entity type 'N::E'; only an entity has such attributes"}},
      {"an entity as an alternative",
       "  E: {entity: {}}\n  T: {union: {e: E}}",
       {"4:15: the attribute 'e' of 'N::T' is of the entity type 'N::E'; only an entity has such attributes"}},
      {"an entity in a wrapper",
       "  E: {entity: {}}\n  T: {wraps: E}",
       {"4:14: the wrapper 'N::T' is of the entity type 'N::E'; wrap a value"}},
      {"an attribute twice",
       "  T: {value: {a: U8, b: U8, a: U16}}",
       {"3:29: the key 'a' is written twice, first on line 3; keep one"}},
  });
}

TEST(Yaml, RefusesTypesThatContainThemselvesOnceForEachCircle) {
  expectTypeProblems({
      {"a value",
       "  T: {value: {a: U8, t: T}, args: [t, a]}",
       {"3:22: 'N::T' would contain itself by N::T.t; leave one of these attributes out"}},
      {"three values",
       "  A: {value: {b: B}}\n  B: {value: {c: C}}\n  C: {value: {a: A, x: U8}}",
       {"3:15: 'N::A' would contain itself by N::A.b, N::B.c, N::C.a; leave one of these attributes out"}},
      {"two circles",
       "  A: {value: {a: A}}\n  B: {value: {b: B}}",
       {"3:15: 'N::A' would contain itself by N::A.a; leave one of these attributes out",
        "4:15: 'N::B' would contain itself by N::B.b; leave one of these attributes out"}},
      {"through wrapper and union",
       "  A: {value: {w: W}}\n  W: {wraps: U}\n  U: {union: {n: U8, a: A}}",
       {"3:15: 'N::A' would contain itself by N::A.w, N::W.value, N::U.a; leave one of these attributes out"}},
      {"a wrapper", "  W: {wraps: W}\n  V: {value: {w: W}}", {"3:14: 'W' wraps 'W' again; wrap another type"}},
      {"wrappers",
       "  A: {wraps: B}\n  B: {wraps: C}\n  C: {wraps: B}\n  D: {wraps: A}",
       {"5:14: 'B' wraps 'C' wraps 'B' again; wrap another type"}},
  });
}

/** Types of which each has two attributes of the one before. */
std::string doubled(std::string const& kind, int levels) {
  std::string types = "  T0: {" + kind + ": {a: U8, b: U16}}\n";
  for (int i = 1; i <= levels; ++i) {
    std::string const before = std::to_string(i - 1);
    types += fmt::format("  T{}: {{{}: {{a: W{}, b: T{}}}}}\n", i, kind, before, before);
    types += fmt::format("  W{}: {{wraps: T{}}}\n", before, before);
  }
  return types;
}

TEST(Yaml, RefusesTypesThatLeadToTooManyOthers) {
  std::string const bound = " types, each counted once for each way there; a type leads to at most 100000";
  std::string alternatives;
  for (int i = 0; i < 100001; ++i) {
    alternatives += "a" + std::to_string(i) + ": U8,\n";
  }
  expectTypeProblems({
      {"unions",
       doubled("union", 15),
       {"32:25: the attribute 'b' of 'N::T15' would make 'N::T15' lead to 163837" + bound}},
      {"value types",
       doubled("value", 15),
       {"32:25: the attribute 'b' of 'N::T15' would make 'N::T15' lead to 163837" + bound}},
      {"a wrapper of the largest",
       "  W: {wraps: T}\n  T: {union: {\n" + alternatives.substr(0, alternatives.find("a100000:")) + "}}",
       {"100004:1: the attribute 'a99999' of 'N::T' would make 'N::W' lead to 100001" + bound}},
      {"one alternative too many",
       "  T: {union: {\n" + alternatives + "}}",
       {"100004:1: the attribute 'a100000' of 'N::T' would make 'N::T' lead to 100001" + bound}},
  });
}

TEST(Yaml, RefusesWrongArguments) {
  std::string const value = "  T:\n    value: {a: U8, b: U8}\n    ";
  expectTypeProblems({
      {"no list", value + "args: a", {"5:11: expected a list of attribute names, found a plain text"}},
      {"no names",
       value + "args: [[a], {b: a}, null]",
       {"5:12: expected the name of an attribute, found a list", "5:17: expected the name of an attribute, found a map",
        "5:25: a bare null; write a value, or put quotes around a name like 'null' or '~'"}},
      {"no attributes",
       value + "args: [x, a, y, b]",
       {"5:12: 'N::T' has no attribute 'x'; name one that it has",
        "5:18: 'N::T' has no attribute 'y'; name one that it has"}},
      {"twice",
       value + "args: [a, b, a, b]",
       {"5:18: the constructor argument 'a' of 'N::T' is named twice; name it once",
        "5:21: the constructor argument 'b' of 'N::T' is named twice; name it once"}},
  });
}

TEST(Yaml, RefusesWrongPatterns) {
  std::string const value = "  T:\n    value: {a: U8, b: U8}\n    args: [a, b]\n    gnmi: ";
  expectTypeProblems({
      {"no text", value + "[a]", {"6:11: expected a pattern such as \"{low}-{high}\", found a list"}},
      {"no attributes in it",
       value + "a-b",
       {"6:11: the gNMI pattern 'a-b' of 'N::T' names no attribute; write attributes as {name}"}},
      {"an unknown attribute", value + "\"{a}-{x}\"", {"6:11: 'N::T' has no attribute 'x'; name one that it has"}},
      {"nothing between two",
       value + "\"{a}{b}\"",
       {"6:11: the gNMI pattern '{a}{b}' of 'N::T' has nothing between 'a' and 'b'; write a text by which to tell "
        "where one ends"}},
      {"an argument left out",
       value + "\"<{a}>\"",
       {"5:15: the gNMI pattern '<{a}>' of 'N::T' leaves out the constructor argument 'b'; name each of them"}},
  });
}

TEST(Yaml, RefusesWrongNumbersOfFields) {
  std::string const value = "  T:\n    value: {a: U8, b: U8, c: U8}\n    args: [a]\n    s4: ";
  expectTypeProblems({
      {"no map", value + "[1, 2]", {"6:9: expected a map of attribute names to numbers, found a list"}},
      {"no numbers",
       value + "{a: x, b: -1, c: 4294967296}",
       {"6:13: 'x' is no whole number; write one from 0 to 4294967295",
        "6:19: '-1' is no whole number; write one from 0 to 4294967295",
        "6:26: '4294967296' is no whole number; write one from 0 to 4294967295"}},
      {"out of range",
       value + "{a: 0, b: 536870912, c: 19000}",
       {"6:10: the s4 number 0 of 'N::T.a' is no field number; choose one from 1 to 536870911, but none from 19000 to "
        "19999",
        "6:16: the s4 number 536870912 of 'N::T.b' is no field number; choose one from 1 to 536870911, but none from "
        "19000 to 19999",
        "6:30: the s4 number 19000 of 'N::T.c' is no field number; choose one from 1 to 536870911, but none from 19000 "
        "to 19999"}},
      {"twice",
       value + "{a: 1, b: 2, c: 1}",
       {"6:22: 'N::T.a' and 'N::T.c' have the same s4 number 1; choose another one"}},
      {"no attribute", value + "{a: 1, x: 2}", {"6:16: 'N::T' has no attribute 'x'; name one that it has"}},
      {"an argument without a number",
       value + "{b: 1}",
       {"5:12: the constructor argument 'a' of 'N::T' has no s4 number; give it one"}},
  });
}

TEST(Yaml, RefusesWrongCollections) {
  std::string const route = "  Route: {entity: {key: U8, sub: {list: Route}}}\n  Vrf:\n    entity:\n      ";
  expectTypeProblems({
      {"an unknown key",
       route + "r: {keyed: Route, by: key, typ: U8}",
       {"6:34: unknown key 'typ'; did you mean 'type'?"}},
      {"a misspelt kind",
       route + "r: {keyd: Route, by: key}",
       {"6:7: 'r' has neither 'keyed' nor 'list'; a collection has one of them",
        "6:11: unknown key 'keyd'; did you mean 'keyed'?"}},
      {"both kinds",
       route + "r: {keyed: Route, list: Route}",
       {"6:7: 'r' has both 'keyed' and 'list'; a collection has one of them"}},
      {"a list with keys",
       route + "r: {list: Route, by: key, type: U8}",
       {"6:24: 'by' stands beside 'list'; it goes with 'keyed' only",
        "6:33: 'type' stands beside 'list'; it goes with 'keyed' only"}},
      {"no word of the keys",
       route + "r: {keyed: Route}",
       {"6:7: nothing says what the keys of 'r' are; give 'by', an attribute of the entries, or 'type'"}},
      {"entries of an unknown type",
       route + "r: {keyed: Rote, by: key}\n      e: {list: Rout}",
       {"6:18: no type 'Rote'; did you mean 'Route'?", "7:17: no type 'Rout'; did you mean 'Route'?"}},
      {"no texts",
       route + "r: {keyed: [Route], by: {a: b}, type: []}",
       {"6:18: expected the name of a type, found a list",
        "6:31: expected the name of an attribute of the entries, found a map",
        "6:45: expected the name of a type, found a list"}},
      {"an unknown key type",
       route + "r: {keyed: Route, by: key, type: U9}",
       {"6:40: no type 'U9'; did you mean 'U8'?"}},
      {"keys that are entities",
       route + "r: {keyed: Route, by: key, type: Route}",
       {"6:7: the key type 'N::Route' of 'N::Vrf.r' is an entity; a key is a value"}},
      {"keys that are entities, by an attribute",
       "  E: {entity: {e: E}}\n  F: {entity: {f: {keyed: E, by: e}}}",
       {"4:16: the key type 'N::E' of 'N::F.f' is an entity; a key is a value"}},
      {"no such attribute",
       route + "r: {keyed: Route, by: id}",
       {"6:29: 'N::Route' has no plain attribute 'id'; name one that it has, or give the key's 'type'"}},
      {"an attribute that is a collection",
       route + "r: {keyed: Route, by: sub}",
       {"6:29: 'N::Route' has no plain attribute 'sub'; name one that it has, or give the key's 'type'"}},
      {"entries without attributes",
       route + "r: {keyed: U8, by: key}",
       {"6:7: the entries 'Zyn::U8' of 'N::Vrf.r' are of kind U8; keyed entries are of an entity or a value type"}},
      {"a list of nulls",
       route + "r: {list: ~}",
       {"6:11: 'list' is a bare null; write a value, or put quotes around a name like 'null' or '~'"}},
      {"a collection in a value", "  T: {value: {a: {list: U8}}}", {"3:18: expected the name of a type, found a map"}},
      {"a list as an attribute", "  T: {entity: {a: [U8]}}", {"3:19: expected the name of a type, found a list"}},
      {"an attribute of an unknown type as a key is one error",
       "  R: {entity: {key: U9}}\n  T: {entity: {r: {keyed: R, by: key}}}",
       {"3:21: no type 'U9'; did you mean 'U8'?"}},
  });
}

TEST(Yaml, RefusesNamesThatNoKeyPathCanHold) {
  std::string const apart = "': '__' stands between the names of a path; choose another name";
  std::string const cut = ": '___' is cut after its first two bytes; choose another name";
  expectTypeProblems({
      {"a separator in a name",
       "  T: {value: {a__b: U8, __: U8, a_b: U8, _a: U8}}",
       {"3:15: no key path can hold the name 'a__b" + apart, "3:25: no key path can hold the name '__" + apart}},
      {"a name that ends like a separator, before names of parts",
       "  T: {value: {a_: U8, b_: S, c_: P, d_: M, _: S}}\n  S: {value: {x: U8}}\n"
       "  P: {value: {x: U8}, gnmi: \"<{x}>\"}\n  M: {value: {x: U8}, s4: {x: 1}}",
       {"3:23: no key path can hold the name 'b_' and behind it one of 'N::S'" + cut,
        "3:44: no key path can hold the name '_' and behind it one of 'N::S'" + cut}},
      {"the attribute that holds a key",
       "  S: {value: {x: U8}}\n  R: {entity: {a__b: S, c_: S, d__e: U8}}\n"
       "  V: {entity: {r: {keyed: R, by: a__b}, s: {keyed: R, by: c_}, t: {keyed: R, by: d__e}}}\n"
       "  W: {entity: {r: {keyed: R, by: f__g, type: S}}}",
       {"5:34: no key path can hold the name 'a__b" + apart,
        "5:59: no key path can hold the name 'c_' and behind it one of 'N::S'" + cut,
        "6:34: no key path can hold the name 'f__g" + apart}},
      {"names that are in no path",
       "  T: {union: {a__b: U8}}\n  S: {enum: [a__b]}\n  E: {entity: {a__b: U8, c__d: {list: E}}}"},
  });
}

TEST(Yaml, RefusesExactlyTheNamesThatTheDecoderCutsElsewhere) {
  auto const isCutAs = [](Texts const& names) {
    std::string path;
    for (std::string const& name : names) {
      path += (path.empty() ? "" : "__") + name;
    }
    auto const elements = Drovan::ZynKeyDecoder::splitPath(path);
    return Texts(elements.begin(), elements.end()) == names;
  };
  auto const isAccepted = [](std::string const& name, std::string const& type) {
    return problemsOf("module: N\ntypes: {T: {value: {" + name + ": " + type + "}}, S: {value: {x: U8}}}").empty();
  };
  for (unsigned length = 1; length <= 6; ++length) {
    for (unsigned bits = 0; bits < 1U << length; ++bits) {
      std::string name;
      for (unsigned at = 0; at < length; ++at) {
        name += bits >> at & 1U ? '_' : 'a';
      }
      EXPECT_EQ(isAccepted(name, "U8"), isCutAs({"key", name})) << name;
      EXPECT_EQ(isAccepted(name, "S"), isCutAs({"key", name, "x"})) << name;
    }
  }
}

// Several files.

TEST(Yaml, LoadsImports) {
  Folder const folder(Files{
      {"main.yaml",
       "module: Main\nimports: [lib/base.yaml, other.yaml]\ntypes:\n  T: {wraps: Base.T}\n"
       "  V: {entity: {peer: {keyed: Base.Peer, by: id, type: Base.Id}, own: {keyed: Base.Peer, by: name}}}\n"},
      {"lib/base.yaml",
       "module: Base\nimports: [deep.yaml]\ntypes: {T: {wraps: Deep.T}, Id: {wraps: U8}, Peer: {entity: {name: T}}}\n"},
      {"lib/deep.yaml", "module: Deep\ntypes: {T: {wraps: U8}}\n"},
      {"other.yaml", "module: Other\nimports: [lib/../lib/deep.yaml, ./lib/base.yaml]\ntypes: {T: {wraps: Deep.T}}\n"},
  });
  Yaml::Loaded const loaded = Yaml::loadFile(folder.path("main.yaml"));
  ASSERT_THAT(problemsOf(loaded), IsEmpty());
  EXPECT_THAT(loaded->modules(), SizeIs(4));
  Zyn::ZynType const v = loaded->find("V");
  EXPECT_STREQ(v.attr("peer").keyType().name(), "Base::Id");
  EXPECT_STREQ(v.attr("own").keyType().name(), "Base::T");
  EXPECT_STREQ(loaded->find("Main::T").valAttr().attrType().name(), "Base::T");
}

TEST(Yaml, ImportsAreLookedUpBesideATextsName) {
  Folder const folder(Files{{"base.yaml", "module: Base\ntypes: {T: {wraps: U8}}\n"}});
  std::string const text = "module: N\nimports: [base.yaml]\ntypes: {T: {wraps: Base.T}}";
  EXPECT_THAT(problemsOf(Yaml::loadText(text, folder.path("none.yaml"))), IsEmpty());
}

TEST(Yaml, TellsTheProblemsOfAllFilesAtOnce) {
  Folder const folder(Files{
      {"main.yaml",
       "module: Main\nimports: [base.yaml, bad.yaml]\ntypes:\n  T: {wraps: U9}\n  A: {wraps: Base.T}\n"
       "  B: {wraps: Base.Ok}\n  C: {wraps: Bad.T}\n  D: {wraps: Base.None}\n  E: {value: {c: C, d: Okk}}\n"},
      {"base.yaml", "module: Base\ntypes: {T: {wraps: S9}, Ok: {wraps: U8}}\n"},
      {"bad.yaml", "module: Bad\ntypes: ]\n"},
  });
  EXPECT_THAT(folder.problemsOf("main.yaml"), ElementsAre("main.yaml:4:14: no type 'U9'; did you mean 'U8'?",
                                                          "main.yaml:9:24: no type 'Okk'; did you mean 'Base.Ok'?",
                                                          "base.yaml:2:20: no type 'S9'; did you mean 'S8'?",
                                                          "bad.yaml:2:8: not YAML: illegal flow end"));
}

TEST(Yaml, RefusesWrongImports) {
  Folder const folder(Files{
      {"missing.yaml", "module: N\nimports: [dir/none.yaml, dir]\ntypes: {T: {wraps: None.T}, S: {wraps: U9}}\n"},
      {"dir/self.yaml", "module: N\nimports: [self.yaml]\ntypes: {}\n"},
      {"a.yaml", "module: A\nimports: [dir/b.yaml]\ntypes: {T: {wraps: B.T}}\n"},
      {"dir/b.yaml", "module: B\nimports: [../a.yaml]\ntypes: {T: {wraps: A.T}}\n"},
      {"one.yaml", "module: One\nimports: [two.yaml, three.yaml]\ntypes: {A: {wraps: Two.T}, B: {wraps: One.T}}\n"},
      {"two.yaml", "module: Two\ntypes: {T: {wraps: U8}}\n"},
      {"three.yaml", "module: Two\ntypes: {T: {wraps: Two.T}}\n"},
      {"far.yaml", "module: Far\nimports: [near.yaml]\ntypes: {T: {wraps: Two.T}}\n"},
      {"near.yaml", "module: Near\nimports: [two.yaml]\n"},
      {"by.yaml",
       "module: By\nimports: [net.yaml]\ntypes: {E: {entity: {r: {keyed: Net.R, by: l}, s: {keyed: Net.R, by: k}}}}\n"},
      {"net.yaml", "module: Net\ntypes: {R: {entity: {l: {list: L}, k: {keyed: L, type: U8}}}, L: {value: {}}}\n"},
  });
  EXPECT_THAT(folder.problemsOf("missing.yaml"),
              ElementsAre("missing.yaml:2:11: cannot read 'dir/none.yaml': No such file or directory",
                          "missing.yaml:2:26: cannot read 'dir': it is a directory",
                          "missing.yaml:3:40: no type 'U9'; did you mean 'U8'?"));
  EXPECT_THAT(folder.problemsOf("dir/self.yaml"),
              ElementsAre("dir/self.yaml:2:11: 'dir/self.yaml' imports 'dir/self.yaml' again; leave one of these "
                          "imports out"));
  EXPECT_THAT(folder.problemsOf("a.yaml"),
              ElementsAre("dir/b.yaml:2:11: 'a.yaml' imports 'dir/b.yaml' imports 'a.yaml' again; leave one of these "
                          "imports out"));
  EXPECT_THAT(folder.problemsOf("one.yaml"),
              ElementsAre("three.yaml:1:9: the schema already has a module 'Two'; choose another name",
                          "three.yaml:2:20: no type 'Two.T'; did you mean 'T'?"));
  EXPECT_THAT(folder.problemsOf("by.yaml"),
              ElementsAre("by.yaml:3:44: 'Net::R' has no plain attribute 'l'; name one that it has, or give the key's "
                          "'type'",
                          "by.yaml:3:70: 'Net::R' has no plain attribute 'k'; name one that it has, or give the key's "
                          "'type'"));
  EXPECT_THAT(folder.problemsOf("far.yaml"), ElementsAre("far.yaml:3:20: no type 'Two.T'; did you mean 'T'?"))
      << "what an import imports is not imported";
}

TEST(Yaml, ImportsStayInTheFolderOfTheFirstFile) {
  std::string const secret = "hunter2: [secret";
  Folder const folder(Files{
      {"in/lib/up.yaml", "module: Up\nimports: [../base.yaml]\n"},
      {"in/base.yaml", "module: Base\n"},
      {"in/main.yaml",
       "module: M\nimports:\n- lib/up.yaml\n- ../secret.yaml\n- lib/../../none.yaml\n- link.yaml\n- "
       "linked/secret.yaml\n"
       "- inner.yaml\n- gone.yaml\n- /etc/shadow\n"},
      {"in/allowed.yaml", "module: M\nimports: [../beside/a.yaml, linked/beside/a.yaml]\ntypes: {T: {wraps: A.T}}\n"},
      {"secret.yaml", secret},
      {"in2/base.yaml", "module: In2\n"},
      {"in/near.yaml", "module: M\nimports: [../in2/base.yaml]\n"},
      {"beside/a.yaml", "module: A\ntypes: {T: {wraps: U8}}\n"},
  });
  std::filesystem::create_symlink("../secret.yaml", folder.path("in/link.yaml"));
  std::filesystem::create_symlink("..", folder.path("in/linked"));
  std::filesystem::create_symlink("lib/up.yaml", folder.path("in/inner.yaml"));
  std::filesystem::create_symlink("../none.yaml", folder.path("in/gone.yaml"));

  std::string const leadsOut =
      "' leads out of the folder of the first file; imports stay in it or below, and in folders that are allowed "
      "besides";
  EXPECT_THAT(
      folder.problemsOf("in/main.yaml"),
      ElementsAre("in/main.yaml:4:3: 'in/../secret.yaml" + leadsOut,
                  "in/main.yaml:5:3: 'in/lib/../../none.yaml" + leadsOut, "in/main.yaml:6:3: 'in/link.yaml" + leadsOut,
                  "in/main.yaml:7:3: 'in/linked/secret.yaml" + leadsOut,
                  "in/main.yaml:9:3: cannot read 'in/gone.yaml': it is no regular file",
                  "in/main.yaml:10:3: '/etc/shadow" + leadsOut));
  EXPECT_THAT(folder.problemsOf("in/near.yaml"), ElementsAre("in/near.yaml:2:11: 'in/../in2/base.yaml" + leadsOut));

  EXPECT_THAT(folder.problemsOf("in/allowed.yaml"), SizeIs(2));
  EXPECT_THAT(problemsOf(Yaml::loadFile(folder.path("in/allowed.yaml"), {{folder.path("in2"), folder.path("beside")}})),
              IsEmpty());
  EXPECT_THAT(problemsOf(Yaml::loadFile(folder.path("in/allowed.yaml"), {{folder.path("none"), ""}})), SizeIs(2))
      << "a folder that does not exist allows nothing";
}

TEST(Yaml, ImportsAreRegularFilesAndNeverWaitedFor) {
  Folder const folder(Files{
      {"pipe.yaml", "module: N\nimports: [pipe]\n"},
      {"nul.yaml", "module: N\nimports: [\"nul.yaml\\0\"]\n"},
      {"devices.yaml", "module: N\nimports: [/dev/zero, /dev/stdin, /proc/version]\n"},
  });
  ASSERT_EQ(mkfifo(folder.path("pipe").c_str(), 0600), 0);
  EXPECT_THAT(folder.problemsOf("pipe.yaml"), ElementsAre("pipe.yaml:2:11: cannot read 'pipe': it is no regular file"));
  EXPECT_THAT(folder.problemsOf("nul.yaml"),
              ElementsAre("nul.yaml:2:11: cannot read 'nul.yaml?': its name holds a NUL byte"));
  Texts const problems = problemsOf(Yaml::loadFile(folder.path("devices.yaml"), {{"/"}}));
  ASSERT_THAT(problems, SizeIs(3));
  EXPECT_THAT(problems[0], HasSubstr(":2:11: cannot read '/dev/zero': it is no regular file"));
  EXPECT_THAT(problems[1], HasSubstr(":2:22: cannot read '/dev/stdin': "));
  EXPECT_EQ(problems[2], "/proc/version:1:1: the file is empty; write a map with 'module' and 'types'")
      << "what is said to have no bytes is not read: it might never end";
}

TEST(Yaml, PathsOfImportsAreBounded) {
  std::string const path(1000, 'x');
  Folder const folder(Files{{"long.yaml", "module: N\nimports: [" + path + "]\n"}});
  Texts const problems = folder.problemsOf("long.yaml");
  ASSERT_THAT(problems, SizeIs(1));
  EXPECT_THAT(problems[0], HasSubstr("': its name has more than 1000 bytes"));
}

TEST(Yaml, ImportsAreNestedABoundedNumberOfTimes) {
  Files files;
  for (int i = 0; i <= 100; ++i) {
    std::string const n = std::to_string(i);
    files["f" + n + ".yaml"] =
        "module: F" + n + "\nimports: [" + (i < 100 ? "f" + std::to_string(i + 1) + ".yaml" : "") + "]\n";
  }
  Folder const folder(files);
  EXPECT_THAT(folder.problemsOf("f1.yaml"), IsEmpty());
  EXPECT_THAT(folder.problemsOf("f0.yaml"),
              ElementsAre("f99.yaml:2:11: imports nested more than 100 deep; import fewer files"));
}

// Several problems, and very many.

TEST(Yaml, TellsAllProblemsInTheOrderOfTheLines) {
  expectProblems(
      {{"all kinds of them",
        R"(module: N
types:
  Route: {entity: {key: RouteKy, vrf: Strng}}
  RouteKey:
    value: {vrf: String, tag:}
    args: [vrf, tags]
  Vrf:
    entity:
      route: {keyed: Route, by: id}
      route: {keyed: Route}
  Vrf: {}
import: []
)",
        {"3:25: no type 'RouteKy'; did you mean 'RouteKey', 'Route'?", "3:39: no type 'Strng'; did you mean 'String'?",
         "5:26: 'tag' is a bare null; write a value, or put quotes around a name like 'null' or '~'",
         "6:17: 'N::RouteKey' has no attribute 'tags'; name one that it has",
         "9:33: 'N::Route' has no plain attribute 'id'; name one that it has, or give the key's 'type'",
         "10:7: the key 'route' is written twice, first on line 9; keep one",
         "11:3: the key 'Vrf' is written twice, first on line 7; keep one",
         "12:1: unknown key 'import'; did you mean 'imports'?"}}});
}

TEST(Yaml, ProblemsAreSingleLinesOfABoundedNumber) {
  EXPECT_THAT(problemsOf("module: N\ntypes: {T: {wraps: \"a\\nb\\0c\"}}"),
              ElementsAre("net.yaml:2:20: no type 'a?b?c'"));
  std::string text = "module: N\ntypes:\n";
  for (int i = 0; i < 2000; ++i) {
    text += "  T" + std::to_string(i) + ": {wraps: x}\n";
  }
  Texts const problems = problemsOf(text);
  EXPECT_THAT(problems, SizeIs(1000));
  EXPECT_EQ(problems[998], "net.yaml:1001:17: no type 'x'");
  EXPECT_EQ(problems[999], "net.yaml:1002:17: more than 999 problems; no more are looked for");
}

TEST(Yaml, LongTextsAndDeepNestingAreRefused) {
  expectProblems({
      {"1000 bytes", "module: " + std::string(1000, 'n')},
      {"1001 bytes", "module: " + std::string(1001, 'n'), {"1:9: a text of 1001 bytes; at most 1000 are taken"}},
      {"20 levels",
       "module: " + std::string(19, '[') + std::string(19, ']'),
       {"1:9: expected the name of the module, found a list"}},
      {"21 levels",
       "module: " + std::string(20, '[') + std::string(20, ']'),
       {"1:28: lists and maps nested more than 20 deep; no schema needs that"}},
  });
}

TEST(Yaml, OpenBracketsAreBounded) {
  // In comments, so that they say nothing, and before anything that does.
  std::string const bound = "more than 10000 open brackets; lists and maps are nested at most 20 deep";
  std::string lines = "module: N\ntypes:\n";
  for (int i = 0; i < 2000; ++i) {
    lines += "  T" + std::to_string(i) + ": {wraps: U8} # [{[{[{[{[{\n";
  }
  expectProblems({
      {"10000", "#" + std::string(10000, '[') + "\nmodule: N"},
      {"10001", "#" + std::string(5000, '[') + "\n#" + std::string(5001, '{') + "\nmodule: N", {"2:5002: " + bound}},
      {"20000, and the partners of the first",
       "#" + std::string(10000, '[') + std::string(10000, ']') + std::string(10000, '[') + "\nmodule: N"},
      {"20000 on lines between which the parser gets on", lines},
  });
}

TEST(Yaml, OneHundredNamesAreSuggested) {
  std::string text = "module: N\ntypes:\n  T:\n    value:\n";
  for (int i = 0; i < 101; ++i) {
    text += "      a" + std::to_string(i) + ": S12\n";
  }
  Texts const told = problemsOf(text);
  ASSERT_THAT(told, SizeIs(101));
  EXPECT_EQ(told[99], "net.yaml:104:12: no type 'S12'; did you mean 'S16', 'S32'?");
  EXPECT_EQ(told[100], "net.yaml:105:13: no type 'S12'");
}

TEST(Yaml, ProblemsAreCutWhereTheyAreLong) {
  std::string text;
  for (char name = 'A'; name < 'K'; ++name) {
    std::string const next(900, name == 'J' ? 'A' : static_cast<char>(name + 1));
    text += "  " + std::string(900, name) + ": {value: {a: " + next + "}}\n";
  }
  Texts const told = problemsOf("module: N\ntypes:\n" + text);
  ASSERT_THAT(told, SizeIs(1));
  std::string const place = "net.yaml:3:914: ";
  EXPECT_THAT(told[0], testing::StartsWith(place + "'N::AAA"));
  EXPECT_THAT(told[0], testing::EndsWith("EEE..."));
  EXPECT_EQ(told[0].size(), place.size() + 5000 + 3);
}

TEST(Yaml, FilesAreOfABoundedSize) {
  auto const module = [](std::string const& start, std::size_t size) {
    return start + "\n#" + std::string(size - start.size() - 2, 'x');
  };
  std::string const tooLarge = "the files of the schema are larger than 4 MiB together";
  std::string const import = "imports: [quarter.yaml]";
  Folder const folder(Files{{"full.yaml", module("module: N", 4 << 20)},
                            {"over.yaml", module("module: N", (4 << 20) + 1)},
                            {"quarter.yaml", module("module: Q", 1 << 20)},
                            {"rest.yaml", module("module: N\n" + import, 3 << 20)},
                            {"more.yaml", module("module: N\n" + import, (3 << 20) + 1)}});
  EXPECT_THAT(folder.problemsOf("full.yaml"), IsEmpty());
  EXPECT_THAT(folder.problemsOf("over.yaml"), ElementsAre("over.yaml: cannot be read: " + tooLarge));
  EXPECT_THAT(folder.problemsOf("rest.yaml"), IsEmpty());
  EXPECT_THAT(folder.problemsOf("more.yaml"), ElementsAre("more.yaml:2:11: cannot read 'quarter.yaml': " + tooLarge));
  EXPECT_THAT(problemsOf(module("module: N", (4 << 20) + 1)), ElementsAre("net.yaml: cannot be read: " + tooLarge));
}

TEST(Yaml, EveryCutOfTheExampleLoadsOrIsRefused) {
  std::ifstream file(EXAMPLE_FILE);
  std::string const text{std::istreambuf_iterator<char>(file), {}};
  std::size_t const from = text.find("module:");
  ASSERT_NE(from, std::string::npos);
  for (std::size_t length = from; length < text.size(); length += 37) {
    std::string cut = text.substr(0, length);
    problemsOf(cut);
    cut += "\n  ]{*&!: [";
    EXPECT_THAT(problemsOf(cut), testing::Not(IsEmpty())) << length;
  }
}

TEST(Yaml, ManyThreadsMayLoadAtOnce) {
  std::vector<std::thread> threads;
  std::vector<Texts> problems(4);
  for (Texts& mine : problems) {
    threads.emplace_back([&mine] { mine = problemsOf(Yaml::loadFile(EXAMPLE_FILE)); });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_THAT(problems, testing::Each(IsEmpty()));
}

// The example.

class Example : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_THAT(problemsOf(loaded), IsEmpty());
    network = loaded->findModule("Network");
    ASSERT_NE(network, nullptr);
  }

  /** By "Type.attribute". */
  Zyn::ZynAttr collection(std::string const& name) const {
    std::size_t const dot = name.find('.');
    return network->find(name.substr(0, dot)).attr(std::string_view(name).substr(dot + 1));
  }

  Yaml::Loaded loaded = Yaml::loadFile(EXAMPLE_FILE);
  Model::Module const* network = nullptr;
};

TEST_F(Example, HasCollectionsWithKeysOfEveryKind) {
  struct Row {
    std::string collection;
    char const* keyName;
    std::string keyType;
  };
  for (auto const& [name, keyName, keyType] : std::vector<Row>{
           {"Device.interface", "name", "Zyn::String"},
           {"Device.vlan", "id", "Network::VlanId"},
           {"Device.vrf", "name", "Zyn::String"},
           {"Vrf.route", "key", "Network::RouteKey"},
           {"Vrf.neighbour", "name", "Network::PeerName"},
           {"Vrf.bfd", "key", "Network::BfdKey"},
           {"Device.tunnel", "key", "Network::TunnelKey"},
           {"Device.flow", "key", "Network::FlowKey"},
           {"Device.host", "mac", "Zyn::MacAddress"},
           {"Device.meter", "direction", "Network::Direction"},
           {"Device.portPool", "range", "Network::PortRange"},
           {"Device.snapshot", "taken", "Zyn::Time"},
           {"Device.timer", "period", "Zyn::Seconds"},
           {"Device.certificate", "fingerprint", "Zyn::Bytes"},
           {"Device.breaker", "closed", "Zyn::Bool"},
       }) {
    Zyn::ZynAttr const attr = collection(name);
    ASSERT_TRUE(attr.isKeyed()) << name;
    EXPECT_STREQ(attr.internalKeyName(), keyName) << name;
    EXPECT_EQ(attr.keyType().name(), keyType) << name;
  }
  EXPECT_FALSE(collection("Device.event").isKeyed());
  EXPECT_TRUE(Model::isList(collection("Device.event")));
  EXPECT_EQ(collection("Device.routeCounter").internalKeyName(), nullptr);
  EXPECT_STREQ(collection("Device.routeCounter").keyType().name(), "Network::RouteKey");
}

TEST_F(Example, HasTheKeysThatThePagesTellOf) {
  Zyn::ZynType const route = network->find("RouteKey");
  EXPECT_EQ(argsOf(route), "vrf, prefix, protocol");
  EXPECT_FALSE(route.attr("tag").empty());
  EXPECT_TRUE(route.hasS4Encoding());
  EXPECT_FALSE(network->find("Route").attr("vrf").empty());
  EXPECT_TRUE(network->find("Route").attr("tag").empty());

  EXPECT_EQ(argsOf(network->find("FlowKey")),
            "source, destination, protocol, sourcePorts, destinationPorts, dscp, vlan, direction, interface");
  EXPECT_STREQ(network->find("FlowKey").attr("sourcePorts").attrType().name(), "Network::PortRange");
  EXPECT_EQ(Model::gnmiPattern(network->find("PortRange")), "{low}-{high}");
  std::size_t attrs = 0;
  for (Zyn::AttributeQIterator attr(network->find("FlowKey")); attr; ++attr) {
    ++attrs;
  }
  EXPECT_EQ(attrs, 12U);

  Zyn::ZynType const tunnel = network->find("TunnelKey");
  EXPECT_STREQ(tunnel.attr("from").attrType().attr("site").attrType().attr("region").attrType().name(), "Zyn::String");

  Zyn::ZynType const bfd = network->find("BfdKey");
  EXPECT_EQ(argsOf(bfd), "session, interface");
  for (std::string_view const part : {"local", "peer"}) {
    EXPECT_FALSE(bfd.attr("session").attrType().attr(part).empty());
    EXPECT_FALSE(bfd.attr(part).empty());
  }
}

}  // namespace
