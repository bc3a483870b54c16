/// @file
/// Textual descriptions, into a text under construction.
#ifndef TAVIK_VALUES_DESCRIPTION_H
#define TAVIK_VALUES_DESCRIPTION_H

#include <tavik/Value.h>

#include <array>
#include <cstdint>
#include <string_view>

#include "values/Numbers.h"
#include "values/TextBuffer.h"

namespace tavik {

/// What `description` returns.
void appendDescription(TextBuffer& text, const Value* value);
void appendDescription(TextBuffer& text, const Array& array);
void appendDescription(TextBuffer& text, const Dictionary& dictionary);

/// The elements' descriptions with `delineator` between them.
void appendElements(TextBuffer& text, const Array& array, std::string_view delineator);

/// Two lower-case hexadecimal digits.
inline void appendHexByte(TextBuffer& text, std::uint8_t byte) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  const std::array<char, 2> digits = {kDigits[byte >> 4], kDigits[byte & 0xF]};
  text.append({digits.data(), digits.size()});
}

/// Decimal text of a number.
void appendNumber(TextBuffer& text, std::int64_t number);
void appendNumber(TextBuffer& text, double number);

}  // namespace tavik

#endif
