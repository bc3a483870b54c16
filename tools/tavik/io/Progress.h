/// @file
/// The progress of a long run: one line at the bottom of the terminal, if standard error is a terminal.
#ifndef TAVIK_TOOL_IO_PROGRESS_H
#define TAVIK_TOOL_IO_PROGRESS_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "text/Terminal.h"

namespace tavik::tool {

/// Not thread-safe. Removes the line at the end.
class Progress {
 public:
  struct State {
    std::uint64_t devices = 0;
    std::uint64_t failed = 0;    ///< or what the progress counts instead
    std::uint64_t position = 0;  ///< in bytes of the input
  };

  /// `inputSize`: in bytes, absent if unknown. `counted`: what is said of the devices counted as failed.
  explicit Progress(std::optional<std::uint64_t> inputSize, std::string_view counted = "failed");
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  ~Progress() { clear(); }

  /// Shows the state, unless it was updated a moment ago.
  void show(const State& state);
  /// Removes the line if standard output would overwrite it.
  void makeWay();

 private:
  using Clock = std::chrono::steady_clock;

  void clear();
  [[nodiscard]] std::string text(const State& state, Clock::time_point now) const;

  std::optional<std::uint64_t> inputSize_;
  std::string_view counted_;
  Screen screen_;
  bool sharesScreen_;  // both streams go to the same terminal
  Clock::time_point start_ = Clock::now();
  Clock::time_point next_ = start_;
  bool shown_ = false;
};

}  // namespace tavik::tool

#endif
