/// @file
/// The library's JSON writer for commands: a value that cannot be written ends the command.
#ifndef TAVIK_TOOL_IO_JSON_H
#define TAVIK_TOOL_IO_JSON_H

#include <tavik/Json.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace tavik::tool {

/// Appends a value. Throws `Unusable` if JSON cannot represent it. On one line, a few nesting levels may surround a
/// value of the maximum depth.
void appendJson(std::string& out, const Value& value, JsonLayout layout = JsonLayout::kOneLine);

inline Value integer(std::uint64_t number) { return Value(static_cast<std::int64_t>(number)); }

std::string toJson(const Value& value, JsonLayout layout = JsonLayout::kOneLine);

/// On one line, visible, and cut to a number of columns.
std::string shortJson(const Value& value, std::size_t width);

}  // namespace tavik::tool

#endif
