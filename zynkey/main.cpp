// The command `zynkey`: the decoder's jobs, and a look at schemas, for a person and for scripts.
//
// Exit status: 0 done; 1 a key did not decode, its error text the last line of stderr, but for a path, which follows
// with a caret below the place; 2 wrong usage, a bad schema, or files that cannot be read or written.

#include <fcntl.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <exception>
#include <functional>
#include <iterator>
#include <memory>
#include <span>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "model/Runtime.h"
#include "text/Messages.h"
#include "text/Nearest.h"
#include "yaml/Yaml.h"
#include "yang/Yang.h"
#include "zynkey/Batch.h"
#include "zynkey/Caret.h"
#include "zynkey/Complete.h"
#include "zynkey/Describe.h"
#include "zynkey/ExampleSchema.h"
#include "zynkey/Jobs.h"
#include "zynkey/Names.h"
#include "zynkey/Output.h"
#include "zynkey/Trouble.h"

namespace ZynKey {
namespace {

enum Status : int { done = 0, notDecoded = 1, wrongUsage = 2 };

/** Every problem of a schema is a line of its own. */
class BadSchema : public std::exception {
 public:
  explicit BadSchema(std::vector<std::string> const& problems) {
    for (std::string const& problem : problems) {
      lines_ += problem + '\n';
    }
  }
  char const* what() const noexcept override { return lines_.c_str(); }

