/// @file
/// The library's JSON writer for commands: what cannot be written ends the command.
#ifndef TAVIK_TOOL_IO_JSON_H
#define TAVIK_TOOL_IO_JSON_H

#include <tavik/Json.h>

#include <string>

namespace tavik::tool {

/// Appends a value. Raises `Unusable` for one that JSON cannot hold. On one line, a few levels of nesting around a
/// value that can be read back are written too.
void appendJson(std::string& out, const Value& value, JsonLayout layout = JsonLayout::kOneLine);

std::string toJson(const Value& value, JsonLayout layout = JsonLayout::kOneLine);

}  // namespace tavik::tool

#endif
