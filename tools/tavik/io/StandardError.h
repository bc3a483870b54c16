/// @file
/// Standard error, where a command says what went wrong.
#ifndef TAVIK_TOOL_IO_STANDARD_ERROR_H
#define TAVIK_TOOL_IO_STANDARD_ERROR_H

#include <string_view>

namespace tavik::tool {

/// One line on standard error, "tavik: WHERE: MESSAGE", whatever the message holds.
void printToStandardError(std::string_view where, std::string_view message);

/// The text as it is, as far as it can be written.
void writeStandardError(std::string_view text);

}  // namespace tavik::tool

#endif
