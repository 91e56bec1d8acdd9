#include "zynkey/CommandLine.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstddef>
#include <sstream>
#include <string_view>
#include <utility>

#include "text/Messages.h"
#include "text/Nearest.h"
#include "zynkey/Output.h"
#include "zynkey/Subcommands.h"
#include "zynkey/UsageError.h"

namespace ZynKey {
namespace {

// The parser takes a list in an argument of the form "[a,b]" apart. Nothing that it sees may have that form: arguments
// that begin like one get a byte more, which is taken off again.
std::string escapeBracket(std::string const& argument) { return argument.starts_with('[') ? argument + '=' : argument; }
std::string unescapeBracket(std::string const& argument) {
  return argument.starts_with('[') ? argument.substr(0, argument.size() - 1) : argument;
}

/** The options that stand before or after the subcommand; the title of their part of the help. */
constexpr char const* schemaGroup = "Schema, before or after the subcommand";

constexpr char const* maxLineHelp =
    "A longer line is an error; 1048576 unless given. Memory is up to 128 times as much for each job";

/** A name that is empty is a script's mistake: it does not mean what leaving the option out means. */
CLI::Validator notEmpty() {
  return {[](std::string const& text) { return std::string(text.empty() ? "must not be empty" : ""); }, ""};
}

class CommandLine {
 public:
  CommandLine() {
    app_.set_version_flag("--version", "zynkey " ZYNKEY_VERSION);
    app_.add_option("--schema", options_.schema.file,
                    "Schema file in YAML, or - for standard input; the built-in example unless given")
        ->option_text("FILE")
        ->check(notEmpty())
        ->group(schemaGroup);
    CLI::Option* const importFolders =
        app_.add_option("--import-from", options_.schema.importFolders,
                        "Folder that imports of the schema file may lead into, besides its own; repeatable")
            ->option_text("DIR")
            ->check(notEmpty())
            ->group(schemaGroup);
    folders_ = app_.add_option("--yang", options_.schema.folders,
                               "Folder with YANG modules, which are the schema then; repeatable")
                   ->option_text("DIR")
                   ->check(notEmpty())
                   ->group(schemaGroup);
    modules_ =
        app_.add_option("--module", options_.schema.modules,
                        "YANG module to load, NAME or NAME@REVISION; repeatable. All of the folders unless given")
            ->option_text("NAME")
            ->check(notEmpty())
            ->group(schemaGroup);
    folders_->allow_extra_args(false)->excludes("--schema");
    modules_->allow_extra_args(false)->needs(folders_);
    importFolders->allow_extra_args(false)->excludes(folders_);
    auto const addYangFlag = [this](std::string const& name, bool& flag, std::string const& help) {
      app_.add_flag(name, flag, help)->option_text(" ")->needs(folders_)->group(schemaGroup);
    };
    addYangFlag("--all-features", options_.schema.allFeatures, "With every feature of the YANG modules");
    addYangFlag("--implement-imports", options_.schema.implementImports,
                "With the identities of YANG modules that are only imported");
    addYangFlag("--strict", options_.schema.isStrict, "A YANG module that does not load is an error, not a warning");
    app_.require_subcommand(1);
    app_.fallthrough();
    app_.footer(
        "Exit status: 0 done, 1 a key did not decode, 2 wrong usage or a bad schema.\n"
        "A collection is named Type.attribute. PATH=VALUE is cut at its first '='.");

    addKeyCommand("decode", "Decode a whole key from its paths and print it", "PATH=VALUE", "Paths and their values",
                  decodeKey,
                  "zynkey decode --collection Vrf.route key__vrf=red key__prefix=10.0.0.0/8 key__protocol=bgp");
    CLI::App* const scalar = addKeyCommand("scalar", "Decode a key that is one value and print it, or * for every key",
                                           "NAME=VALUE", "The key's name and its value", decodeScalar,
                                           "zynkey scalar --collection Device.interface name=eth0");
    scalar->add_option("--type", options_.type, "Decode into this type instead of the key type")
        ->type_name("T")
        ->check(notEmpty());
    addKeyCommand("filter", "Decode the attributes of a filter, one 'attribute = value' a line", "PATH=VALUE",
                  "Attributes of the key type and their values; * leaves one out", decodeFilter,
                  "zynkey filter --collection Vrf.route vrf=red protocol=bgp");

    CLI::App* const split =
        addCommand("split", "Print the elements of a path, one a line", "zynkey split key__vrf", splitPath);
    split->add_option("PATH", options_.path, "The path")->required()->option_text(" ");
    addJson(split);

    CLI::App* const path = addCommand("path", "Print what a path selects of each keyed collection that it passes",
                                      "zynkey path '/vrf[name=red]/route[vrf=red][protocol=bgp]'", resolvePaths);
    path->add_option("--root", options_.root, "The entity that paths start from; the one that no other is made of")
        ->type_name("TYPE")
        ->check(notEmpty());
    path->add_option("--prefix", options_.prefix, "A path that stands in front of all of them, with their origin")
        ->type_name("PATH")
        ->check(notEmpty());
    path->add_option("--mode", options_.mode, "What the paths are for: read, write, delete or notify")
        ->type_name("MODE")
        ->check(notEmpty());
    path->add_flag("--canonical", options_.canonical, "Print the canonical paths alone")->excludes(addDecoding(path));
    addKeys(path, "PATH", "gNMI paths: /element[key=value]/...; a key that is left out or * is any");

    CLI::App* const types =
        addCommand("types", "Print what the schema holds: all of it, or one type", "zynkey types RouteKey", showTypes);
    CLI::Option* const type = types->add_option("TYPE", options_.type, "The type")->option_text(" ")->check(notEmpty());
    types->add_flag("--proto", options_.proto, "Print the s4 messages as a .proto file")->excludes(type);

    CLI::App* const s4 = addCommand("s4", "Build a value and print its s4 text",
                                    "zynkey s4 RouteKey vrf=red prefix=10.0.0.0/8 protocol=bgp", showS4);
    s4->add_option("TYPE", options_.type, "The type")->required()->option_text(" ")->check(notEmpty());
    addKeys(s4, "PATH=VALUE", "Paths below the type and their values; =VALUE for a type that is one value");

    CLI::App* const check = addCommand("check", "Load a schema and say what it holds, or every error in it",
                                       "zynkey check - <<< '{module: Tiny, types: {Id: {wraps: U16}}}'", checkSchema);
    check->add_option("FILE", options_.file, "The schema file, or - for standard input; the YANG modules without one")
        ->option_text(" ")
        ->check(notEmpty());

    CLI::App* const batch = addCommand("batch", "Answer requests, one JSON object a line, in their order",
                                       R"(echo '{"op": "split", "path": "key__vrf"}' | zynkey batch)", answerBatch);
    batch->add_option("FILE", options_.file, "The requests; standard input unless given, or -")
        ->option_text(" ")
        ->check(notEmpty());
    addJobs(batch);

    CLI::App* const rows =
        addCommand("rows", "Turn lines with paths into rows of typed columns, in their order",
                   "echo '/vrf[name=red]/route[vrf=red][tag=7]' | zynkey rows --collection Vrf.route", printRows);
    rows->add_option("FILE", options_.file, "The lines; standard input unless given, or -")
        ->option_text(" ")
        ->check(notEmpty());
    rows->add_option(
            "--in", options_.input,
            "What a line is: path, a path; json, an object with 'path' or 'elem', and maybe 'prefix'; event, one of a "
            "collector, or a list of them, with keys as tags such as 'interface_name'")
        ->option_text("FORM");
    rows->add_option("--out", options_.output, "What a row is: json, tsv or csv")->option_text("FORM");
    rows->add_option("--collection", options_.collection,
                     "One row for each path or event, with a column for each part of the key of Type.attribute; else a "
                     "row for each collection that is selected")
        ->type_name("C")
        ->check(notEmpty());
    rows->add_option("--root", options_.root, "The entity that paths start from; the one that no other is made of")
        ->type_name("TYPE")
        ->check(notEmpty());
    fields_ =
        rows->add_option("--field", options_.fields,
                         "Field of the input to pass on as a column; repeatable. All unless given, for tsv and csv "
                         "in one column 'fields'")
            ->option_text("NAME")
            ->check(notEmpty());
    fields_->allow_extra_args(false);
    rows->add_option("--ddl", options_.ddl,
                     "Read no lines: print the columns of a table for rows with these options, of: clickhouse")
        ->check(notEmpty())
        ->option_text("ENGINE");
    rows->add_flag("--fail", options_.failOnError, "Exit with 1 when a row has an error");
    addJobs(rows);
  }

