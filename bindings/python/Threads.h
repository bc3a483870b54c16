/// @file
/// Work for many devices on several threads.
#ifndef TAVIK_PYTHON_THREADS_H
#define TAVIK_PYTHON_THREADS_H

#include <chrono>
#include <cstddef>
#include <functional>

namespace tavik::python {

/// Limits how often a loop does something slow.
class Interval {
 public:
  using Clock = std::chrono::steady_clock;

  explicit Interval(Clock::duration length) : length_(length) {}

  /// Whether it is over; if so, the next one begins.
  bool isOver() {
    const auto now = Clock::now();
    if (now - began_ < length_) return false;
    began_ = now;
    return true;
  }

 private:
  Clock::duration length_;
  Clock::time_point began_ = Clock::now();
};

/// Calls `work` with each index below `count`, on several threads. Call it without the interpreter lock. It takes the
/// lock regularly to check for signals (Ctrl-C). If Python's signal handler or `work` raises an exception, all threads
/// end and the exception is raised here.
void onThreads(std::size_t count, std::size_t threads, const std::function<void(std::size_t)>& work);

}  // namespace tavik::python

#endif
