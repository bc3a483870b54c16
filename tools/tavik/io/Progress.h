/// @file
/// How far a long run has come: one line at the bottom of the terminal that standard error is, if it is one.
#ifndef TAVIK_TOOL_IO_PROGRESS_H
#define TAVIK_TOOL_IO_PROGRESS_H

#include <chrono>
#include <cstdint>
#include <optional>

#include "text/Terminal.h"

namespace tavik::tool {

/// For one thread at a time. Takes the line away at the end.
class Progress {
 public:
  struct State {
    std::uint64_t devices = 0;
    std::uint64_t failed = 0;
    std::uint64_t position = 0;  ///< in bytes of the input
  };

  /// `inputSize`: in bytes, absent when it is not known.
  explicit Progress(std::optional<std::uint64_t> inputSize);
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  ~Progress() { clear(); }

  /// Shows the state, unless another was shown a moment ago.
  void show(const State& state);
  /// Takes the line away where standard output would write over it.
  void makeWay();

 private:
  using Clock = std::chrono::steady_clock;

  void clear();
  [[nodiscard]] std::string text(const State& state, Clock::time_point now) const;

  std::optional<std::uint64_t> inputSize_;
  Screen screen_;
  bool sharesScreen_;  // with standard output
  Clock::time_point start_ = Clock::now();
  Clock::time_point next_ = start_;
  bool shown_ = false;
};

}  // namespace tavik::tool

#endif
