// The text of a path: it is read or refused at a byte of it, and what is read comes back from its own text.
#include "gnmi/Path.h"

#include "fuzz/Fuzz.h"
#include "zynkey/Caret.h"

namespace {

/** What was typed so far has an error where its path has one, unless something is missing at the end only. */
void checkUnfinished(std::string_view text, std::expected<Gnmi::Path, Gnmi::PathError> const& path) {
  using End = Gnmi::UnfinishedPath::End;
  auto const typed = Gnmi::parseUnfinishedPath(text);
  if (!path && path.error().offset != text.size()) {
    Fuzz::require(!typed && typed.error().offset == path.error().offset && typed.error().text == path.error().text,
                  "what is no path stays none, whatever is typed");
    return;
  }
  Fuzz::require(typed && typed->at <= text.size(), "a path may still be typed on");
  // The shortest end that makes a path of the text before.
  std::string whole(text.substr(0, typed->at));
  Gnmi::Path expected = typed->before;
  if (typed->end == End::KeyName || typed->end == End::Value) {
    bool const hasName = typed->end == End::Value;
    whole += hasName ? "]" : "k=]";
    auto const finished = Gnmi::parsePath(whole);
    Fuzz::require(finished && !finished->elements.empty() && !finished->elements.back().keys.empty(),
                  "a key that is being typed can be finished");
    expected.elements.back().keys.push_back(
        {.name = hasName ? finished->elements.back().keys.back().name : "k", .value = ""});
  }
  auto const finished = Gnmi::parsePath(whole);
  Fuzz::require(finished && *finished == expected, "what stands before is read as a path reads it");
  Fuzz::require(typed->end != End::AfterKey || (path && *path == expected), "after a key, the path is whole");
}

}  // namespace

void Fuzz::run(std::string_view bytes) {
  Exact const text(bytes);
  auto const path = Gnmi::parsePath(text.view());
  checkUnfinished(text.view(), path);
  if (!path) {
    require(path.error().offset <= bytes.size() && !path.error().text.empty(), "an error has a place and a text");
    std::string const lines = ZynKey::caret(bytes, path.error().offset);
    require(lines.ends_with("^\n") && lines.size() < 1600, "a caret stands below its byte, in two short lines");
    return;
  }
  std::size_t at = 0;
  for (Gnmi::Element const& element : path->elements) {
    require(at <= element.at && element.at < bytes.size(), "elements stand in the text, in their order");
    at = element.at;
    for (Gnmi::Key const& key : element.keys) {
      require(at < key.nameAt && key.nameAt < key.valueAt && key.valueAt < bytes.size(), "and so do their keys");
      require(bytes[key.nameAt - 1] == '[' && bytes[key.valueAt - 1] == '=', "between their brackets");
      at = key.valueAt;
    }
  }
  std::string const formatted = Gnmi::formatPath(*path);
  require(formatted.size() <= bytes.size() + 2, "a path's own text is hardly longer");
  Exact const again(formatted);
  auto const reread = Gnmi::parsePath(again.view());
  require(reread && *reread == *path, "a path comes back from its text");
  require(Gnmi::formatPath(*reread) == formatted, "and so does the text");
}
