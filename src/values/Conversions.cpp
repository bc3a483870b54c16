// Conversions of values to the scalars that predicates compare.

#include <tavik/Value.h>

#include <cmath>
#include <limits>

#include "values/Numbers.h"
#include "values/Text.h"

namespace tavik {

namespace {

void skipWhiteSpace(std::string_view& text) noexcept {
  while (!text.empty()) {
    std::string_view rest = text;
    if (!isWhiteSpace(takeCharacter(rest))) return;
    text = rest;
  }
}

// Takes an optional sign; true for a minus.
bool takeSign(std::string_view& text) noexcept {
  const bool minus = text.starts_with('-');
  if (minus || text.starts_with('+')) text.remove_prefix(1);
  return minus;
}

bool isDigit(char character) noexcept { return character >= '0' && character <= '9'; }

std::size_t digitCount(std::string_view text) noexcept {
  std::size_t count = 0;
  while (count < text.size() && isDigit(text[count])) ++count;
  return count;
}

template <class Integer>
Integer integerAtStart(std::string_view text) noexcept {
  skipWhiteSpace(text);
  const bool minus = takeSign(text);
  constexpr auto kLeast = std::numeric_limits<Integer>::min();
  constexpr auto kGreatest = std::numeric_limits<Integer>::max();
  Integer negative = 0;  // negative, because the minimum has no positive counterpart
  for (; !text.empty() && isDigit(text.front()); text.remove_prefix(1)) {
    const auto digit = static_cast<Integer>(text.front() - '0');
    if (negative < (kLeast + digit) / 10) return minus ? kLeast : kGreatest;
    negative = static_cast<Integer>(negative * 10 - digit);
  }
  if (minus) return negative;
  return negative == kLeast ? kGreatest : static_cast<Integer>(-negative);
}

template <class Integer>
Integer saturated(double number) noexcept {
  if (std::isnan(number)) return 0;
  constexpr auto kLeast = static_cast<double>(std::numeric_limits<Integer>::min());
  if (number < kLeast) return std::numeric_limits<Integer>::min();
  if (number >= -kLeast) return std::numeric_limits<Integer>::max();
  return static_cast<Integer>(number);
}

template <class Integer>
Integer saturated(std::int64_t number) noexcept {
  if (number < std::numeric_limits<Integer>::min()) return std::numeric_limits<Integer>::min();
  if (number > std::numeric_limits<Integer>::max()) return std::numeric_limits<Integer>::max();
  return static_cast<Integer>(number);
}

template <class Integer>
Integer integerOf(const Value* value) noexcept {
  if (value == nullptr) return 0;
  if (const auto integer = value->ifInteger()) return saturated<Integer>(*integer);
  if (const auto real = value->ifReal()) return saturated<Integer>(*real);
  if (const auto string = value->ifString()) return integerAtStart<Integer>(*string);
  return value->ifBoolean().value_or(false) ? 1 : 0;
}

// The length of the decimal number at the start of `text`, or 0: digits with an optional decimal point and exponent.
std::size_t decimalLength(std::string_view text) noexcept {
  const std::size_t whole = digitCount(text);
  std::size_t length = whole;
  if (length < text.size() && text[length] == '.') {
    const std::size_t fraction = digitCount(text.substr(length + 1));
    if (whole + fraction == 0) return 0;
    length += 1 + fraction;
  }
  if (length == 0) return 0;
  std::string_view exponent = text.substr(length);
  if (!exponent.starts_with('e') && !exponent.starts_with('E')) return length;
  exponent.remove_prefix(1);
  takeSign(exponent);
  const std::size_t digits = digitCount(exponent);
  return digits == 0 ? length : static_cast<std::size_t>(exponent.data() - text.data()) + digits;
}

double doubleAtStart(std::string_view text) noexcept {
  skipWhiteSpace(text);
  const bool minus = takeSign(text);
  text = text.substr(0, decimalLength(text));
  double number = 0;
  readReal(text, number);
  return minus ? -number : number;
}

bool truthAtStart(std::string_view text) noexcept {
  skipWhiteSpace(text);
  takeSign(text);
  while (text.starts_with('0')) text.remove_prefix(1);
  return !text.empty() && std::string_view("YyTt123456789").find(text.front()) != std::string_view::npos;
}

}  // namespace

std::int32_t integerValue(const Value* value) noexcept { return integerOf<std::int32_t>(value); }

std::int64_t longValue(const Value* value) noexcept { return integerOf<std::int64_t>(value); }

double doubleValue(const Value* value) noexcept {
  if (value == nullptr) return 0;
  if (const auto integer = value->ifInteger()) return static_cast<double>(*integer);
  if (const auto real = value->ifReal()) return *real;
  if (const auto string = value->ifString()) return doubleAtStart(*string);
  return value->ifBoolean().value_or(false) ? 1 : 0;
}

bool booleanValue(const Value* value) noexcept {
  if (value == nullptr) return false;
  if (const auto truth = value->ifBoolean()) return *truth;
  if (const auto integer = value->ifInteger()) return *integer != 0;
  if (const auto real = value->ifReal()) return *real != 0 && !std::isnan(*real);
  if (const auto string = value->ifString()) return truthAtStart(*string);
  return false;
}

}  // namespace tavik
