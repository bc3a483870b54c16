/// @file
/// The names of command-line files in messages.
#ifndef TAVIK_TOOL_IO_ARGUMENT_NAME_H
#define TAVIK_TOOL_IO_ARGUMENT_NAME_H

#include <string>
#include <string_view>

namespace tavik::tool {

/// The path of standard input or standard output.
inline constexpr std::string_view kStandardStream = "-";

/// "--rules local.plist" or "--source sfc=sfc.plist": an argument with its file, for messages.
std::string nameOf(std::string_view argument, const std::string& path);

}  // namespace tavik::tool

#endif
