#include "yang/Load.h"

#include <absl/container/flat_hash_set.h>
#include <fmt/core.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <initializer_list>
#include <iterator>
#include <map>
#include <mutex>
#include <new>
#include <optional>
#include <set>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>

#include "text/Messages.h"
#include "text/Nearest.h"
#include "yang/Files.h"
#include "yang/Size.h"

namespace Yang {
namespace {

/**
 * Errors are kept in the context, and nothing gets to stderr. For the whole process: libyang drops the options of a
 * thread half-way, while it checks a default value. So there is one load at a time.
 */
class KeepErrors {
 public:
  KeepErrors() : lock_(oneAtATime), before_(ly_log_options(LY_LOSTORE)) {}
  ~KeepErrors() { ly_log_options(before_); }
  KeepErrors(KeepErrors const&) = delete;
  KeepErrors& operator=(KeepErrors const&) = delete;

 private:
  static inline std::mutex oneAtATime;
  std::lock_guard<std::mutex> lock_;
  std::uint32_t before_;
};

struct Request {
  std::string name;
  /** Empty for the newest. */
  std::string revision;
};

/** What stands between the first two quotes. */
std::string quotedName(std::string_view message) {
  std::string_view const rest = message.substr(message.find('"') + 1);
  return std::string(rest.substr(0, rest.find('"')));
}

/** The files that one load reads, and what it is told to do with them. */
class Library {
 public:
  Library(std::span<std::string const> folders, Options const& options) : files(folders), options_(options) {}

  /** The revision that imports without one get as well, where a module is asked for in a revision. */
  void choose(Request const& request) {
    if (!request.revision.empty()) {
      chosen_[request.name] = request.revision;
    }
  }

  /** Null where there is none. */
  File const* find(std::string_view name, std::string_view revision, bool isSubmodule) const {
    auto const chosen = chosen_.find(name);
    bool const isChosen = revision.empty() && !isSubmodule && chosen != chosen_.end();
    return files.find(name, isChosen ? chosen->second : revision, isSubmodule);
  }

  /** The same, for libyang to load. */
  File const* use(std::string_view name, std::string_view revision, bool isSubmodule) {
    if (revision.empty() && (isSubmodule || !chosen_.contains(name))) {
      used_.emplace(isSubmodule, name);
    }
    return find(name, revision, isSubmodule);
  }
  void forgetUse() { used_.clear(); }

  /** The file of a module or submodule; its name where there is none. */
  std::string pathOf(std::string_view name) const {
    for (bool const isSubmodule : {false, true}) {
      if (File const* const file = find(name, "", isSubmodule); file != nullptr) {
        return file->path;
      }
    }
    return std::string(name);
  }

  /** NULL-terminated names, as libyang takes them. They live as long as the options. */
  std::vector<char const*> featuresOf(std::string_view module) const {
    std::vector<char const*> names;
    if (options_.allFeatures) {
      names.push_back("*");
    } else if (auto const found = options_.features.find(module); found != options_.features.end()) {
      for (std::string const& name : found->second) {
        names.push_back(name.c_str());
      }
    }
    names.push_back(nullptr);
    return names;
  }

  /** Of all names whose newest revision was wanted, which file that was. Files with the same content are no choice. */
  std::vector<std::string> choices() const {
    std::vector<std::string> texts;
    for (auto const& [isSubmodule, name] : used_) {
      auto const all = files.all(name, isSubmodule);
      if (all.size() < 2 || std::ranges::all_of(all.subspan(1), [content = contentOf(all.front())](File const& other) {
            return contentOf(other) == content;
          })) {
        continue;
      }
      auto const shown = [](File const& file) {
        return fmt::format("{} of '{}'", file.revision.empty() ? "no revision" : file.revision, file.path);
      };
      texts.push_back(fmt::format("{}: {}, not {}", name, shown(all.front()), Text::list(all.subspan(1), shown)));
    }
    return texts;
  }

  unsigned contextOptions() const {
    return LY_CTX_DISABLE_SEARCHDIRS | LY_CTX_DISABLE_SEARCHDIR_CWD | LY_CTX_NO_YANGLIBRARY | LY_CTX_EXPLICIT_COMPILE |
           LY_CTX_REF_IMPLEMENTED | (options_.implementImports ? LY_CTX_ALL_IMPLEMENTED : 0U) |
           (options_.allFeatures ? LY_CTX_ENABLE_IMP_FEATURES : 0U);
  }

