// The text of a path: it is read or refused at a byte of it, and what is read comes back from its own text.
#include "gnmi/Path.h"

#include <algorithm>

#include "fuzz/Fuzz.h"
#include "zynkey/Caret.h"

void Fuzz::run(std::string_view bytes) {
  Exact const text(bytes);
  auto const path = Gnmi::parsePath(text.view());
  if (!path) {
    require(path.error().offset && *path.error().offset <= bytes.size() && !path.error().text.empty(),
            "an error has a place and a text");
    std::string const lines = ZynKey::caret(bytes, *path.error().offset);
    require(lines.ends_with("^\n") && lines.size() < 1600, "a caret stands below its byte, in two short lines");
    return;
  }
  std::size_t at = 0;
  for (Gnmi::Element const& element : path->elements()) {
    require(at <= element.at && element.at < bytes.size(), "elements stand in the text, in their order");
    at = element.at;
    for (Gnmi::Key const& key : path->keys(element)) {
      require(at < key.nameAt && key.nameAt < key.valueAt && key.valueAt < bytes.size(), "and so do their keys");
      require(bytes[key.nameAt - 1] == '[' && bytes[key.valueAt - 1] == '=', "between their brackets");
      at = key.valueAt;
    }
  }
  std::string const formatted = Gnmi::formatPath(*path);
  auto const lineEnds = static_cast<std::size_t>(std::ranges::count(bytes, '\n') + std::ranges::count(bytes, '\r'));
  require(formatted.size() <= bytes.size() + lineEnds + 2, "a path's own text is hardly longer");
  Exact const again(formatted);
  auto const reread = Gnmi::parsePath(again.view());
  require(reread && *reread == *path, "a path comes back from its text");
  require(Gnmi::formatPath(*reread) == formatted, "and so does the text");
  require(Gnmi::owned(*path) == *path, "a path that owns its texts is the same path");
}
