#include "zynkey/Subcommands.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <expected>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "model/Runtime.h"
#include "text/Messages.h"
#include "zynkey/Batch.h"
#include "zynkey/Caret.h"
#include "zynkey/Describe.h"
#include "zynkey/Jobs.h"
#include "zynkey/Lines.h"
#include "zynkey/Names.h"
#include "zynkey/Output.h"
#include "zynkey/Requests.h"
#include "zynkey/Resolvers.h"
#include "zynkey/Rows.h"
#include "zynkey/Schemas.h"
#include "zynkey/UsageError.h"

namespace ZynKey {
namespace {

bool isStandardInput(std::string const& file) { return file.empty() || file == standardInput; }

template <typename T>
T orThrow(std::expected<T, std::string> found) {
  if (!found) {
    throw UsageError(found.error());
  }
  return *std::move(found);
}

/** Cuts each argument, which lives longer, at its first '='. */
Keys keysOf(std::vector<std::string> const& arguments, std::string_view form) {
  Keys keys;
  for (std::string_view const argument : arguments) {
    std::size_t const cut = argument.find('=');
    if (cut == std::string_view::npos) {
      throw UsageError(Text::inQuotes(argument) + " has no '='; expected " + std::string(form));
    }
    keys.emplace_back(argument.substr(0, cut), argument.substr(cut + 1));
  }
  return keys;
}

/** The path, or each of those that it means, one a line. */
std::string canonicalLines(Answer const& answer) {
  if (auto const* const one = std::get_if<PathAnswer>(&answer)) {
    return one->path + '\n';
  }
  std::string lines;
  for (PathAnswer const& one : std::get<Expansions>(answer)) {
    lines += one.path + '\n';
  }
  return lines;
}

/** By `Op`. */
constexpr std::array<std::string_view, 3> keyForms = {
    "PATH=VALUE, such as 'key__vrf=red'", "NAME=VALUE, such as 'name=eth0'", "PATH=VALUE, such as 'vrf=red'"};

Status report(Outcome const& outcome, bool json) {
  if (json) {
    std::string line;
    appendJsonLine(outcome, line);
    writeOut(line);
  } else if (outcome) {
    writeOut(toText(*outcome));
  }
  if (outcome) {
    return Done;
  }
  flushOut();
  writeError(outcome.error().text.view());
  writeError("\n");
  return NotDecoded;
}

/** Traces go to stderr, where they are wanted. */
void showTraces(Options const& options) {
  Model::setTraceSink([](Model::Trace const& trace) { writeError(Model::toLine(trace)); });
  Model::enableTraces("ZynKeyDecoder", options.trace);
}

/** The tree goes to stderr, where it is wanted. */
ShowTree treeOf(Options const& options) {
  return options.tree ? ShowTree([](auto const& root) { writeError(drawTree(root)); }) : ShowTree();
}

Status decodeKeys(Op op, Options const& options) {
  Model::Schema const schema = loadSchema(options.schema);
  Names names(schema);
  Request const request{
      .op = op,
      .collection = orThrow(names.collection(options.collection)),
      .type = options.type.empty() ? Zyn::ZynType() : orThrow(names.type(options.type)),
      .s4 = options.s4,
      .keys = keysOf(options.keys, keyForms[static_cast<std::size_t>(op)]),
      .text = {},
  };
  if (auto const flaw = validate(request, schema)) {
    throw UsageError(*flaw);
  }
  showTraces(options);
  return report(run(request, treeOf(options)), options.json);
}

}  // namespace

Status decodeKey(Options const& options) { return decodeKeys(Op::Decode, options); }
Status decodeScalar(Options const& options) { return decodeKeys(Op::Scalar, options); }
Status decodeFilter(Options const& options) { return decodeKeys(Op::Filter, options); }

Status splitPath(Options const& options) {
  Request request;
  request.op = Op::Split;
  request.text = options.path;
  return report(run(request), options.json);
}

// Each path is answered, also after one that is wrong. Several answers stand below their paths.
Status resolvePaths(Options const& options) {
  Source const source = loadSource(options.schema);
  Resolvers resolvers(source.facts, treeOf(options));
  Names names(source.schema, &resolvers);
  Request request;
  request.op = Op::Path;
  request.path.s4 = options.s4;
  request.path.mode = orThrow(modeOf(options.mode));
  request.path.path.isText = true;
  request.path.resolver = &names.resolver(orThrow(names.root(options.root)), options.s4);
  if (!options.prefix.empty()) {
    request.path.hasPrefix = true;
    request.path.prefix.isText = true;
    request.path.prefix.text = options.prefix;
  }
  showTraces(options);
  Status status = Done;
  for (std::string const& path : options.keys) {
    request.path.path.text = path;
    Outcome const outcome = run(request);
    if (!outcome) {
      report(outcome, options.json);
      Gnmi::Error const& error = *outcome.error().path;
      writeError(error.inPrefix ? "" : caret(path, error.offset.value_or(0)));
      status = NotDecoded;
      continue;
    }
    auto const* const one = std::get_if<PathAnswer>(&*outcome);
    // The expansions of a path share its keys, and so the warning.
    PathAnswer const& first = one != nullptr ? *one : std::get<Expansions>(*outcome).front();
    if (!first.warning.empty()) {
      flushOut();
      writeError("warning: " + first.warning + '\n');
    }
    if (options.canonical) {
      writeOut(canonicalLines(*outcome));
    } else if (one != nullptr && options.keys.size() > 1 && !options.json) {
      writeOut(one->path + '\n' + indented(toText(*outcome)));
    } else {
      report(outcome, options.json);
    }
  }
  return status;
}

Status showTypes(Options const& options) {
  Model::Schema const schema = loadSchema(options.schema);
  if (options.proto) {
    writeOut(Model::protoFile(schema));
  } else if (options.type.empty()) {
    writeOut(describe(schema));
  } else {
    writeOut(describe(orThrow(Names(schema).type(options.type))));
  }
  return Done;
}

Status showS4(Options const& options) {
  Model::Schema const schema = loadSchema(options.schema);
  Zyn::ZynType const type = orThrow(Names(schema).type(options.type));
  if (!type.hasS4Encoding()) {
    std::vector<std::string> others = schema.names();
    std::erase_if(others, [&](std::string const& name) { return !schema.find(name).hasS4Encoding(); });
    throw UsageError(Text::inQuotes(type.name()) + " has no s4 encoding; types that have: " +
                     (others.empty() ? "none" : Text::list(others, Text::inQuotes)));
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
  return Done;
}

Status checkSchema(Options const& options) {
  if (options.file.empty() && options.schema.folders.empty()) {
    throw UsageError("FILE is required\nSee: zynkey check --help");
  }
  SchemaOptions schema = options.schema;
  if (!options.file.empty()) {
    schema = {.file = options.file, .importFolders = std::move(schema.importFolders)};
  }
  writeOut(summary(loadSchema(schema)));
  return Done;
}

namespace {

/** The file descriptor of the lines. */
int openLines(Options const& options, std::string_view what) {
  if (options.schema.file == standardInput && isStandardInput(options.file)) {
    throw UsageError("standard input cannot be both the schema and the " + std::string(what));
  }
  int const input = isStandardInput(options.file) ? STDIN_FILENO : ::open(options.file.c_str(), O_RDONLY | O_CLOEXEC);
  if (input < 0) {
    throw UsageError("cannot open " + Text::inQuotes(options.file) + ": " + std::strerror(errno));
  }
  return input;
}

}  // namespace

Status answerBatch(Options const& options) {
  int const input = openLines(options, "requests");
  Source const source = loadSource(options.schema);
  Resolvers resolvers(source.facts);
  Counts const counts = runBatch(input, {.jobs = options.jobs, .maxLine = options.maxLine}, source.schema, resolvers);
  std::string const summary = std::to_string(counts.requests) + " requests, " +
                              std::to_string(counts.requests - counts.errors) + " decoded, " +
                              std::to_string(counts.errors) + " errors\n";
  writeError(summary);
  return Done;
}

Status printRows(Options const& options) {
  bool const isDdl = !options.ddl.empty();
  if (isDdl && options.ddl != "clickhouse") {
    throw UsageError("unknown engine " + Text::inQuotes(options.ddl) + "; there is 'clickhouse'");
  }
  int const input = isDdl ? -1 : openLines(options, "lines");
  Source const source = loadSource(options.schema);
  Rows rows = orThrow(Rows::make(source.schema, source.facts,
                                 {.input = orThrow(rowInput(options.input)),
                                  .output = orThrow(rowFormat(options.output)),
                                  .collection = options.collection,
                                  .root = options.root,
                                  .fields = options.fields,
                                  .maxLine = options.maxLine}));
  if (isDdl) {
    writeOut(rows.clickHouseColumns());
    return Done;
  }
  auto const answer = [rows](std::string_view line, std::uint64_t, std::string& out, Counts& counts) mutable {
    for (Row const& row : rows.rows(line, out)) {
      ++counts.answers;
      counts.errors += row.failed ? 1 : 0;
    }
  };
  Counts const counts = answerLines(input, {.jobs = options.jobs, .maxLine = options.maxLine}, answer, "lines");
  writeError(std::to_string(counts.requests) + " lines, " + std::to_string(counts.answers) + " rows, " +
             std::to_string(counts.errors) + " errors\n");
  return options.failOnError && counts.errors != 0 ? NotDecoded : Done;
}

}  // namespace ZynKey
