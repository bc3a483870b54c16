/// @file
/// The library's access to the representation of values: shared contents, and strings from validated text.
#ifndef TAVIK_VALUES_VALUE_ACCESS_H
#define TAVIK_VALUES_VALUE_ACCESS_H

#include <tavik/Value.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string_view>
#include <utility>

namespace tavik::detail {

struct Container;
class SlabCutter;
class SlabRelease;
class Shared;
class Sought;

class ValueAccess {
 public:
  static constexpr std::size_t kLongestShort = Value::kLongestShort;

  /// The bytes of a value. Two short strings are equal if and only if their bytes are.
  using Bits = Value::Words;
  static Bits bits(const Value& value) noexcept { return value.words(); }

  /// A short string made at compile time.
  struct Literal {
    template <std::size_t kSize>
    requires(kSize - 1 <= kLongestShort) consteval Literal(const char (&text)[kSize]) {
      std::array<char, sizeof(Value)> bytes = {};
      std::copy_n(text, kSize - 1, bytes.begin());
      bytes.back() = kSize - 1;
      bits = std::bit_cast<Bits>(bytes);
    }
    Bits bits;
  };

  /// A string from text known to be well-formed UTF-8, cut from `slabs` unless it is null or the string is long.
  static Value string(std::string_view wellFormed, SlabCutter* slabs = nullptr);
  /// Makes a value a string of this size, cut from `slabs` unless it is null or the string is long. The caller must
  /// write its characters. value: null.
  static char* makeString(Value& value, std::size_t size, SlabCutter* slabs);
  /// The same from several texts.
  static Value joined(std::initializer_list<std::string_view> texts, SlabCutter* slabs);

  /// Stores under a key that is a string value, sharing its text.
  static void set(Dictionary& dictionary, Value key, Value value) {
    dictionary.store(std::move(key), std::move(value), false);
  }

  /// Stores under a key known not to be in the dictionary.
  static void addNew(Dictionary& dictionary, Value key, Value value) {
    dictionary.append(std::move(key), std::move(value));
  }

  /// The dictionary that owns the block.
  static Dictionary dictionary(Entries* block) noexcept {
    Dictionary dictionary;
    dictionary.entries_ = block;
    return dictionary;
  }

  /// The dictionary that owns the block, as a value.
  static Value valueOf(Entries* block) noexcept {
    return {Value::kDictionary, static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(block))};
  }

  static Data data(Bytes* block) noexcept {
    Data data;
    data.bytes_ = block;
    return data;
  }

  static Array array(Elements* block) noexcept {
    Array array;
    array.elements_ = block;
    return array;
  }

  static Entries* block(const Dictionary& dictionary) noexcept { return dictionary.entries_; }
  static Elements* block(const Array& array) noexcept { return array.elements_; }

  /// The value for a key that is a string value.
  static const Value* find(const Dictionary& dictionary, const Value& key) noexcept;
  /// The same for a short key.
  static const Value* find(const Dictionary& dictionary, Literal key) noexcept;
  /// The same for a key whose hash is known.
  static const Value* find(const Dictionary& dictionary, const Sought& key, std::uint64_t hash) noexcept;
  /// The same, faster if the key is at the guessed position.
  static const Value* find(const Dictionary& dictionary, const Sought& key, std::uint64_t hash,
                           std::uint32_t guess) noexcept;
  /// Prefetches the memory that the lookup of a key with this hash reads first.
  static void prefetch(const Dictionary& dictionary, std::uint64_t hash) noexcept;
  /// The position of a value found in a dictionary, as a guess for similar dictionaries.
  static std::uint32_t positionOf(const Dictionary& dictionary, const Value& found) noexcept;

  /// A short string from its characters in memory order, followed by zeros, with the length in the last byte.
  static Value shortString(Bits bits) noexcept {
    Value value;
    value.setWords(bits);
    return value;
  }

  static bool isShortAscii(const Value& value) noexcept {
    return isShort(value) && ((value.words().low | value.words().high) & 0x8080808080808080) == 0;
  }

  static Value literal(Literal text) noexcept { return shortString(text.bits); }
  /// Whether a value is this string.
  static bool is(const Value& value, Literal text) noexcept { return bits(value) == text.bits; }

  /// Same as `Value::ifString`.
  static std::optional<std::string_view> text(const Value& value) noexcept;

  static bool isShared(const Value& value) noexcept { return value.tag() >= Value::kFirstShared; }
  static bool isShort(const Value& value) noexcept { return value.tag() <= Value::kLongestShort; }
  static bool isContainer(const Value& value) noexcept { return value.tag() >= Value::kArray; }
  /// Whether the value is a number, boolean or string.
  static bool isScalar(const Value& value) noexcept { return value.tag() <= Value::kBoolean || isLong(value); }
  static bool isLong(const Value& value) noexcept { return value.tag() == Value::kLongString; }

  /// The keys as an array of strings, sharing their text.
  static Array keys(const Dictionary& dictionary);

  /// Whether both share one block, so that they are equal.
  static bool sameContents(const Array& left, const Array& right) noexcept { return left.elements_ == right.elements_; }
  static bool sameContents(const Dictionary& left, const Dictionary& right) noexcept {
    return left.entries_ == right.entries_;
  }

  static bool isErased(const Value& key) noexcept { return key.tag() == Value::kErased; }
  static Value erasedMark() noexcept { return {Value::kErased, std::uint64_t{0}}; }

  /// Copies a value that no other thread can see, without atomic operations.
  static Value copiedUnseen(const Value& value) noexcept;
  /// Releases such a value if it has other owners.
  static void releaseUnseen(Value& value) noexcept;

  /// A copy that does not share its text, which is cut from `slabs` unless `slabs` is null or the text is long.
  static Value copied(const Value& value, SlabCutter* slabs) {
    return isLong(value) && slabs != nullptr ? copiedText(value, *slabs) : value;
  }
  /// The same with `slabs`; also copies the entries of small dictionaries.
  static Value copiedWithEntries(const Value& value, SlabCutter& slabs);

  /// Releases a value's contents without destroying containers; returns the container that lost its last owner.
  static Container* dropContents(const Value& value, SlabRelease& release) noexcept;
  /// The shared block; null if there is none.
  static Shared* contentsOf(const Value& value) noexcept;

 private:
  // The bits of a short string, from parts of its text that may overlap, which is faster than writing its characters
  // and reading them as words. For little-endian processors.
  static Bits bitsOf(std::string_view text) noexcept;
  static Value copiedText(const Value& value, SlabCutter& slabs);
};

}  // namespace tavik::detail

#endif