 private:
  std::string lines_;
};

struct Options {
  std::string schema;
  std::vector<std::string> folders;
  std::vector<std::string> modules;
  bool allFeatures = false;
  std::string collection;
  std::string type;
  std::string file;
  std::string path;
  std::string root;
  /** Keys of a collection, or paths. */
  std::vector<std::string> keys;
  unsigned jobs = 1;
  bool s4 = false;
  bool trace = false;
  bool tree = false;
  bool json = false;
  bool proto = false;
};

// The argument parser takes a list in an argument of the form "[a,b]" apart. Nothing that it sees may have that form:
// arguments that begin like one get a byte more, which is taken off again.
constexpr char guardByte = '=';
std::string guarded(std::string_view argument) {
  return std::string(argument) + (argument.starts_with('[') ? std::string(1, guardByte) : "");
}
std::string unguarded(std::string const& argument) {
  return argument.starts_with('[') ? argument.substr(0, argument.size() - 1) : argument;
}

Model::Schema loaded(Yaml::Loaded schema) {
  if (!schema) {
    std::vector<std::string> lines;
    std::ranges::transform(schema.error(), std::back_inserter(lines), &Yaml::Problem::text);
    throw BadSchema(lines);
  }
  return *std::move(schema);
}

struct Source {
  Model::Schema schema;
  /** Tells the YANG module of an attribute; empty for other schemas. */
  Gnmi::ModuleOf moduleOf = {};
};

Source yangSource(Options const& options) {
  auto loaded = Yang::load(options.folders, options.modules, {.all = options.allFeatures});
  if (!loaded) {
    throw BadSchema(loaded.error());
  }
  Model::Schema schema = std::move(loaded->schema);
  auto const modules = std::make_shared<Yang::Loaded const>(*std::move(loaded));
  return {std::move(schema), [modules](Zyn::ZynAttr attr) { return modules->moduleOf(attr); }};
}

Source sourceOf(Options const& options) {
  if (!options.folders.empty()) {
    return yangSource(options);
  }
  return {loaded(options.schema.empty() ? Yaml::loadText(exampleSchema, "examples/network.yaml")
                                        : Yaml::loadFile(options.schema))};
}

Model::Schema schemaOf(Options const& options) { return std::move(sourceOf(options).schema); }

template <typename T>
T orTrouble(std::expected<T, std::string> found) {
  if (!found) {
    throw Trouble(found.error());
  }
  return *std::move(found);
}

/** Cuts each argument at its first '='. */
Keys keysOf(std::vector<std::string> const& arguments, std::string_view form) {
  Keys keys;
  for (std::string const& argument : arguments) {
    std::size_t const cut = argument.find('=');
    if (cut == std::string::npos) {
      throw Trouble(Text::inQuotes(argument) + " has no '='; expected " + std::string(form));
    }
    keys.emplace_back(argument.substr(0, cut), argument.substr(cut + 1));
  }
  return keys;
}

/** By `Op`. */
constexpr std::array<std::string_view, 3> keyForms = {
    "PATH=VALUE, such as 'key__vrf=red'", "NAME=VALUE, such as 'name=eth0'", "PATH=VALUE, such as 'vrf=red'"};

Status report(Outcome const& outcome, bool json) {
  if (json) {
    writeOut(toJsonLine(outcome));
  } else if (outcome) {
    writeOut(toText(*outcome));
  }
  if (outcome) {
    return done;
  }
  flushOut();
  writeError(outcome.error().text.view());
  writeError("\n");
  return notDecoded;
}

// ---- the subcommands

/** The tree goes to stderr, where it is wanted. */
ShowTree treeOf(Options const& options) {
  return options.tree ? ShowTree([](auto const& root) { writeError(drawTree(root)); }) : ShowTree();
}

/** decode, scalar, filter. */
Status decodeKeys(Op op, Options const& options) {
  Model::Schema const schema = schemaOf(options);
  Names names(schema);
  Request const request{
      .op = op,
      .collection = orTrouble(names.collection(options.collection)),
      .type = options.type.empty() ? Zyn::ZynType() : orTrouble(names.type(options.type)),
      .s4 = options.s4,
      .keys = keysOf(options.keys, keyForms[static_cast<std::size_t>(op)]),
      .path = {},
  };
  if (auto const flaw = flawOf(request, schema)) {
    throw Trouble(*flaw);
  }
  Model::enableTraces("ZynKeyDecoder", options.trace);
  return report(run(request, treeOf(options)), options.json);
}

Status split(Options const& options) {
  Request request;
  request.op = Op::Split;
  request.path = options.path;
  return report(run(request), options.json);
}

/** Each path is answered, also after one that is wrong. */
Status paths(Options const& options) {
  Source const source = sourceOf(options);
  Names names(source.schema, source.moduleOf);
  Request request{.op = Op::Path, .collection = {}, .type = {}, .s4 = options.s4, .keys = {}, .path = {}};
  request.root = orTrouble(names.root(options.root));
  request.moduleOf = names.moduleOf();
  Model::enableTraces("ZynKeyDecoder", options.trace);
  Status status = done;
  for (std::string const& path : options.keys) {
    request.path = path;
    Outcome const outcome = run(request, treeOf(options));
    if (report(outcome, options.json) != done) {
      writeError(caret(path, outcome.error().offset.value_or(0)));
      status = notDecoded;
    }
  }
  return status;
}

Status types(Options const& options) {
  Model::Schema const schema = schemaOf(options);
  if (options.proto) {
    writeOut(Model::protoFile(schema));
  } else if (options.type.empty()) {
    writeOut(describe(schema));
  } else {
    writeOut(describe(orTrouble(Names(schema).type(options.type))));
  }
  return done;
}

Status s4(Options const& options) {
  Model::Schema const schema = schemaOf(options);
  Zyn::ZynType const type = orTrouble(Names(schema).type(options.type));
  if (!type.hasS4Encoding()) {
    std::string others;
    for (std::string const& name : schema.names()) {
      others += schema.find(name).hasS4Encoding() ? " " + name : "";
    }
    throw Trouble(Text::inQuotes(type.name()) +
                  " has no s4 encoding; types that have:" + (others.empty() ? " none" : others));
  }
  Outcome const built = build(type, keysOf(options.keys, "PATH=VALUE, such as 'vrf=red', or '=VALUE' for a scalar"));
  if (!built) {
    return report(built, false);
  }
  try {
    writeOut(Model::s4Text(*std::get<Model::ValuePtr>(*built)) + '\n');
  } catch (Velko::Exception const& exception) {
    return report(std::unexpected(exception.what()), false);
  }
  return done;
}

Status check(Options const& options) {
  if (options.file.empty() && options.folders.empty()) {
    throw Trouble("FILE is required\nSee: zynkey check --help");
  }
  writeOut(summary(options.file.empty() ? yangSource(options).schema : loaded(Yaml::loadFile(options.file))));
  return done;
}

Status batch(Options const& options) {
  Source const source = sourceOf(options);
  int input = STDIN_FILENO;
  if (!options.file.empty()) {
    input = ::open(options.file.c_str(), O_RDONLY | O_CLOEXEC);
    if (input < 0) {
      throw Trouble("cannot open " + Text::inQuotes(options.file) + ": " + std::strerror(errno));
    }
  }
  Counts const counts = runBatch(input, options.jobs, source.schema, source.moduleOf);
  std::string const summary = std::to_string(counts.requests) + " requests, " +
                              std::to_string(counts.requests - counts.errors) + " decoded, " +
                              std::to_string(counts.errors) + " errors\n";
  writeError(summary);
  return done;
}

// ---- the command line

struct Command {
  CLI::App* app;
  CLI::Option* keys;
  std::function<Status()> run;
};

class CommandLine {
 public:
  CommandLine() {
    app_.set_version_flag("--version", "zynkey " ZYNKEY_VERSION);
    app_.add_option("--schema", options_.schema,
                    "Schema file in YAML, named before or after the subcommand; the built-in example unless given")
        ->option_text("FILE");
    yang_ =
        app_.add_option("--yang", options_.folders, "Folder with YANG modules, which are the schema then; repeatable")
            ->option_text("DIR");
    modules_ = app_.add_option("--module", options_.modules, "YANG module to load, NAME or NAME@REVISION; repeatable")
                   ->option_text("NAME");
    yang_->allow_extra_args(false)->excludes("--schema")->needs(modules_);
    modules_->allow_extra_args(false)->needs(yang_);
    app_.add_flag("--all-features", options_.allFeatures, "With every feature of the YANG modules")
        ->option_text(" ")
        ->needs(yang_);
    app_.require_subcommand(1);
    app_.fallthrough();
    app_.footer(
        "Exit status: 0 done, 1 a key did not decode, 2 wrong usage or a bad schema.\n"
        "A collection is named Type.attribute. PATH=VALUE is cut at its first '='.");

    keyCommand("decode", "Decode a whole key from its paths and print it", "PATH=VALUE", "Paths and their values",
               Op::Decode,
               "zynkey decode --collection Vrf.route key__vrf=red key__prefix=10.0.0.0/8 key__protocol=bgp");
    CLI::App* const scalar =
        keyCommand("scalar", "Decode a key that is one value and print it, or * for every key", "NAME=VALUE",
                   "The key's name and its value", Op::Scalar, "zynkey scalar --collection Device.interface name=eth0");
    scalar->add_option("--type", options_.type, "Decode into this type instead of the key type")->type_name("T");
    keyCommand("filter", "Decode the attributes of a filter, one 'attribute = value' a line", "PATH=VALUE",
               "Attributes of the key type and their values; * leaves one out", Op::Filter,
               "zynkey filter --collection Vrf.route vrf=red protocol=bgp");

    CLI::App* const split = command("split", "Print the elements of a path, one a line", "zynkey split key__vrf",
                                    [this] { return ZynKey::split(options_); });
    split->add_option("PATH", options_.path, "The path")->required()->option_text(" ");
    addJson(split);

    CLI::App* const path =
        command("path", "Print what a path selects of each keyed collection that it passes",
                "zynkey path '/vrf[name=red]/route[vrf=red][protocol=bgp]'", [this] { return paths(options_); });
    path->add_option("--root", options_.root, "The entity that paths start from; the one that no other is made of")
        ->type_name("TYPE");
    addDecoding(path);
    addKeys(path, "PATH", "gNMI paths: /element[key=value]/...; a key that is left out or * is any");

    CLI::App* const types = command("types", "Print what the schema holds: all of it, or one type",
                                    "zynkey types RouteKey", [this] { return ZynKey::types(options_); });
    CLI::Option* const type = types->add_option("TYPE", options_.type, "The type")->option_text(" ");
    types->add_flag("--proto", options_.proto, "Print the s4 messages as a .proto file")->excludes(type);

    CLI::App* const s4 =
        command("s4", "Build a value and print its s4 text",
                "zynkey s4 RouteKey vrf=red prefix=10.0.0.0/8 protocol=bgp", [this] { return ZynKey::s4(options_); });
    s4->add_option("TYPE", options_.type, "The type")->required()->option_text(" ");
    addKeys(s4, "PATH=VALUE", "Paths below the type and their values; =VALUE for a type that is one value");

    CLI::App* const check = command("check", "Load a schema and say what it holds, or every error in it",
                                    "zynkey check /dev/stdin <<< '{module: Tiny, types: {Id: {wraps: U16}}}'",
                                    [this] { return ZynKey::check(options_); });
    check->add_option("FILE", options_.file, "The schema file; the YANG modules without one")->option_text(" ");

    CLI::App* const batch = command("batch", "Answer requests, one JSON object a line, in their order",
                                    R"(echo '{"op": "split", "path": "key__vrf"}' | zynkey batch)",
                                    [this] { return ZynKey::batch(options_); });
    batch->add_option("FILE", options_.file, "The requests; standard input unless given")->option_text(" ");
    batch->add_option("--jobs", options_.jobs, "Threads that decode")->check(CLI::Range(1, 256))->option_text("N");
  }

