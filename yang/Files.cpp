#include "yang/Files.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <set>
#include <system_error>
#include <tuple>

namespace Yang {
namespace {

bool isBlank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
bool isOneOf(std::string_view word, std::span<std::string_view const> words) {
  return std::ranges::find(words, word) != words.end();
}

/** What may stand in front of a module's definitions: no revision comes after them. */
constexpr std::array<std::string_view, 10> headers = {"yang-version", "namespace", "prefix",  "belongs-to",
                                                      "import",       "include",   "contact", "organization",
                                                      "description",  "reference"};

/** Whose arguments make libyang implement the modules that they name. */
constexpr std::array<std::string_view, 6> referring = {"augment", "deviation", "must", "when", "path", "default"};

bool isNameCharacter(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || c == '-' || c == '.';
}

/** Whether a name in the text starts with `prefix`. */
bool holdsName(std::string_view text, std::string_view prefix) {
  std::size_t at = text.find(prefix);
  while (at != std::string_view::npos && at != 0 && isNameCharacter(text[at - 1])) {
    at = text.find(prefix, at + 1);
  }
  return at != std::string_view::npos;
}

bool isDate(std::string_view text) {
  constexpr std::string_view like = "0000-00-00";
  return std::ranges::equal(text, like,
                            [](char c, char pattern) { return pattern == '0' ? c >= '0' && c <= '9' : c == pattern; });
}

void useRevision(std::string_view date, File& file) {
  if (isDate(date) && date > file.revision) {
    file.revision = date;
  }
}

void readYang(std::string_view text, File& file) {
  Statements statement(text);
  if (!statement.next() || (statement.keyword != "module" && statement.keyword != "submodule")) {
    return;
  }
  file.name = statement.argument;
  file.isSubmodule = statement.keyword == "submodule";
  while (statement.next() && statement.depth != 0) {
    if (statement.depth == 1 && statement.keyword == "revision") {
      useRevision(statement.argument, file);
    } else if (statement.depth == 1 && !isOneOf(statement.keyword, headers) && !statement.keyword.contains(':')) {
      return;
    }
  }
}

/** The value of an attribute of the first element that starts with `element`; cuts the text behind the element. */
std::string_view yinArgument(std::string_view& text, std::string_view element, std::string_view attribute) {
  std::size_t const start = text.find(element);
  text.remove_prefix(std::min(start, text.size()));
  std::string_view tag = text.substr(0, text.find('>'));
  text.remove_prefix(tag.size());
  tag.remove_prefix(std::min(tag.find(attribute), tag.size()));
  std::size_t const quote = tag.find_first_of("'\"");
  if (quote == std::string_view::npos) {
    return {};
  }
  char const mark = tag[quote];
  tag.remove_prefix(quote + 1);
  return tag.substr(0, tag.find(mark));
}

void readYin(std::string_view text, File& file) {
  std::size_t const module = text.find("<module");
  file.isSubmodule = text.find("<submodule") < module;
  if (std::string_view const name = yinArgument(text, file.isSubmodule ? "<submodule" : "<module", "name=");
      !name.empty()) {
    file.name = name;
  }
  while (!text.empty()) {
    useRevision(yinArgument(text, "<revision ", "date="), file);
  }
}

/** The paths below a folder, in order. */
std::vector<std::filesystem::path> pathsIn(std::string const& folder) {
  namespace fs = std::filesystem;
  std::vector<fs::path> paths;
  std::error_code error;
  fs::recursive_directory_iterator entry(folder, fs::directory_options::skip_permission_denied, error);
  for (; !error && entry != fs::recursive_directory_iterator(); entry.increment(error)) {
    fs::path const& path = entry->path();
    std::error_code ignored;
    if (path.filename().native().starts_with('.')) {
      entry.disable_recursion_pending();
    } else if ((path.extension() == ".yang" || path.extension() == ".yin") && entry->is_regular_file(ignored)) {
      paths.push_back(path);
    }
  }
  std::ranges::sort(paths);
  return paths;
}

}  // namespace

bool Statements::skipBlanks() {
  while (!rest_.empty()) {
    if (isBlank(rest_.front())) {
      rest_.remove_prefix(1);
    } else if (rest_.starts_with("//")) {
      rest_.remove_prefix(std::min(rest_.find('\n'), rest_.size()));
    } else if (rest_.starts_with("/*")) {
      std::size_t const end = rest_.find("*/", 2);
      rest_.remove_prefix(end == std::string_view::npos ? rest_.size() : end + 2);
    } else {
      return true;
    }
  }
  return false;
}

bool Statements::next() {
  while (skipBlanks() && rest_.front() == '}') {
    rest_.remove_prefix(1);
    if (open_ == 0) {
      return false;
    }
    --open_;
  }
  depth = open_;
  argument.clear();
  keyword = rest_.substr(0, rest_.find_first_of(" \t\n\v\f\r;{}\"'"));
  rest_.remove_prefix(keyword.size());
  if (keyword.empty()) {
    return false;
  }
  while (skipBlanks()) {
    char const first = rest_.front();
    if (first == ';' || first == '{') {
      open_ += first == '{' ? 1 : 0;
      rest_.remove_prefix(1);
      return true;
    }
    if (first == '}') {
      return false;
    }
    if (first == '"' || first == '\'') {
      rest_.remove_prefix(1);
      for (; !rest_.empty() && rest_.front() != first; rest_.remove_prefix(1)) {
        if (first == '"' && rest_.front() == '\\' && rest_.size() > 1) {
          rest_.remove_prefix(1);
        }
        argument += rest_.front();
      }
      rest_.remove_prefix(rest_.empty() ? 0 : 1);
    } else if (first == '+') {
      rest_.remove_prefix(1);  // between two quoted pieces
    } else {
      std::string_view const word = rest_.substr(0, rest_.find_first_of(" \t\n\v\f\r;{}"));
      argument += word;
      rest_.remove_prefix(word.size());
    }
  }
  return false;
}

Files::Files(std::span<std::string const> folders) {
  std::set<std::filesystem::path> seen;
  for (std::string const& folder : folders) {
    for (auto const& path : pathsIn(folder)) {
      if (!seen.insert(path.lexically_normal()).second) {
        continue;  // one folder is in another one
      }
      File file{.name = path.stem().string(), .revision = {}, .path = path.string()};
      file.name.resize(std::min(file.name.find('@'), file.name.size()));
      auto const text = contentOf(file);
      file.isReadable = text.has_value();
      if (text) {
        path.extension() == ".yin" ? readYin(*text, file) : readYang(*text, file);
      }
      file.order = files_.size();
      files_.push_back(std::move(file));
    }
  }
  std::ranges::sort(files_, [](File const& a, File const& b) {
    return std::tie(a.isSubmodule, a.name, b.revision, a.order) < std::tie(b.isSubmodule, b.name, a.revision, b.order);
  });
}

std::span<File const> Files::all(std::string_view name, bool isSubmodule) const {
  auto const [first, last] = std::ranges::equal_range(files_, std::pair(isSubmodule, name), {}, [](File const& file) {
    return std::pair(file.isSubmodule, std::string_view(file.name));
  });
  return {first, last};
}

File const* Files::find(std::string_view name, std::string_view revision, bool isSubmodule) const {
  auto const files = all(name, isSubmodule);
  auto const found =
      std::ranges::find_if(files, [&](File const& file) { return revision.empty() || file.revision == revision; });
  return found == files.end() ? nullptr : &*found;
}

std::vector<std::string> Files::modules() const {
  std::vector<std::string> names;
  for (File const& file : files_) {
    if (!file.isSubmodule && (names.empty() || names.back() != file.name)) {
      names.push_back(file.name);
    }
  }
  return names;
}

std::optional<std::string> contentOf(File const& file) {
  std::ifstream in(file.path, std::ios::binary | std::ios::ate);
  std::streamoff const size = in.tellg();
  if (size < 0 || size > maxFileSize) {
    return std::nullopt;
  }
  std::string text(static_cast<std::size_t>(size), '\0');
  in.seekg(0);
  in.read(text.data(), size);
  text.resize(static_cast<std::size_t>(in.gcount()));
  return text;
}

bool refersTo(File const& file, std::string_view module) {
  std::string const text = contentOf(file).value_or("");
  Statements statement(text);
  std::string import;
  std::vector<std::string> prefixes;
  while (statement.next()) {
    if (statement.keyword == "import") {
      import = statement.argument;
    } else if (statement.keyword == "prefix" && statement.depth == 2 && import == module) {
      prefixes.push_back(statement.argument + ":");
    } else if (isOneOf(statement.keyword, referring)) {
      if (std::ranges::any_of(prefixes, [&](auto const& prefix) { return holdsName(statement.argument, prefix); })) {
        return true;
      }
    }
  }
  return false;
}

bool adds(File const& file, std::string_view node) {
  constexpr std::array<std::string_view, 6> nodes = {"container", "list", "leaf", "leaf-list", "anydata", "anyxml"};
  std::string const text = contentOf(file).value_or("");
  Statements statement(text);
  bool isAugment = false;
  while (statement.next()) {
    if (statement.depth == 1) {
      isAugment = statement.keyword == "augment";
    } else if (isAugment && statement.argument == node && isOneOf(statement.keyword, nodes)) {
      return true;
    }
  }
  return false;
}

std::vector<std::string> importsOf(File const& file) {
  std::string const text = contentOf(file).value_or("");
  Statements statement(text);
  std::vector<std::string> names;
  while (statement.next()) {
    if (statement.depth == 1 && (statement.keyword == "import" || statement.keyword == "include")) {
      names.push_back(statement.argument);
    }
  }
  return names;
}

}  // namespace Yang
