/// @file
/// The output of a command: a file, or standard output.
#ifndef TAVIK_TOOL_IO_OUTPUT_H
#define TAVIK_TOOL_IO_OUTPUT_H

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace tavik::tool {

/// Writes an output: a regular file is replaced atomically, a pipe or device is written to. "-" and any other name of
/// standard output's file mean standard output.
void writeOutput(std::string_view argument, const std::string& path, std::span<const std::uint8_t> bytes);

}  // namespace tavik::tool

#endif
