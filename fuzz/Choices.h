/// @file
/// Decisions taken from bytes, for targets that build what they test, and values as texts that tell apart whatever can
/// be told apart.
#ifndef TAVIK_FUZZ_CHOICES_H
#define TAVIK_FUZZ_CHOICES_H

#include <tavik/Value.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <string_view>

namespace tavik {

/// Takes decisions from bytes, the same from the same; where the bytes have run out, always the first choice.
class Choices {
 public:
  explicit Choices(std::span<const std::uint8_t> bytes) noexcept : rest_(bytes) {}

  [[nodiscard]] bool done() const noexcept { return rest_.empty(); }

  std::uint8_t byte() noexcept {
    if (done()) return 0;
    const std::uint8_t first = rest_.front();
    rest_ = rest_.subspan(1);
    return first;
  }
  /// From 0 to below `count`, which is at most 256.
  std::size_t below(std::size_t count) noexcept { return byte() % count; }
  /// True in so many of 16 cases.
  bool often(std::size_t sixteenths) noexcept { return below(16) >= 16 - sixteenths; }

  template <class Item, std::size_t kCount>
  const Item& oneOf(const Item (&items)[kCount]) noexcept {
    return items[below(kCount)];
  }

  /// One of the words that `words` separates by "|".
  std::string_view wordOf(std::string_view words) noexcept {
    return word(words, below(static_cast<std::size_t>(std::ranges::count(words, '|')) + 1));
  }
  static std::string_view word(std::string_view words, std::size_t index) noexcept {
    for (; index > 0; --index) words.remove_prefix(words.find('|') + 1);
    return words.substr(0, words.find('|'));
  }

  template <class Number>
  Number number() noexcept {
    std::array<std::uint8_t, sizeof(Number)> bytes;
    for (std::uint8_t& each : bytes) each = byte();
    return std::bit_cast<Number>(bytes);
  }

  /// Up to `most` bytes, at most 255.
  std::span<const std::uint8_t> bytes(std::size_t most) noexcept {
    const std::size_t wanted = below(most + 1);  // takes one of the rest
    const auto taken = rest_.first(std::min(wanted, rest_.size()));
    rest_ = rest_.subspan(taken.size());
    return taken;
  }
  /// The same as text, not always in UTF-8.
  std::string_view text(std::size_t most) noexcept {
    const auto taken = bytes(most);
    return {reinterpret_cast<const char*>(taken.data()), taken.size()};
  }

 private:
  std::span<const std::uint8_t> rest_;
};

namespace exact {

inline void append(std::string& all, char mark, std::string_view bytes) {
  all += mark;
  all += std::to_string(bytes.size());
  all += ':';
  all += bytes;
}

// Bit by bit, save that there is one NaN.
inline void append(std::string& all, char mark, double number) {
  all += mark;
  all += std::isnan(number) ? "nan" : std::to_string(std::bit_cast<std::uint64_t>(number));
  all += ';';
}

inline void append(std::string& all, const Value& value);

inline void append(std::string& all, const Array& array) {
  all += '(';
  for (const Value& element : array) append(all, element);
  all += ')';
}

inline void append(std::string& all, const Dictionary& dictionary) {
  all += '{';
  for (const auto [key, value] : dictionary) {
    append(all, 'k', key);
    append(all, value);
  }
  all += '}';
}

inline void append(std::string& all, const Value& value) {
  if (const auto text = value.ifString()) append(all, 's', *text);
  if (const auto integer = value.ifInteger()) append(all, 'i', std::to_string(*integer));
  if (const auto real = value.ifReal()) append(all, 'r', *real);
  if (const auto truth = value.ifBoolean()) all += *truth ? 'T' : 'F';
  if (const Data* data = value.ifData()) {
    append(all, 'd', {reinterpret_cast<const char*>(data->bytes().data()), data->size()});
  }
  if (const auto date = value.ifDate()) append(all, 't', date->secondsSinceReference() + 0.0);  // a date has one zero
  if (const Array* array = value.ifArray()) append(all, *array);
  if (const Dictionary* dictionary = value.ifDictionary()) append(all, *dictionary);
}

/// Of a value, an array or a dictionary. Two have the same text when they are of the same kinds, equal, and in the same
/// order throughout: integers are told from floating-point numbers and 0.0 from -0.0, and a NaN is like another.
template <class Item>
std::string text(const Item& item) {
  std::string all;
  append(all, item);
  return all;
}

/// An entry of a dictionary's text.
inline std::string entry(std::string_view key, std::string_view valueText) {
  std::string all;
  append(all, 'k', key);
  return all.append(valueText);
}

}  // namespace exact

}  // namespace tavik

#endif
