/// @file
/// A stream of any length as lines, in bounded memory: the input of `tavik batch`.
#ifndef TAVIK_TOOL_IO_LINE_READER_H
#define TAVIK_TOOL_IO_LINE_READER_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "io/FileDescriptor.h"
#include "io/StopRequest.h"

namespace tavik::tool {

/// No line may be longer, unless the user says so.
inline constexpr std::size_t kLongestLine = std::size_t{16} << 20;

struct Line {
  std::size_t number;       ///< from 1
  std::string text;         ///< without its line end; of a line that is too long the beginning
  std::string whyCut = {};  ///< "is longer than 16 MiB"; empty if all of the line is there
};

/// Lines end with LF or CR LF, the last one also with the stream. For one thread at a time.
class LineReader {
 public:
  /// `name`: what messages begin with. `longestLine`: of its bytes.
  LineReader(std::string name, FileDescriptor file, const StopRequest& stop, std::size_t longestLine = kLongestLine);

  /// The next lines: at least one, and as many more as are there already and make a piece of work. Blank lines are
  /// passed over. None at the end of the stream, when a stop is requested, and when reading fails.
  std::vector<Line> next();

  /// Raises `Unusable` unless the stream was read to its end.
  void checkEnd() const;
  /// What kept the stream from being read to its end.
  [[nodiscard]] const std::optional<std::string>& whyEnded() const noexcept { return whyEnded_; }

  /// Bytes up to the end of the lines taken so far.
  [[nodiscard]] std::uint64_t position() const noexcept { return bytesRead_ - (buffer_.size() - start_); }
  /// Bytes in all, where the stream is a file.
  [[nodiscard]] std::optional<std::uint64_t> size() const noexcept { return size_; }

 private:
  bool takeLine(std::vector<Line>& lines);
  void addLine(std::string_view text, std::vector<Line>& lines);
  void fill();
  void makeRoom();
  void awaitInput() const;
  void checkStop();

  std::string name_;
  FileDescriptor file_;
  const StopRequest& stop_;
  std::size_t longestLine_;
  std::optional<std::uint64_t> size_;
  std::vector<char> piece_;
  std::string buffer_;
  std::size_t start_ = 0;                // of the first line in buffer_ that was not taken yet
  std::size_t searched_ = 0;             // no line ends between start_ and here
  std::optional<std::string> longLine_;  // the beginning of a line that has no room in buffer_
  std::size_t linesTaken_ = 0;
  std::uint64_t bytesRead_ = 0;
  bool atEnd_ = false;                   // nothing follows buffer_
  std::optional<std::string> whyEnded_;  // before the end
};

}  // namespace tavik::tool

#endif
