/// @file
/// Standard output, whole lines of it where it matters. Every function raises `ReaderGone` when nobody reads it, and
/// `Unusable` with the reason when it takes no more.
#ifndef TAVIK_TOOL_IO_STANDARD_OUTPUT_H
#define TAVIK_TOOL_IO_STANDARD_OUTPUT_H

#include <string>
#include <string_view>

namespace tavik::tool {

/// Writes the text.
void writeStandardOutput(std::string_view text);

/// The same for whole lines: a file that has no room for all of them ends with a whole one, and pipes are given lines
/// of up to 4096 bytes whole.
void writeLinesToStandardOutput(std::string_view lines);

/// Collects what goes to standard output and writes it in large pieces, for answers far larger than their input.
class BufferedOutput {
 public:
  void append(std::string_view text);
  void flush();

 private:
  std::string pending_;
};

}  // namespace tavik::tool

#endif
