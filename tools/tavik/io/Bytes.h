/// @file
/// Views of bytes as text and of text as bytes.
#ifndef TAVIK_TOOL_IO_BYTES_H
#define TAVIK_TOOL_IO_BYTES_H

#include <cstdint>
#include <span>
#include <string_view>

namespace tavik::tool {

/// At the beginning of a text: its encoding is UTF-8.
inline constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

inline std::span<const std::uint8_t> bytesOf(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}
inline std::string_view textOf(std::span<const std::uint8_t> bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

}  // namespace tavik::tool

#endif
