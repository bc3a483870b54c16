/// @file
/// The library's own way into values: their shared contents, and strings from text that has been checked already.
#ifndef TAVIK_VALUES_VALUE_ACCESS_H
#define TAVIK_VALUES_VALUE_ACCESS_H

#include <tavik/Value.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
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

  /// A string from text that is known to be well-formed UTF-8.
  static Value string(std::string_view wellFormed);
  /// A string from two such texts, cut from slabs, if there are any, unless it is long.
  static Value joined(std::string_view first, std::string_view second, SlabCutter* slabs);

  /// Stores under a key that is a string value already, sharing its text.
  static void set(Dictionary& dictionary, Value key, Value value) {
    dictionary.store(std::move(key), std::move(value), false);
  }

  /// Stores under a key that the dictionary is known not to have.
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

  /// The value under a key that is a string value.
  static const Value* find(const Dictionary& dictionary, const Value& key) noexcept;
  /// The same where the key's hash is known.
  static const Value* find(const Dictionary& dictionary, const Sought& key, std::uint64_t hash) noexcept;
  /// The same, quicker where the key is at the position that is guessed.
  static const Value* find(const Dictionary& dictionary, const Sought& key, std::uint64_t hash,
                           std::uint32_t guess) noexcept;
  /// Has the processor fetch what a look-up of a key with this hash begins with.
  static void prefetch(const Dictionary& dictionary, std::uint64_t hash) noexcept;
  /// Where the value that was found in a dictionary is, as a guess for others like it.
  static std::uint32_t positionOf(const Dictionary& dictionary, const Value& found) noexcept;

  /// The bytes of a value; those of two short strings are equal when the strings are.
  using Bits = Value::Words;
  static Bits bits(const Value& value) noexcept { return value.words(); }

  /// A short string from its characters, in the order of memory, with zeros behind them and its length in the last
  /// byte.
  static Value shortString(Bits bits) noexcept {
    Value value;
    value.setWords(bits);
    return value;
  }

  /// A short string that is made by the compiler.
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
  static Value literal(Literal text) noexcept { return shortString(text.bits); }
  /// Whether a value is this string.
  static bool is(const Value& value, Literal text) noexcept { return bits(value) == text.bits; }

  /// What `Value::ifString` gives.
  static std::optional<std::string_view> text(const Value& value) noexcept;

  static bool isShared(const Value& value) noexcept { return value.tag() >= Value::kFirstShared; }
  static bool isShort(const Value& value) noexcept { return value.tag() <= Value::kLongestShort; }
  static bool isContainer(const Value& value) noexcept { return value.tag() >= Value::kArray; }
  static bool isLong(const Value& value) noexcept { return value.tag() == Value::kLongString; }

  /// The keys as an array of strings, sharing their text.
  static Array keys(const Dictionary& dictionary) {
    Array keys;
    keys.reserve(dictionary.size());
    for (auto entry = dictionary.begin(); entry != dictionary.end(); ++entry) keys.append(entry.key());
    return keys;
  }

  /// The same block of memory: equal without a look inside.
  static bool sameContents(const Array& left, const Array& right) noexcept { return left.elements_ == right.elements_; }
  static bool sameContents(const Dictionary& left, const Dictionary& right) noexcept {
    return left.entries_ == right.entries_;
  }

  static bool isErased(const Value& key) noexcept { return key.tag() == Value::kErased; }
  static Value erasedMark() noexcept { return {Value::kErased, std::uint64_t{0}}; }

  /// A copy of a value that no other thread knows of yet, which costs less than a copy.
  static Value copiedUnseen(const Value& value) noexcept;
  /// Lets go of such a value where it has other owners.
  static void releaseUnseen(Value& value) noexcept;

  /// A value of its own: a text is copied to where slabs are cut, unless it is long.
  static Value copied(const Value& value, SlabCutter& slabs);

  /// Lets go of a value's contents without destroying containers: returns the container that lost its last owner.
  static Container* dropContents(const Value& value, SlabRelease& release) noexcept;
  /// The shared block, null when there is none.
  static Shared* contentsOf(const Value& value) noexcept;
};

}  // namespace tavik::detail

#endif
