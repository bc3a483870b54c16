/// @file
/// Appends textual descriptions to a `TextBuffer`.
#ifndef TAVIK_VALUES_DESCRIPTION_H
#define TAVIK_VALUES_DESCRIPTION_H

#include <tavik/Value.h>

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

/// The size of the description of data, and the description itself.
std::size_t descriptionSize(const Data& data) noexcept;
void putDescription(char* to, const Data& data) noexcept;

/// Writes two lowercase hexadecimal digits per byte.
void putHex(char* to, std::span<const std::uint8_t> bytes) noexcept;

/// Appends the decimal text of a number.
void appendNumber(TextBuffer& text, std::int64_t number);
void appendNumber(TextBuffer& text, double number);

}  // namespace tavik

#endif
