/// @file
/// Standard output. Every function throws `ReaderGone` if the reader has closed it, and `Unusable` with the reason if
/// writing fails.
#ifndef TAVIK_TOOL_IO_STANDARD_OUTPUT_H
#define TAVIK_TOOL_IO_STANDARD_OUTPUT_H

#include <string>
#include <string_view>

namespace tavik::tool {

/// Writes the text.
void writeStandardOutput(std::string_view text);

/// The same for whole lines: a file on a full disk ends with a complete line, and pipes get lines of up to 4096 bytes
/// in one write.
void writeLinesToStandardOutput(std::string_view lines);

/// Buffers standard output and writes it in large pieces, for output much larger than its input.
class BufferedOutput {
 public:
  void append(std::string_view text);
  void flush();

 private:
  std::string pending_;
};

}  // namespace tavik::tool

#endif
