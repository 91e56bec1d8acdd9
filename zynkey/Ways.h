// Where the keys of an event's paths are: among its tags.
//
// A collector takes the keys out of a path and makes tags of them: key `name` of element `interface` is the tag
// `interface_name`, without modules. A way is what the schema knows of such a path, down to the last keyed collection:
//
//   path       /interfaces/interface/state/counters/in-octets
//   way        interfaces, interface with `name` from the tag interface_name
//
// What stands below in the path need not be in the schema. Where two elements of one path want one tag, the later one's
// value is in it, and the earlier one's is lost: TagsCollide. But for two values that came from the prefix and from the
// path of one update: then the path's is in a tag `<path>_<tag>`. The last name of a value is a leaf and wants no tag;
// that of a delete may.
//
// A way never changes once made. `Ways` remembers those of the paths it has met, up to a bound; it belongs to one
// thread. Throws `std::bad_alloc` only.
#pragma once

#include <absl/container/flat_hash_map.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "gnmi/Resolver.h"
#include "text/NameHash.h"
#include "zynkey/PathJob.h"

namespace ZynKey {

/** The tags of an event. */
class Tags {
 public:
  /** Of tags that are sorted by name, and outlive this. */
  explicit Tags(NamedTexts const& sorted) : sorted_(sorted) {}

  /** Null where there is none. */
  std::string const* find(std::string_view name) const;
  /** Of a tag `<end of path>_<name>`, the one with the longest end; null where there is none. */
  std::string const* findRenamed(std::string_view name, std::string_view path);

 private:
  NamedTexts const& sorted_;
  /** All tags as a trie of their bytes from the last to the first, so that a search is linear in what it is for. */
  absl::flat_hash_map<std::pair<std::size_t, char>, std::size_t> next_;
  /** For each node of the trie; null where no tag is that long. */
  std::vector<std::string const*> values_;
};

/** What paths of an event are of. */
enum class PathKind : std::uint8_t { Value, Delete };

class Way {
 public:
  /** Of a path of names, with or without keys; those that it has count. */
  Way(std::string_view path, PathKind kind, Gnmi::Resolver const& resolver);

  std::string const& path() const { return path_; }
  /** Why the schema knows nothing of the path; null where it knows some. */
  Gnmi::Error const* error() const { return error_ ? &*error_ : nullptr; }
  /** The keyed collections that it passes, outermost first. */
  std::vector<Zyn::ZynAttr> const& collections() const { return collections_; }
  /** Equal for ways that lead to the same entries of one event. */
  std::string const& name() const { return name_; }
  /** The tags of the last element of that collection, to say what is missing. */
  std::vector<std::string> tagsOf(Zyn::ZynAttr collection) const;

  /**
   * The path with the keys that `tags` give; it views the texts of both. The tag that collides, where one does.
   */
  std::optional<std::string_view> fill(Tags& tags, Gnmi::Path& into) const;

 private:
  struct TagKey {
    std::string tag;
    std::string key;
    /** How many elements of the path want the tag, and whether this is the last one. */
    std::size_t wantedBy = 1;
    bool isLast = true;
  };
  struct Step {
    std::string element;
    Zyn::ZynAttr collection;
    NamedTexts given;
    std::vector<TagKey> keys;
  };

  void findCollisions(std::vector<std::string> const& below);

  std::string path_;
  std::string origin_;
  std::vector<Step> steps_;
  std::vector<Zyn::ZynAttr> collections_;
  std::string name_;
  std::optional<Gnmi::Error> error_;
};

class Ways {
 public:
  explicit Ways(Gnmi::Resolver const& resolver) : resolver_(resolver) {}

  /** Kept by who uses it while others are made. */
  std::shared_ptr<Way const> of(std::string_view path, PathKind kind);

 private:
  Gnmi::Resolver const& resolver_;
  /** Of values and of deletes, by the paths that they hold. */
  std::array<Text::NameMap<std::shared_ptr<Way const>>, 2> known_;
};

}  // namespace ZynKey
