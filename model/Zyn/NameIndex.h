// A table from names to numbers that takes a few dozen instructions for a look-up, of which each step of a path needs
// one.
//
// Names of up to 16 bytes are kept in the table as two words, and compared there; longer ones are hashed as a whole,
// and compared where they are. Up to eight names are compared one by one, as that takes less time than a hash; more are
// in a hash table. One thread may add names while no other uses the table.
#pragma once

#include <absl/hash/hash.h>
#include <absl/strings/string_view.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "Velko/String.h"

namespace Model {

class NameIndex {
 public:
  /** The name must not be in the table yet, and its bytes must outlive the table. */
  void add(std::string_view name, std::uint32_t number) {
    Entry const entry = {name, wordsOf(name), number};
    if (size_ < mostInList) {
      entries_.push_back(entry);
    } else {
      // A full list meets this condition, too: it then becomes a hash table.
      if (2 * (size_ + 1) > entries_.size()) {
        grow();
      }
      place(entry);
    }
    ++size_;
  }

  static constexpr std::uint32_t none = 0xFFFFFFFFU;

  /** `none` for a name that was not added. */
  std::uint32_t find(std::string_view name) const noexcept {
    if (!isShort(name)) {
      return findLong(name);
    }
    return size_ <= mostInList ? searchList(name, shortWords(name)) : search(name, shortWords(name));
  }

  static std::size_t hashOf(std::string_view name) noexcept { return hashOf(wordsOf(name)); }

 private:
  static bool isShort(std::string_view name) noexcept { return name.size() <= 2 * sizeof(std::uint64_t); }

  struct Words {
    std::uint64_t first = 0;
    std::uint64_t last = 0;

    friend bool operator==(Words const&, Words const&) = default;
  };

  struct Entry {
    std::string_view name = {};
    Words words = {};
    std::uint32_t number = 0;
  };

  /** For a name of up to 16 bytes: two such names are equal when their lengths and these words are. */
  static Words shortWords(std::string_view name) noexcept {
    char const* const begin = name.data();
    char const* const end = begin + name.size();
    if (name.size() >= 8) {
      return {Velko::Impl::wordAt<std::uint64_t>(begin), Velko::Impl::wordAt<std::uint64_t>(end - 8)};
    }
    if (name.size() >= 4) {
      return {Velko::Impl::wordAt<std::uint32_t>(begin), Velko::Impl::wordAt<std::uint32_t>(end - 4)};
    }
    if (name.size() >= 2) {
      return {Velko::Impl::wordAt<std::uint16_t>(begin), Velko::Impl::wordAt<std::uint16_t>(end - 2)};
    }
    return {name.empty() ? std::uint64_t{0} : Velko::Impl::wordAt<std::uint8_t>(begin), 0};
  }

  static Words longWords(std::string_view name) noexcept {
    return {absl::HashOf(absl::string_view(name.data(), name.size())),
            Velko::Impl::wordAt<std::uint64_t>(name.data() + name.size() - 8)};
  }

  static Words wordsOf(std::string_view name) noexcept { return isShort(name) ? shortWords(name) : longWords(name); }

  /** With a seed of its own in each process: nobody can choose names that all have one hash. */
  static std::size_t hashOf(Words words) noexcept { return absl::HashOf(words.first, words.last); }

  bool isSame(Entry const& entry, std::string_view name, Words words) const noexcept {
    return entry.words == words && entry.name.size() == name.size() && (isShort(name) || entry.name == name);
  }

  std::uint32_t searchList(std::string_view name, Words words) const noexcept {
    for (Entry const& entry : entries_) {
      if (isSame(entry, name, words)) {
        return entry.number;
      }
    }
    return none;
  }

  std::size_t placeOf(Words words) const noexcept { return hashOf(words) & mask_; }

  std::uint32_t search(std::string_view name, Words words) const noexcept {
    for (std::size_t at = placeOf(words);; at = (at + 1) & mask_) {
      Entry const& entry = entries_[at];
      if (entry.name.data() == nullptr) {
        return none;
      }
      if (isSame(entry, name, words)) {
        return entry.number;
      }
    }
  }

  /** Not inlined, so that a search for a short name saves no registers for the calls that this one makes. */
  [[gnu::noinline]] std::uint32_t findLong(std::string_view name) const noexcept {
    return size_ <= mostInList ? searchList(name, longWords(name)) : search(name, longWords(name));
  }

  void grow() {
    std::vector<Entry> former(std::max(2 * entries_.size(), 4 * mostInList));
    former.swap(entries_);
    mask_ = entries_.size() - 1;
    for (Entry const& entry : former) {
      if (entry.name.data() != nullptr) {
        place(entry);
      }
    }
  }

  void place(Entry const& entry) noexcept {
    std::size_t at = placeOf(entry.words);
    while (entries_[at].name.data() != nullptr) {
      at = (at + 1) & mask_;
    }
    entries_[at] = entry;
  }

  static constexpr std::size_t mostInList = 8;

  /** A list, or a hash table: then their number is a power of two, and at most half of them are in use. */
  std::vector<Entry> entries_;
  std::size_t mask_ = 0;
  std::size_t size_ = 0;
};

}  // namespace Model
