// How the keys of one collection are named and built, worked out once from its types.
//
// Used by the resolver; not installed. A plan never changes, so any number of threads may use one at once. It throws
// `std::bad_alloc` only.
#pragma once

#include <absl/container/flat_hash_map.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <expected>
#include <forward_list>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Drovan/ZynKeyDecoder.h"
#include "gnmi/KeyParts.h"
#include "gnmi/Resolver.h"
#include "text/NameHash.h"

namespace Gnmi {

/** Every key there is. */
inline constexpr std::string_view wildcard = "*";

/** So many names are compared one by one, which is faster than by hash. */
inline constexpr std::size_t fewNames = 8;

/** What is wrong with the keys of one element. */
struct KeyError {
  static constexpr std::size_t all = static_cast<std::size_t>(-1);

  ErrorClass kind = ErrorClass::KeyUnknown;
  std::string text;
  /** The index of the key; `all` where it is all of them together. */
  std::size_t key = all;
  /** Of a key: whether its value is wrong, and not its name. */
  bool ofValue = false;
  std::string unknown = {};
  std::vector<std::string> names = {};
};

class KeyPlan {
 public:
  /** The name of a key and the text of its value. */
  using NamedText = std::pair<std::string, std::string>;

  KeyPlan(Zyn::ZynAttr collection, Options const& options);
  /** Its tables view its own names, which stay where they are when it is moved. */
  KeyPlan(KeyPlan&&) = default;
  KeyPlan(KeyPlan const&) = delete;
  KeyPlan& operator=(KeyPlan const&) = delete;
  ~KeyPlan() = default;

  Zyn::ZynAttr collection() const { return decoder_.collectionAttr; }
  /** The names of keys, without parts of parts. */
  std::vector<std::string> const& names() const { return names_; }

  /** What the keys of one element select: `into`, which is new, stays without a key after an error. */
  std::expected<void, KeyError> select(std::span<Key const> keys, Mode mode, ShowTree const& showTree,
                                       Selection& into) const;

  /** Decodes the leaf of a payload, and compares it with the key's part of that name. */
  std::expected<void, KeyError> compare(Zyn::GenericIf const& key, PayloadLeaf const& leaf, Values const& values) const;

  /** The keys that select the same again, sorted by name; an error where there are none. */
  std::expected<std::vector<NamedText>, KeyError> write(Selection const& selection, Values const& values) const;

 private:
  using PathElements = Drovan::ZynKeyDecoder::PathElements;
  using Decoder = Drovan::ZynKeyDecoder;

  using Done = std::expected<void, KeyError>;

  /** An attribute of the key type. */
  struct Part {
    /** As the key type has it. */
    std::string_view name;
    Zyn::ZynAttr attr;
    /** Its name alone, as the decoder takes it. */
    PathElements path;
    bool isScalar = false;
    /** Whether the name holds "__", at which the decoder splits it: it would look for a part of a part. */
    bool isSplit = false;
  };
  /** A part, or a part of a part, that a path gives. */
  struct Given {
    /** The part of the key type that it is, or is in; the number of parts where that is not among those known. */
    std::size_t part;
    /** All names down to it: the part's own, or one of `Nested`. */
    PathElements const* path;
    bool isScalar;
    bool isNested;
  };
  using GivenKeys = boost::container::small_vector<Given, 8>;
  /** The names of parts of parts, and of parts that are not among those known. */
  using Nested = std::forward_list<PathElements>;

  /** Whether it is that of the attribute that holds the key, with its module or without. */
  bool isKeyName(std::string_view name) const;
  Done selectOne(std::span<Key const> keys, Mode mode, Selection& into) const;
  Done selectParts(std::span<Key const> keys, Mode mode, ShowTree const& showTree, Selection& into) const;
  Done build(std::span<Key const> keys, std::span<Given const> given, ShowTree const& showTree, Selection& into) const;
  Done filter(std::span<Key const> keys, std::span<Given const> given, Selection& into) const;
  /** Puts the value of a part into a filter. */
  KvStd::Expected<void, Velko::String> filterPart(Part const& part, std::string_view value,
                                                  Decoder::FilterMap& into) const;
  /**
   * The part of that name; the number of parts where none has it. Keys mostly come by name, as parts are kept, so the
   * `likely` one is the first that is looked at.
   */
  std::size_t partOf(std::string_view name, std::size_t likely = 0) const;
  Done find(std::string_view name, Given& into, Nested& nested, std::size_t likely = 0) const;
  Done findNested(std::string_view name, Given& into, Nested& nested) const;
  /** Of parts that are listed, one of which is given twice. */
  KeyError twiceOf(std::span<Key const> keys, std::span<Given const> given) const;
  /** Whether the keys make an exact key: never with a wildcard among them. An error where one is given twice. */
  std::expected<bool, KeyError> isWholeNested(std::span<Key const> keys, std::span<Given const> given,
                                              bool hasWildcard) const;
  KeyParts::Index addTo(KeyParts& parts, Given const& given) const;
  KeyError unknownKey(std::string_view name) const;
  KeyError missingKeys(std::span<Given const> given) const;
  bool writeParts(Zyn::GenericIf const& value, Zyn::ZynType type, std::string const& prefix, Values const& values,
                  std::vector<NamedText>& into) const;

  Decoder decoder_;
  Zyn::ZynType keyType_;
  /** Whether one text is the whole key. */
  bool isOneValue_ = false;
  /** The name of the attribute that holds the key, which may be none; and with its module in front. */
  std::string_view keyName_;
  std::string qualifiedKeyName_;
  /** Whether that name may stand in front of a part's name. */
  bool takesKeyName_ = false;
  /**
   * Whether all constructor arguments are scalar parts, so that the key is whole when all are given; and there is a bit
   * for each part.
   */
  bool isFlat_ = true;
  /** A bit for each part that is an argument. */
  std::uint64_t arguments_ = 0;
  /** By name. */
  std::vector<Part> parts_;
  /** Also with their modules in front; those names are kept beside. */
  Text::NameMap<std::size_t> partsByName_;
  std::deque<std::string> qualifiedNames_;
  std::vector<std::string> names_;
};

}  // namespace Gnmi
