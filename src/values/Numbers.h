/// @file
/// Converts between numbers and decimal text.
#ifndef TAVIK_VALUES_NUMBERS_H
#define TAVIK_VALUES_NUMBERS_H

#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace tavik {

/// The decimal text of an integer.
class IntegerText {
 public:
  explicit IntegerText(std::int64_t number) noexcept
      : size_(static_cast<std::size_t>(std::to_chars(digits_.begin(), digits_.end(), number).ptr - digits_.begin())) {}

  [[nodiscard]] std::string_view view() const noexcept { return {digits_.data(), size_}; }

 private:
  std::array<char, 20> digits_;
  std::size_t size_;
};

/// The shortest text that reads back as the same double: without an exponent from 1e-4 up to 1e16 ("3", "0.0001"),
/// otherwise with one ("1e+16"); "inf", "-inf", "nan".
class RealText {
 public:
  explicit RealText(double number) noexcept;

  [[nodiscard]] std::string_view view() const noexcept { return {text_.data(), size_}; }

 private:
  std::array<char, 32> text_;
  std::size_t size_;
};

/// Like std::from_chars, but a number outside the range of a double is not an error: a number that is too large reads
/// as infinity, one that is too small as 0, each with its sign.
std::from_chars_result readReal(std::string_view text, double& number) noexcept;

}  // namespace tavik

#endif
