#include "values/Numbers.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <system_error>

namespace tavik {
namespace {

// Given a decimal number that is too large or too small for a double, whether it is too large. The position of its
// first significant digit decides.
bool isTooLarge(std::string_view decimal) noexcept {
  const std::size_t exponentAt = std::min(decimal.find_first_of("eE"), decimal.size());
  const std::string_view mantissa = decimal.substr(0, exponentAt);
  const std::size_t point = std::min(mantissa.find('.'), mantissa.size());
  const std::size_t significant = mantissa.find_first_of("123456789");
  if (significant == std::string_view::npos) return false;

  std::string_view digits = decimal.substr(std::min(exponentAt + 1, decimal.size()));
  if (digits.starts_with('+')) digits.remove_prefix(1);
  std::int64_t exponent = 0;
  if (std::from_chars(digits.begin(), digits.end(), exponent).ec == std::errc::result_out_of_range) {
    return !digits.starts_with('-');
  }
  return exponent > static_cast<std::int64_t>(significant) - static_cast<std::int64_t>(point);
}

}  // namespace

RealText::RealText(double number) noexcept {
  constexpr double kSmallestPlain = 1e-4;
  constexpr double kSmallestWithExponent = 1e16;
  const double size = std::abs(number);
  const bool plain = number == 0 || (size >= kSmallestPlain && size < kSmallestWithExponent);
  const auto format = plain ? std::chars_format::fixed : std::chars_format::scientific;
  char* const end = std::isfinite(number) ? std::to_chars(text_.begin(), text_.end(), number, format).ptr
                                          : std::to_chars(text_.begin(), text_.end(), number).ptr;
  size_ = static_cast<std::size_t>(end - text_.begin());
}

std::from_chars_result readReal(std::string_view text, double& number) noexcept {
  std::from_chars_result result = std::from_chars(text.begin(), text.end(), number);
  if (result.ec != std::errc::result_out_of_range) return result;
  const std::string_view decimal = text.substr(0, static_cast<std::size_t>(result.ptr - text.begin()));
  const double nearest = isTooLarge(decimal) ? std::numeric_limits<double>::infinity() : 0;
  number = decimal.starts_with('-') ? -nearest : nearest;
  return {result.ptr, std::errc()};
}

}  // namespace tavik