  Invocation parse(std::vector<std::string> arguments) {
    try {
      parseWords(std::move(arguments));
    } catch (CLI::ParseError const& error) {
      if (error.get_exit_code() != 0) {
        throw UsageError(explain(error));
      }
      std::ostringstream printed;
      app_.exit(error, printed, printed);
      std::string help = printed.str();
      if (std::size_t const gap = help.find("\n\n\n"); gap != std::string::npos) {
        help.erase(gap, 1);
      }
      return {.run = [help](Options const&) { return writeOut(help), Done; }, .options = {}};
    }
    return {.run = chosen()->run, .options = takeOptions()};
  }

  Unfinished parseUnfinished(std::vector<std::string> words) {
    std::string const last = words.empty() ? "" : words.back();
    if (std::ranges::any_of(commands_, [&](Command const& command) { return takesValue(command.app, last); })) {
      // The value is what is being typed; the parser would give up without one.
      words.emplace_back("?");
    }
    try {
      parseWords(std::move(words));
    } catch (CLI::ParseError const&) {
      // The line is not whole yet. What has been typed of it is in the options all the same.
    }
    CLI::App const* const app = chosenApp();
    return {.options = takeOptions(),
            .subcommand = app == &app_ ? "" : app->get_name(),
            .valueOf = takesValue(app, last) ? last : "",
            .subcommands = commandNames(),
            .optionNames = optionNames(app)};
  }

