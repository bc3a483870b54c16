/// @file
/// The names of files in messages, and as URIs.
#ifndef TAVIK_TOOL_IO_ARGUMENT_NAME_H
#define TAVIK_TOOL_IO_ARGUMENT_NAME_H

#include <string>
#include <string_view>

namespace tavik::tool {

/// The path of standard input or standard output.
inline constexpr std::string_view kStandardStream = "-";

/// "--rules local.plist" or "--source sfc=sfc.plist": an argument with its file, for messages.
std::string nameOf(std::string_view argument, const std::string& path);

/// A path as a URI, relative if the path is: "file:///srv/local%20rules.plist".
std::string uriOf(std::string_view path);

}  // namespace tavik::tool

#endif
