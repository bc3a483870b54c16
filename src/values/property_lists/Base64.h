/// @file
/// Base64 (RFC 4648, section 4), padded.
#ifndef TAVIK_VALUES_PROPERTY_LISTS_BASE64_H
#define TAVIK_VALUES_PROPERTY_LISTS_BASE64_H

#include <tavik/Value.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "values/Slab.h"

namespace tavik {

/// The number of characters for this number of bytes.
constexpr std::size_t base64Size(std::size_t bytes) noexcept { return (bytes + 2) / 3 * 4; }

/// Writes base64Size(bytes.size()) characters, without line breaks, to `to`.
void putBase64(char* to, std::span<const std::uint8_t> bytes) noexcept;

/// Decodes `text`. Absent unless it is what putBase64 writes: unused bits must be zero, and white space is not allowed.
/// The data is cut from `slabs` unless it is null or the data is large.
std::optional<Data> dataFromBase64(std::string_view text, detail::SlabCutter* slabs = nullptr);

/// Whether a character is one of the 64 digits.
bool isBase64Digit(char character) noexcept;

}  // namespace tavik

#endif
