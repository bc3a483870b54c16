/// @file
/// Splits a stream of any length into lines, in bounded memory: the input of `tavik batch`.
#ifndef TAVIK_TOOL_IO_LINE_READER_H
#define TAVIK_TOOL_IO_LINE_READER_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "io/FileDescriptor.h"
#include "io/StopRequest.h"

namespace tavik::tool {

/// The default maximum line length.
inline constexpr std::size_t kLongestLine = std::size_t{16} << 20;

struct Line {
  std::size_t number;                       ///< from 1
  std::string_view text;                    ///< without its line end; only the beginning of a line that is too long
  std::string whyCut = {};                  ///< "is longer than 16 MiB"; empty if the line is complete
  std::shared_ptr<const void> memory = {};  ///< of the text
};

/// Lines end with LF, CR LF or the end of the stream. Not thread-safe.
class LineReader {
 public:
  /// `name`: the prefix of messages. `longestLine`: in bytes.
  LineReader(std::string name, FileDescriptor file, const StopRequest& stop, std::size_t longestLine = kLongestLine);

  /// The next lines: at least one, and as many more as are available and fit a piece of work. Blank lines are skipped.
  /// Empty at the end of the stream, when a stop is requested, and when reading fails.
  std::vector<Line> next();

  /// Throws `Unusable` unless the stream was read to its end.
  void checkEnd() const;
  /// Why the stream was not read to its end.
  [[nodiscard]] const std::optional<std::string>& whyEnded() const noexcept { return whyEnded_; }

  /// Bytes up to the end of the lines taken so far.
  [[nodiscard]] std::uint64_t position() const noexcept { return bytesRead_ - (end_ - start_); }
  /// The total size, if the stream is a file.
  [[nodiscard]] std::optional<std::uint64_t> size() const noexcept { return size_; }

 private:
  bool takeLine(std::vector<Line>& lines);
  void addLine(std::string_view text, std::vector<Line>& lines);
  void addLongLine(std::vector<Line>& lines);
  void fill();
  void dropLongLine();
  void makeRoom();
  void awaitInput() const;
  void checkStop();

  std::string name_;
  FileDescriptor file_;
  const StopRequest& stop_;
  std::size_t longestLine_;
  std::optional<std::uint64_t> size_;
  std::shared_ptr<char[]> block_;        // shared with the lines taken from it
  std::size_t room_ = 0;                 // size of block_
  std::size_t end_ = 0;                  // of the input in block_
  std::size_t start_ = 0;                // of the first line in block_ that was not taken
  std::size_t searched_ = 0;             // no line ends between start_ and here
  std::optional<std::string> longLine_;  // the beginning of a line that is too long
  std::size_t linesTaken_ = 0;
  std::uint64_t bytesRead_ = 0;
  bool atEnd_ = false;                   // the stream ends with block_
  std::optional<std::string> whyEnded_;  // why reading ended early
};

}  // namespace tavik::tool

#endif