  Status run(int argc, char const* const* argv) {
    std::span const words(argv, static_cast<std::size_t>(argc));
    if (words.size() > 2 && std::string_view(words[1]) == "complete") {
      return complete({words.begin() + 2, words.end()});
    }
    // The parser takes its arguments from the back.
    std::vector<std::string> arguments;
    for (int i = argc - 1; i > 0; --i) {
      arguments.push_back(guarded(argv[i]));
    }
    try {
      app_.parse(std::move(arguments));
    } catch (CLI::ParseError const& error) {
      if (error.get_exit_code() == 0) {
        std::ostringstream text;
        app_.exit(error, text, text);
        writeOut(text.str());
        return done;
      }
      throw Trouble(explain(error));
    }
    for (Command const& command : commands_) {
      if (command.app->parsed()) {
        takeArguments(command);
        // Only the batch has threads, and only when asked for.
        Model::setThreadSafe(options_.jobs > 1);
        return command.run();
      }
    }
    return wrongUsage;
  }

 private:
  /**
   * For the shell: what the last of the words may become, one a line, with a blank where it ends. The words are those
   * after the command's name, as typed so far. What cannot be completed, for whatever reason, is answered with nothing.
   */
  Status complete(std::vector<std::string> words) {
    std::string current = std::move(words.back());
    words.pop_back();
    std::string before;
    if (std::size_t const end = current.find('='); current.starts_with("--") && end != std::string::npos) {
      words.push_back(current.substr(0, end));
      before = current.substr(0, end + 1);
      current.erase(0, end + 1);
    }
    std::string const previous = words.empty() ? "" : words.back();
    if (std::ranges::any_of(commands_, [&](Command const& known) { return takesValue(known.app, previous); })) {
      // The value is what is being typed; the parser would give up without it.
      words.emplace_back();
    }
    std::ranges::reverse(words);
    std::ranges::transform(words, words.begin(), guarded);
    try {
      app_.parse(std::move(words));
    } catch (CLI::ParseError const&) {
      // The line is not whole yet. What has been typed of it is in the options all the same.
    }
    CLI::App* const chosen = app_.get_subcommands().empty() ? nullptr : app_.get_subcommands().front();
    for (Command const& command : commands_) {
      if (command.app == chosen) {
        takeArguments(command);
      }
    }
    for (std::string const& candidate : candidates(chosen, previous, current)) {
      writeOut(candidate.starts_with(current) ? before + candidate + '\n' : "");
    }
    return done;
  }

