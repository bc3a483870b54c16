/// @file
/// Standard output shared by threads whose results are written in input order.
#ifndef TAVIK_TOOL_IO_ORDERED_OUTPUT_H
#define TAVIK_TOOL_IO_ORDERED_OUTPUT_H

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "io/Progress.h"

namespace tavik::tool {

/// The result of a piece of the input.
struct Finished {
  std::string lines;
  std::uint64_t devices = 0;
  std::uint64_t failed = 0;
  std::uint64_t position = 0;  ///< of the end of the piece, in bytes of the input
};

/// Writes pieces in order: whichever thread completes the next piece writes it. Thread-safe.
class OrderedOutput {
 public:
  /// `window`: how many pieces after the next one are kept.
  OrderedOutput(std::size_t window, Progress& progress) : window_(window), progress_(progress) {}

  /// An empty text for the lines of a piece, with the memory of one that was written.
  std::string emptyLines();
  /// Takes the piece `number`, counted from 0, as soon as there is room. Throws like `writeLinesToStandardOutput`.
  void put(std::size_t number, Finished piece);
  /// Stops writing: a piece is missing, or standard output has failed.
  void abandon();

 private:
  void write(const Finished& piece);
  void keepMemory(std::string& lines);

  std::size_t window_;
  Progress& progress_;       // used by the writing thread
  Progress::State written_;  // used by the writing thread
  std::mutex mutex_;
  std::condition_variable room_;
  std::map<std::size_t, Finished> pieces_;  // neither written nor being written
  std::vector<std::string> spare_;          // empty
  std::size_t due_ = 0;
  bool writing_ = false;
  bool abandoned_ = false;
};

}  // namespace tavik::tool

#endif
