/// @file
/// Standard output shared by threads whose results shall come in the order of the input.
#ifndef TAVIK_TOOL_IO_ORDERED_OUTPUT_H
#define TAVIK_TOOL_IO_ORDERED_OUTPUT_H

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>

#include "io/Progress.h"

namespace tavik::tool {

/// What came of a piece of the input.
struct Finished {
  std::string lines;
  std::uint64_t devices = 0;
  std::uint64_t failed = 0;
  std::uint64_t position = 0;  ///< of the end of the piece, in bytes of the input
};

/// Writes pieces in the order of their numbers, by whichever thread brings the one that is due. Safe from any thread.
class OrderedOutput {
 public:
  /// `window`: the pieces beyond the one that is due that are kept.
  OrderedOutput(std::size_t window, Progress& progress) : window_(window), progress_(progress) {}

  /// Takes the piece `number`, counted from 0, as soon as there is room. Raises what `writeLinesToStandardOutput`
  /// raises.
  void put(std::size_t number, Finished piece);
  /// Nothing more will be written: a piece is missing, or standard output takes no more.
  void abandon();

 private:
  void write(const Finished& piece);

  std::size_t window_;
  Progress& progress_;       // of the thread that writes
  Progress::State written_;  // likewise
  std::mutex mutex_;
  std::condition_variable room_;
  std::map<std::size_t, Finished> pieces_;  // neither written nor being written
  std::size_t due_ = 0;
  bool writing_ = false;
  bool abandoned_ = false;
};

}  // namespace tavik::tool

#endif