  std::vector<std::string> candidates(CLI::App const* chosen, std::string const& previous, std::string const& current) {
    std::vector<std::string> names;
    std::string const command = chosen == nullptr ? "" : chosen->get_name();
    if (current.starts_with('-')) {
      names = optionNames(chosen == nullptr ? &app_ : chosen);
    } else if (chosen == nullptr) {
      for (Command const& known : commands_) {
        names.push_back(known.app->get_name());
      }
    } else if (takesValue(chosen, previous)) {
      if (previous == "--collection") {
        names = collectionNames(schemaOf(options_), false);
      } else if (previous == "--type" || previous == "--root") {
        names = typeNames(previous == "--root");
      }
    } else if (command == "types" || command == "s4") {
      names = typeNames(false);
    } else if (command == "path") {
      Model::Schema const schema = schemaOf(options_);
      return completePath(orTrouble(Names(schema).root(options_.root)), current);
    }
    for (std::string& name : names) {
      name += ' ';
    }
    return names;
  }

  bool takesValue(CLI::App const* chosen, std::string const& name) const {
    CLI::Option const* const option = name.starts_with("--") ? chosen->get_option_no_throw(name) : nullptr;
    return option != nullptr && option->get_items_expected_max() != 0;
  }

  std::vector<std::string> typeNames(bool entitiesOnly) const {
    Model::Schema const schema = schemaOf(options_);
    std::vector<std::string> names;
    for (std::string const& full : schema.names()) {
      Zyn::ZynType const type = schema.find(full);
      if (!entitiesOnly || Model::kindOf(type) == Model::Kind::Entity) {
        names.push_back(nameOf(schema, type));
      }
    }
    return names;
  }

