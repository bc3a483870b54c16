/// @file
/// Base64 (RFC 4648, section 4), padded and without line breaks.
#ifndef TAVIK_TOOL_IO_BASE64_H
#define TAVIK_TOOL_IO_BASE64_H

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tavik::tool {

void appendBase64(std::string& out, std::span<const std::uint8_t> bytes);

/// Absent unless the text is exactly what appendBase64 makes of some bytes.
std::optional<std::vector<std::uint8_t>> fromBase64(std::string_view text);

}  // namespace tavik::tool

#endif