  Files const files;

 private:
  Options const& options_;
  std::map<std::string, std::string, std::less<>> chosen_;
  /** Modules and submodules whose newest revision was wanted. */
  std::set<std::pair<bool, std::string>> used_;
};

/** For libyang, which asks in C. */
LY_ERR giveModule(char const* module, char const* revision, char const* submodule, char const* submoduleRevision,
                  void* library, LYS_INFORMAT* format, char const** data, ly_module_imp_data_free_clb* free) {
  bool const isSubmodule = submodule != nullptr;
  char const* const wanted = isSubmodule ? submoduleRevision : revision;
  try {
    File const* const file = static_cast<Library*>(library)->use(isSubmodule ? submodule : module,
                                                                 wanted == nullptr ? "" : wanted, isSubmodule);
    auto const text = file == nullptr ? std::nullopt : contentOf(*file);
    if (!text) {
      return LY_ENOTFOUND;
    }
    *format = file->path.ends_with(".yin") ? LYS_IN_YIN : LYS_IN_YANG;
    *data = ::strdup(text->c_str());
    *free = [](void* copy, void* /*library*/) { std::free(copy); };
    return *data == nullptr ? LY_EMEM : LY_SUCCESS;
  } catch (std::bad_alloc const&) {
    return LY_EMEM;
  }
}

// ---- what libyang says

struct Message {
  std::string text;
  /** Empty where libyang has none. */
  std::string line = {};
  /** The schema path of what was being compiled. */
  std::string path = {};
};

/** The errors since the last call, in the order in which they were found. */
std::vector<Message> takeErrors(ly_ctx* context) {
  std::vector<Message> errors;
  for (ly_err_item const* item = ly_err_first(context); item != nullptr; item = item->next) {
    if (item->level == LY_LLERR) {
      std::string_view const place = item->path == nullptr ? "" : item->path;
      Message message{.text = item->msg == nullptr ? "" : item->msg};
      // "/a:b", "Schema location "/a:b".", "Line number 7.", or "Schema location "/", line number 7.".
      constexpr std::string_view lineStart = "ine number ";
      if (std::size_t const at = place.find(lineStart); at != std::string_view::npos) {
        std::string_view const line = place.substr(at + lineStart.size());
        message.line = line.substr(0, line.find_first_not_of("0123456789"));
      } else if (place.starts_with('/')) {
        message.path = place;
      } else if (std::size_t const quote = place.find('"'); quote != std::string_view::npos) {
        message.path = place.substr(quote + 1, place.rfind('"') - quote - 1);
      }
      if (message.path == "/") {
        message.path.clear();  // what is left of an augment that was read before
      }
      errors.push_back(std::move(message));
    }
  }
  ly_err_clean(context, nullptr);
  return errors;
}

/**
 * The modules that a schema path names, or their prefixes, the last one first; without what is between braces and their
 * quotes.
 */
std::vector<std::string> modulesIn(std::string_view path) {
  std::vector<std::string> names;
  std::size_t start = 0;
  bool isQuoted = false;
  for (std::size_t at = 0; at < path.size(); ++at) {
    if (path[at] == '\'') {
      isQuoted = !isQuoted;
    } else if (path[at] == '/' && !isQuoted) {
      start = at + 1;
    } else if (path[at] == ':' && !isQuoted) {
      names.emplace(names.begin(), path.substr(start, at - start));
    }
  }
  return names;
}

/** "/b:top/b:list" as "/top/list". */
std::string withoutPrefixes(std::string_view path) {
  std::string plain;
  for (char const c : path) {
    if (c == ':') {
      plain.resize(plain.rfind('/') + 1);
    } else {
      plain += c;
    }
  }
  return plain;
}

/** By names: where modules do not compile, libyang drops them. */
struct Deviation {
  std::string target;
  std::string module;
  /** Of the nodes on the way to the target. */
  std::vector<std::string> targetModules;
};

void addDeviations(lys_module const& module, lysp_deviation const* own, lysp_import const* imports,
                   std::vector<Deviation>& deviations) {
  for (lysp_deviation const& deviation : elements(own)) {
    std::vector<std::string> targets = modulesIn(deviation.nodeid);
    for (std::string& prefix : targets) {
      auto const all = elements(imports);
      auto const import = std::ranges::find(all, prefix, [](lysp_import const& one) { return one.prefix; });
      prefix = import == all.end() ? module.name : import->module->name;
    }
    deviations.push_back({withoutPrefixes(deviation.nodeid), module.name, std::move(targets)});
  }
}

std::vector<Deviation> deviationsIn(ly_ctx const* context) {
  std::vector<Deviation> deviations;
  std::uint32_t at = 0;
  while (lys_module const* const module = ly_ctx_get_module_iter(context, &at)) {
    if (module->implemented == 0 || module->parsed == nullptr) {
      continue;
    }
    addDeviations(*module, module->parsed->deviations, module->parsed->imports, deviations);
    for (lysp_include const& include : elements(module->parsed->includes)) {
      addDeviations(*module, include.submodule->deviations, include.submodule->imports, deviations);
    }
  }
  return deviations;
}

/** What to load besides, where an error names a node that is missing. Nothing where no module is known to add it. */
std::string advice(std::string_view message, std::span<Request const> requests, Library const& library) {
  if (!message.starts_with("Not found node ") && !message.starts_with("Augment target node ")) {
    return {};
  }
  std::string const path = quotedName(message);
  std::string const node = path.substr(path.find_last_of("/:") + 1);
  std::vector<std::string> modules;
  for (std::string const& name : library.files.modules()) {
    bool const isAskedFor = std::ranges::find(requests, name, &Request::name) != requests.end();
    if (!isAskedFor && adds(*library.find(name, "", false), node)) {
      modules.push_back(name);
    }
  }
  return modules.empty() ? ""
                         : fmt::format("; where a node is missing, load what adds it as well: a node {} is in {}",
                                       Text::inQuotes(node), Text::list(modules, Text::inQuotes));
}

/** One context that was tried: what came of it. */
struct Attempt {
  Context context = {};
  /** The request that cannot be read. */
  std::optional<std::size_t> failed = {};
  /** The modules that may be to blame for what does not compile, the likeliest first. */
  std::vector<std::string> suspects = {};
  std::string problem = {};
};

bool startsWithOneOf(std::string_view text, std::initializer_list<std::string_view> starts) {
  return std::ranges::any_of(starts, [&](std::string_view start) { return text.starts_with(start); });
}

std::vector<std::string> revisionsOf(std::span<File const> files) {
  std::vector<std::string> revisions;
  std::ranges::transform(files, std::back_inserter(revisions),
                         [](File const& file) { return file.revision.empty() ? "(none)" : file.revision; });
  return revisions;
}

/** Why a module that is asked for is in none of the folders. */
std::string missing(Request const& request, Library const& library) {
  auto const revisions = revisionsOf(library.files.all(request.name, false));
  return revisions.empty() ? fmt::format("no folder has a module {}{}", Text::inQuotes(request.name),
                                         Text::didYouMean(request.name, library.files.modules()))
                           : fmt::format("no folder has the revision {} of {}{}", Text::inQuotes(request.revision),
                                         Text::inQuotes(request.name), Text::listNames(revisions));
}

std::string unreadable(File const& file) {
  return fmt::format("{}: the file cannot be read, or is larger than {} MiB", file.path, maxFileSize >> 20);
}

/** Why a module or submodule that is imported or included is not found. */
std::string notFound(std::string const& name, bool isSubmodule, Library const& library) {
  // What a file holds that cannot be read is not known.
  if (File const* const file = library.files.find(name, "", false); file != nullptr && !file->isReadable) {
    return unreadable(*file);
  }
  auto const revisions = revisionsOf(library.files.all(name, isSubmodule));
  return revisions.empty()
             ? fmt::format("no folder has the module {}; add the folder that it is in{}", Text::inQuotes(name),
                           Text::didYouMean(name, library.files.modules()))
             : fmt::format(
                   "no folder has the module {} in the revision that is imported; add the folder that it is in{}",
                   Text::inQuotes(name), Text::listNames(revisions));
}

/** What to say of a module that cannot be read. */
std::string readingProblem(std::vector<Message> const& errors, Request const& request, Library const& library) {
  File const* const file = library.find(request.name, request.revision, false);
  if (file == nullptr) {
    return missing(request, library);
  }
  if (!file->isReadable) {
    return unreadable(*file);
  }
  if (errors.empty()) {
    return file->path + ": libyang refuses it, and does not say why";
  }
  Message const& first = errors.front();
  // The first one says what is wrong; each module and submodule on the way to it then says that it failed.
  std::string culprit = request.name;
  for (Message const& later : std::span(errors).subspan(1)) {
    if (startsWithOneOf(later.text, {"Parsing module ", "Including ", "Loading "})) {
      culprit = quotedName(later.text);
      break;
    }
  }
  std::string text = first.text;
  if (startsWithOneOf(first.text, {"Including ", "Loading "})) {
    text = notFound(quotedName(first.text), first.text.starts_with("Including "), library);
  }
  text = fmt::format("{}{}{}: {}{}", library.pathOf(culprit), first.line.empty() ? "" : ":", first.line, text,
                     first.path.empty() ? "" : fmt::format(" ({})", first.path));
  return culprit == request.name ? text : fmt::format("{}: what it needs does not load: {}", file->path, text);
}

/**
 * An augment leaves a log location in the thread until the next compile; with a thread that ends before, its memory
 * would be lost. A module that does not load makes libyang drop all that is not compiled yet, so that nothing is left
 * to compile.
 */
void clearLogLocation(ly_ctx* context) {
  ly_ctx_load_module(context, "/", nullptr, nullptr);
  ly_ctx_compile(context);
}

Attempt attempt(std::span<Request const> requests, bool compiles, Library& library) {
  ly_ctx* raw = nullptr;
  if (ly_ctx_new(nullptr, static_cast<std::uint16_t>(library.contextOptions()), &raw) != LY_SUCCESS) {
    return {.problem = "libyang cannot be started: its own modules do not load"};
  }
  Attempt result{.context = Context(raw, ly_ctx_destroy)};
  library.forgetUse();
  ly_ctx_set_module_imp_clb(raw, giveModule, &library);
  for (std::size_t i = 0; i < requests.size(); ++i) {
    auto const& [name, revision] = requests[i];
    auto features = library.featuresOf(name);
    if (ly_ctx_load_module(raw, name.c_str(), revision.empty() ? nullptr : revision.c_str(), features.data()) ==
        nullptr) {
      // All that was loaded is gone from the context: libyang takes everything back since the last compile.
      result.failed = i;
      result.problem = readingProblem(takeErrors(raw), requests[i], library);
      break;
    }
  }
  if (result.failed || !compiles) {
    clearLogLocation(raw);
    result.context = nullptr;
    return result;
  }
  ly_err_clean(raw, nullptr);
  if (auto [module, problem] = tooLarge(raw); !problem.empty()) {
    clearLogLocation(raw);
    result.context = nullptr;
    result.suspects = {std::move(module)};
    result.problem = std::move(problem);
    return result;
  }
  auto const deviations = deviationsIn(raw);
  if (ly_ctx_compile(raw) == LY_SUCCESS) {
    ly_err_clean(raw, nullptr);
    ly_ctx_set_module_imp_clb(raw, nullptr, nullptr);
    return result;
  }
  auto const errors = takeErrors(raw);
  Message const first = errors.empty() ? Message{"libyang refuses the modules, and does not say why"} : errors.front();
  if (std::size_t const from = first.text.find("from module "); from != std::string::npos) {
    result.suspects.push_back(quotedName(std::string_view(first.text).substr(from)));
  }
  std::string const plain = withoutPrefixes(first.path);
  for (Deviation const& deviation : deviations) {
    if (plain == deviation.target) {
      result.suspects.push_back(deviation.module);
    }
  }
  std::ranges::copy(modulesIn(first.path), std::back_inserter(result.suspects));
  result.context = nullptr;
  result.problem =
      first.text + (first.path.empty() ? "" : fmt::format(" ({})", first.path)) + advice(first.text, requests, library);
  return result;
}

/**
 * In a thread of its own: libyang keeps a log location for each thread, and does not always take it back. One that
 * points into a context that is gone must not be read at the next error.
 */
Attempt attemptApart(std::span<Request const> requests, bool compiles, Library& library) {
  Attempt result;
  std::exception_ptr thrown;
  std::thread([&] {
    try {
      result = attempt(requests, compiles, library);
    } catch (...) {
      thrown = std::current_exception();
    }
  }).join();
  if (thrown) {
    std::rethrow_exception(thrown);
  }
  return result;
}

// ---- what fails, and what is left

/** Which of the requests lead to the module, by any number of imports. */
std::vector<std::string> importersOf(std::string const& module, std::span<Request const> requests,
                                     Library const& library) {
  std::map<std::string, std::vector<std::string>> importers;
  for (File const& file : library.files.all()) {
    for (std::string& imported : importsOf(file)) {
      importers[std::move(imported)].push_back(file.name);
    }
  }
  std::vector<std::string> leading = {module};
  absl::flat_hash_set<std::string> seen = {module};
  for (std::size_t i = 0; i < leading.size(); ++i) {
    for (std::string const& importer : importers[std::string(leading[i])]) {
      if (seen.insert(importer).second) {
        leading.push_back(importer);
      }
    }
  }
  std::erase_if(leading, [&](std::string const& name) {
    return std::ranges::find(requests, name, &Request::name) == requests.end();
  });
  return leading;
}

/** Whether the file, or a submodule that it includes, refers to the module. */
bool leadsTo(File const* file, std::string const& module, Library const& library) {
  if (file == nullptr) {
    return false;
  }
  auto const includes = importsOf(*file);
  return refersTo(*file, module) || std::ranges::any_of(includes, [&](std::string const& name) {
           File const* const submodule = library.find(name, "", true);
           return submodule != nullptr && refersTo(*submodule, module);
         });
}

/** Why a request is left out. */
struct Guilty {
  std::string name;
  std::string problem;
};

/** The requests to leave out, so that what does not compile stays away. Never none where there are any. */
std::vector<Guilty> guilty(Attempt const& attempt, std::span<Request const> requests, Library const& library) {
  for (std::string const& suspect : attempt.suspects) {
    if (std::ranges::find(requests, suspect, &Request::name) != requests.end()) {
      return {{suspect, attempt.problem}};
    }
    // Nobody asks for it, or not any more: others make libyang implement it.
    std::vector<std::string> names;
    for (Request const& request : requests) {
      if (leadsTo(library.find(request.name, request.revision, false), suspect, library)) {
        names.push_back(request.name);
      }
    }
    if (names.empty()) {
      names = importersOf(suspect, requests, library);
    }
    if (!names.empty()) {
      std::vector<Guilty> found;
      for (std::string& name : names) {
        found.push_back({std::move(name), fmt::format("what it refers to does not load: {}: {}",
                                                      library.pathOf(suspect), attempt.problem)});
      }
      return found;
    }
  }
  std::vector<Guilty> all;
  for (Request const& request : requests) {
    all.push_back({request.name, attempt.problem});
  }
  return all;
}

/** Loads what loads; what does not goes from `requests`, with a line in `problems`. */
Context loadWhatLoads(std::vector<Request>& requests, Library& library, Problems& problems) {
  while (true) {
    std::set<std::string, std::less<>> failed;
    std::size_t from = 0;
    Attempt result;
    do {
      result = attemptApart(std::span(requests).subspan(from), from == 0, library);
      if (result.failed) {
        // The rest is read in a context of its own, just to find all that fails.
        from += *result.failed;
        Attempt alone;
        if (*result.failed != 0) {
          // What was read before may have cost libyang the line.
          alone = attemptApart(std::span(requests).subspan(from, 1), false, library);
        }
        problems.push_back(alone.failed ? std::move(alone.problem) : std::move(result.problem));
        failed.insert(requests[from++].name);
      }
    } while (result.failed && from < requests.size());
    if (failed.empty()) {
      if (result.context != nullptr) {
        return result.context;
      }
      for (auto const& [name, problem] : guilty(result, requests, library)) {
        problems.push_back(fmt::format("{}: {}", library.pathOf(name), problem));
        failed.insert(name);
      }
      if (failed.empty()) {
        problems.push_back(result.problem);
        return nullptr;
      }
    }
    std::erase_if(requests, [&](Request const& request) { return failed.contains(request.name); });
  }
}

/**
 * Adds the modules of nodes that have a node of a wanted module below them: what augments another one's augment
 * augments both. Whether any of the nodes is of a wanted module.
 */
bool wantAbove(lysc_node const* first, absl::flat_hash_set<lys_module const*>& wanted) {
  bool isWanted = false;
  for (lysc_node const* node = first; node != nullptr; node = node->next) {
    if (wantAbove(lysc_node_child(node), wanted)) {
      wanted.insert(node->module);
    }
    isWanted = isWanted || wanted.contains(node->module);
  }
  return isWanted;
}

/** What was asked for, and what that augments or deviates. */
std::vector<lys_module const*> inTree(ly_ctx const* context, std::span<Request const> requests) {
  absl::flat_hash_set<lys_module const*> wanted;
  for (Request const& request : requests) {
    wanted.insert(ly_ctx_get_module_implemented(context, request.name.c_str()));
  }
  std::vector<lys_module const*> all;
  std::uint32_t at = 0;
  while (lys_module const* const module = ly_ctx_get_module_iter(context, &at)) {
    // Where all imports are implemented, libyang leaves some of their own imports uncompiled.
    if (module->implemented != 0 && module->compiled != nullptr) {
      all.push_back(module);
    }
  }
  auto const deviations = deviationsIn(context);
  for (std::size_t before = 0; before != wanted.size();) {
    before = wanted.size();
    for (lys_module const* const module : all) {
      wantAbove(module->compiled->data, wanted);
    }
    for (Deviation const& deviation : deviations) {
      if (wanted.contains(ly_ctx_get_module_implemented(context, deviation.module.c_str()))) {
        for (std::string const& module : deviation.targetModules) {
          wanted.insert(ly_ctx_get_module_implemented(context, module.c_str()));
        }
      }
    }
  }
  std::erase_if(all, [&](lys_module const* module) { return !wanted.contains(module); });
  // Names and numbers of types are then the same in whatever order the modules were loaded.
  std::ranges::sort(all, {}, [](lys_module const* module) { return std::string_view(module->name); });
  return all;
}

}  // namespace

std::expected<Modules, Problems> loadModules(std::span<std::string const> folders, std::span<std::string const> modules,
                                             Options const& options) {
  Problems problems;
  for (std::string const& folder : folders) {
    std::error_code ignored;
    if (!std::filesystem::is_directory(folder, ignored)) {
      problems.push_back(fmt::format("'{}' is no folder to look for YANG modules in", folder));
    }
  }
  if (!problems.empty()) {
    return std::unexpected(std::move(problems));
  }
  Library library(folders, options);
  std::vector<Request> requests;
  bool const isWhole = modules.empty();
  for (std::string const& module : isWhole ? library.files.modules() : std::vector(modules.begin(), modules.end())) {
    std::size_t const at = isWhole ? std::string::npos : module.find('@');
    requests.push_back({module.substr(0, at), at == std::string::npos ? "" : module.substr(at + 1)});
    library.choose(requests.back());
  }
  for (auto const& [module, names] : options.features) {
    if (std::ranges::find(requests, module, &Request::name) == requests.end()) {
      problems.push_back(fmt::format("features of '{}' are asked for, but not the module", module));
    }
  }
  if (!problems.empty()) {
    return std::unexpected(std::move(problems));
  }
  KeepErrors const keepErrors;
  Modules loaded;
  loaded.isLenient = isWhole && !options.isStrict;
  loaded.context = loadWhatLoads(requests, library, problems);
  if (loaded.context == nullptr || (!problems.empty() && !loaded.isLenient)) {
    return std::unexpected(std::move(problems));
  }
  loaded.inTree = inTree(loaded.context.get(), requests);
  loaded.warnings = std::move(problems);
  loaded.choices = library.choices();
  return loaded;
}

}  // namespace Yang
