/// @file
/// Appends textual descriptions to a `TextBuffer`.
#ifndef TAVIK_VALUES_DESCRIPTION_H
#define TAVIK_VALUES_DESCRIPTION_H

#include <tavik/Value.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>
#include <string_view>

#include "values/Numbers.h"
#include "values/TextBuffer.h"

namespace tavik {

/// Appends what `description` returns.
void appendDescription(TextBuffer& text, const Value* value);
void appendDescription(TextBuffer& text, const Array& array);
void appendDescription(TextBuffer& text, const Dictionary& dictionary);

/// Appends the elements' descriptions, separated by `delineator`.
void appendElements(TextBuffer& text, const Array& array, std::string_view delineator);

/// Writes two lowercase hexadecimal digits per byte.
inline void putHex(char* to, std::span<const std::uint8_t> bytes) noexcept {
  constexpr std::string_view kDigits = "0123456789abcdef";
  for (const std::uint8_t byte : bytes) {
    *to++ = kDigits[byte >> 4];
    *to++ = kDigits[byte & 0xF];
  }
}

/// Appends two lowercase hexadecimal digits per byte.
inline void appendHex(TextBuffer& text, std::span<const std::uint8_t> bytes) {
  std::array<char, 64> digits;
  while (!bytes.empty()) {
    const auto piece = bytes.first(std::min(bytes.size(), digits.size() / 2));
    putHex(digits.data(), piece);
    text.append({digits.data(), 2 * piece.size()});
    bytes = bytes.subspan(piece.size());
  }
}

/// Appends the decimal text of a number.
void appendNumber(TextBuffer& text, std::int64_t number);
void appendNumber(TextBuffer& text, double number);

}  // namespace tavik

#endif