  CLI::App* command(std::string const& name, std::string const& what, std::string const& example,
                    std::function<Status()> run) {
    CLI::App* const app = app_.add_subcommand(name, what);
    app->fallthrough();
    app->footer("Example:\n  " + example);
    commands_.push_back({app, nullptr, std::move(run)});
    return app;
  }

  CLI::App* keyCommand(std::string const& name, std::string const& what, std::string const& keys,
                       std::string const& keysHelp, Op op, std::string const& example) {
    CLI::App* const app = command(name, what, example, [this, op] { return decodeKeys(op, options_); });
    app->add_option("--collection", options_.collection, "The keyed collection: Type.attribute")
        ->type_name("C")
        ->required();
    addDecoding(app);
    addKeys(app, keys, keysHelp);
    return app;
  }

  void addDecoding(CLI::App* app) {
    app->add_flag("--s4", options_.s4, "Take the s4 text of types that have one");
    app->add_flag("--trace", options_.trace, "Traces of the decoder on stderr");
    app->add_flag("--tree", options_.tree, "The tree of the key on stderr, where there is one: for decode and path");
    addJson(app);
  }

  void addJson(CLI::App* app) { app->add_flag("--json", options_.json, "Print one JSON object"); }

  // What is read is the option's own list: the conversion to a vector takes some texts for a notation.
  void addKeys(CLI::App* app, std::string const& form, std::string const& help) {
    commands_.back().keys = app->add_option(form, options_.keys, help)->required()->type_name("")->option_text(" ");
  }

  void takeArguments(Command const& command) {
    if (command.keys != nullptr) {
      options_.keys = command.keys->results();
    }
    options_.folders = yang_->results();
    options_.modules = modules_->results();
    for (std::vector<std::string>* const texts : {&options_.keys, &options_.folders, &options_.modules}) {
      std::ranges::transform(*texts, texts->begin(), unguarded);
    }
    for (std::string* text :
         {&options_.schema, &options_.collection, &options_.type, &options_.file, &options_.path, &options_.root}) {
      *text = unguarded(*text);
    }
  }

  /** What the parser did not like; where it is a name, with the nearest ones. */
  std::string explain(CLI::ParseError const& error) const {
    CLI::App const* const chosen = app_.get_subcommands().empty() ? &app_ : app_.get_subcommands().front();
    std::vector<std::string> const rest = app_.remaining(true);
    std::string const help = "\nSee: zynkey " + (chosen == &app_ ? "" : chosen->get_name() + " ") + "--help";
    if (rest.empty()) {
      return error.what() + help;
    }
    std::string const name = unguarded(rest.front());
    if (name.starts_with('-')) {
      std::string const bare = name.substr(0, name.find('='));
      return "unknown option " + Text::inQuotes(bare) + Text::didYouMean(bare, optionNames(chosen)) + help;
    }
    if (chosen == &app_) {
      std::vector<std::string> names;
      for (Command const& command : commands_) {
        names.push_back(command.app->get_name());
      }
      return "unknown subcommand " + Text::inQuotes(name) + Text::didYouMean(name, names) + help;
    }
    return "unexpected argument " + Text::inQuotes(name) + help;
  }

  std::vector<std::string> optionNames(CLI::App const* chosen) const {
    std::vector<std::string> names;
    for (CLI::App const* app : {&app_, chosen}) {
      for (CLI::Option const* option : app->get_options()) {
        for (std::string const& name : option->get_lnames()) {
          names.push_back("--" + name);
        }
      }
    }
    std::ranges::sort(names);
    names.erase(std::ranges::unique(names).begin(), names.end());
    return names;
  }

  Options options_;
  CLI::App app_{"Turn textual collection keys into typed keys", "zynkey"};
  CLI::Option* yang_ = nullptr;
  CLI::Option* modules_ = nullptr;
  std::vector<Command> commands_;
};

int guardedMain(int argc, char const* const* argv) {
  try {
    Status const status = CommandLine().run(argc, argv);
    flushOut();
    return status;
  } catch (BadSchema const& bad) {
    writeError(bad.what());
  } catch (std::exception const& trouble) {
    writeError(std::string("zynkey: ") + trouble.what() + '\n');
  }
  return wrongUsage;
}

}  // namespace
}  // namespace ZynKey

int main(int argc, char** argv) {
  // A closed pipe is told by the write that fails, not by a signal.
  std::signal(SIGPIPE, SIG_IGN);
  return ZynKey::guardedMain(argc, argv);
}
