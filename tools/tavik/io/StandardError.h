/// @file
/// Standard error, where a command reports problems.
#ifndef TAVIK_TOOL_IO_STANDARD_ERROR_H
#define TAVIK_TOOL_IO_STANDARD_ERROR_H

#include <string_view>

namespace tavik::tool {

/// Writes one line to standard error, "tavik: WHERE: MESSAGE", with the message made visible.
void printToStandardError(std::string_view where, std::string_view message);

/// Writes the text unchanged, as far as possible.
void writeStandardError(std::string_view text);

}  // namespace tavik::tool

#endif
