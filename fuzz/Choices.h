/// @file
/// Choices made from the bytes of an input, for targets that build their test data; and exact texts of values.
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

/// Makes deterministic choices from bytes. When no bytes are left, it makes the first choice.
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
  /// A number from 0 to `count` - 1; `count` is at most 256.
  std::size_t below(std::size_t count) noexcept { return byte() % count; }
  /// True in this many of 16 cases.
  bool often(std::size_t sixteenths) noexcept { return below(16) >= 16 - sixteenths; }

  template <class Item, std::size_t kCount>
  const Item& oneOf(const Item (&items)[kCount]) noexcept {
    return items[below(kCount)];
  }

  /// One of the words in `words`, which are separated by "|".
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
    const std::size_t wanted = below(most + 1);  // uses one of the remaining bytes
    const auto taken = rest_.first(std::min(wanted, rest_.size()));
    rest_ = rest_.subspan(taken.size());
    return taken;
  }
  /// The bytes as text, not always valid UTF-8.
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

// The bits of a number; all NaNs are the same.
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

/// The exact text of a value, an array or a dictionary. Two texts are the same if all kinds, values and orders are the
/// same: integers differ from floating-point numbers and 0.0 from -0.0; all NaNs are the same.
template <class Item>
std::string text(const Item& item) {
  std::string all;
  append(all, item);
  return all;
}

/// The text of a dictionary's entry.
inline std::string entry(std::string_view key, std::string_view valueText) {
  std::string all;
  append(all, 'k', key);
  return all.append(valueText);
}

}  // namespace exact

}  // namespace tavik

#endif