 private:
  using Run = Status (*)(Options const&);

  struct Command {
    CLI::App* app;
    CLI::Option* keys;
    Run run;
  };

  void parseWords(std::vector<std::string> words) {
    // To the parser, "--schema=" has the next word as its value.
    auto const isEmptyValue = [](std::string const& word) {
      return word.starts_with("--") && word.size() > 3 && word.find('=') == word.size() - 1;
    };
    for (auto word = words.begin(); word != words.end() && *word != "--"; ++word) {
      if (isEmptyValue(*word)) {
        word->pop_back();
        word = words.emplace(word + 1);
      }
    }
    // The parser takes its arguments from the back.
    std::ranges::reverse(words);
    std::ranges::transform(words, words.begin(), escapeBracket);
    app_.parse(std::move(words));
  }

  /** The subcommand; the command itself before one is named. */
  CLI::App const* chosenApp() const { return app_.get_subcommands().empty() ? &app_ : app_.get_subcommands().front(); }

  /** Null before a subcommand is named. */
  Command const* chosen() const {
    auto const found = std::ranges::find(commands_, chosenApp(), &Command::app);
    return found == commands_.end() ? nullptr : &*found;
  }

  Options takeOptions() {
    if (Command const* const command = chosen(); command != nullptr && command->keys != nullptr) {
      options_.keys = command->keys->results();
    }
    options_.schema.folders = folders_->results();
    options_.schema.modules = modules_->results();
    options_.fields = fields_->results();
    for (std::vector<std::string>* const texts :
         {&options_.keys, &options_.schema.folders, &options_.schema.modules, &options_.fields}) {
      std::ranges::transform(*texts, texts->begin(), unescapeBracket);
    }
    for (std::string* text : {&options_.schema.file, &options_.collection, &options_.type, &options_.file,
                              &options_.path, &options_.root, &options_.prefix, &options_.mode}) {
      *text = unescapeBracket(*text);
    }
    return std::move(options_);
  }

  static bool takesValue(CLI::App const* app, std::string const& name) {
    CLI::Option const* const option = name.starts_with("--") ? app->get_option_no_throw(name) : nullptr;
    return option != nullptr && option->get_items_expected_max() != 0;
  }

  CLI::App* addCommand(std::string const& name, std::string const& what, std::string const& example, Run run) {
    CLI::App* const app = app_.add_subcommand(name, what);
    app->fallthrough();
    std::string const schema = CLI::Formatter().make_group(schemaGroup, false, schemaOptions()).substr(1) + '\n';
    app->footer((run == splitPath ? "" : schema) + "Example:\n  " + example);
    commands_.push_back({app, nullptr, run});
    return app;
  }

