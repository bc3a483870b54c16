/// @file
/// Keys for lookups in dictionaries.
#ifndef TAVIK_VALUES_DICTIONARY_KEY_H
#define TAVIK_VALUES_DICTIONARY_KEY_H

#include <tavik/Value.h>

#include <cstdint>
#include <cstring>
#include <string_view>

#include "values/SharedContents.h"

namespace tavik::detail {

/// A key to look up. A short key is compared as the sixteen bytes of its value, at once.
class Sought {
 public:
  explicit Sought(std::string_view key) : text_(key), isShort_(key.size() <= ValueAccess::kLongestShort) {
    if (isShort_) bits_ = ValueAccess::bits(ValueAccess::string(key));
  }
  explicit Sought(ValueAccess::Literal key) noexcept : bits_(key.bits), isShort_(true) {}
  /// key: a string.
  explicit Sought(const Value& key)
      : text_(*ValueAccess::text(key)), bits_(ValueAccess::bits(key)), isShort_(ValueAccess::isShort(key)) {}

  [[nodiscard]] bool is(const Value& stored) const noexcept {
    if (isShort_) return ValueAccess::bits(stored) == bits_;
    return ValueAccess::isLong(stored) && *ValueAccess::text(stored) == text_;
  }

  /// A multiplicative hash. The seed is an address in this process, which the author of a document cannot know: keys
  /// that collide cannot be prepared.
  [[nodiscard]] std::uint64_t hash() const noexcept {
    const std::uint64_t start = reinterpret_cast<std::uintptr_t>(&kAnchor) ^ kOdd;
    if (isShort_) return mix(mix(start ^ bits_.low, kOdd) ^ bits_.high, kOdd);
    std::uint64_t state = mix(start, text_.size() ^ 0xD6E8FEB86659FD93);
    std::size_t at = 0;
    for (; at + sizeof state < text_.size(); at += sizeof state) state = mix(state ^ wordAt(at), kOdd);
    return mix(mix(state ^ wordAt(text_.size() - sizeof state), kOdd), kOdd);
  }

 private:
  static constexpr std::uint64_t kOdd = 0x9E3779B97F4A7C15;
  static const char kAnchor;

  static std::uint64_t mix(std::uint64_t a, std::uint64_t b) noexcept {
    __extension__ using Wide = unsigned __int128;
    const Wide product = Wide{a} * b;
    return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
  }

  [[nodiscard]] std::uint64_t wordAt(std::size_t offset) const noexcept {
    std::uint64_t word = 0;
    std::memcpy(&word, text_.data() + offset, sizeof word);
    return word;
  }

  std::string_view text_;
  ValueAccess::Bits bits_ = {};
  bool isShort_;
};

/// A key to look up in many dictionaries. Borrows its text.
class KnownKey {
 public:
  explicit KnownKey(std::string_view key) : KnownKey(Sought(key)) {}
  /// key: a string.
  explicit KnownKey(const Value& key) : KnownKey(Sought(key)) {}

  [[nodiscard]] const Value* find(const Dictionary& dictionary) const noexcept {
    return ValueAccess::find(dictionary, key_, hash_);
  }
  /// guess: the likely position of the entry.
  [[nodiscard]] const Value* find(const Dictionary& dictionary, std::uint32_t guess) const noexcept {
    return ValueAccess::find(dictionary, key_, hash_, guess);
  }
  [[nodiscard]] bool is(const Value& stored) const noexcept { return key_.is(stored); }

 private:
  explicit KnownKey(const Sought& key) noexcept : key_(key), hash_(key.hash()) {}

  Sought key_;
  std::uint64_t hash_;
};

inline const Value* ValueAccess::find(const Dictionary& dictionary, const Sought& key, std::uint64_t hash,
                                      std::uint32_t guess) noexcept {
  const std::span<const Entry> entries = entriesOf(dictionary);
  if (guess < entries.size() && key.is(entries[guess].key)) return &entries[guess].value;
  return find(dictionary, key, hash);
}

}  // namespace tavik::detail

#endif