  CLI::App* addKeyCommand(std::string const& name, std::string const& what, std::string const& keys,
                          std::string const& keysHelp, Run run, std::string const& example) {
    CLI::App* const app = addCommand(name, what, example, run);
    app->add_option("--collection", options_.collection, "The keyed collection: Type.attribute")
        ->type_name("C")
        ->required()
        ->check(notEmpty());
    addDecoding(app);
    addKeys(app, keys, keysHelp);
    return app;
  }

  void addJobs(CLI::App* app) {
    app->add_option("--max-line", options_.maxLine, maxLineHelp)->check(CLI::Range(1, 1 << 30))->option_text("BYTES");
    app->add_option("--jobs", options_.jobs, "Threads that decode")->check(CLI::Range(1, 256))->option_text("N");
  }

  /** Returns the last one, `--json`. */
  CLI::Option* addDecoding(CLI::App* app) {
    app->add_flag("--s4", options_.s4, "Take the s4 text of types that have one");
    app->add_flag("--trace", options_.trace, "Traces of the decoder on stderr");
    app->add_flag("--tree", options_.tree, "The tree of the key on stderr, where there is one: for decode and path");
    return addJson(app);
  }

  CLI::Option* addJson(CLI::App* app) { return app->add_flag("--json", options_.json, "Print one JSON object"); }

  // What is read is the option's own list: the conversion to a vector takes some texts for a notation.
  void addKeys(CLI::App* app, std::string const& form, std::string const& help) {
    commands_.back().keys = app->add_option(form, options_.keys, help)->required()->type_name("")->option_text(" ");
  }

  /** What the parser did not like; where it is a name, with the nearest ones. */
  std::string explain(CLI::ParseError const& error) const {
    CLI::App const* const app = chosenApp();
    std::vector<std::string> const rest = app_.remaining(true);
    std::string const help = "\nSee: zynkey " + (app == &app_ ? "" : app->get_name() + " ") + "--help";
    if (rest.empty()) {
      return error.what() + help;
    }
    std::string const name = unescapeBracket(rest.front());
    if (name.starts_with('-')) {
      std::string const bare = name.substr(0, name.find('='));
      if (std::vector<std::string> const owners = commandsWith(bare, app); !owners.empty()) {
        return "option " + Text::inQuotes(bare) +
               " belongs behind a subcommand that has it: " + Text::list(owners, Text::inQuotes) + help;
      }
      return "unknown option " + Text::inQuotes(bare) + Text::didYouMean(bare, optionNames(app)) + help;
    }
    if (app == &app_) {
      return "unknown subcommand " + Text::inQuotes(name) + Text::didYouMean(name, commandNames()) + help;
    }
    return "unexpected argument " + Text::inQuotes(name) + help;
  }

  std::vector<std::string> commandNames() const {
    std::vector<std::string> names;
    for (Command const& command : commands_) {
      names.push_back(command.app->get_name());
    }
    return names;
  }

  /** The subcommands that have the option: of all, or of the one chosen. */
  std::vector<std::string> commandsWith(std::string const& option, CLI::App const* chosen) const {
    std::vector<std::string> names;
    for (Command const& command : commands_) {
      if ((chosen == &app_ || chosen == command.app) && command.app->get_option_no_throw(option) != nullptr) {
        names.push_back(command.app->get_name());
      }
    }
    return names;
  }

  std::vector<CLI::Option const*> schemaOptions() const {
    return app_.get_options([](CLI::Option const* option) { return option->get_group() == schemaGroup; });
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
  CLI::Option* folders_ = nullptr;
  CLI::Option* modules_ = nullptr;
  CLI::Option* fields_ = nullptr;
  std::vector<Command> commands_;
};

}  // namespace

Invocation parseArguments(std::vector<std::string> arguments) { return CommandLine().parse(std::move(arguments)); }

Unfinished parseUnfinished(std::vector<std::string> words) { return CommandLine().parseUnfinished(std::move(words)); }

}  // namespace ZynKey
