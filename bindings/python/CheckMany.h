/// @file
/// Checks many devices on several threads.
#ifndef TAVIK_PYTHON_CHECK_MANY_H
#define TAVIK_PYTHON_CHECK_MANY_H

#include <tavik/CheckOutcome.h>
#include <tavik/PreparedRules.h>

#include <chrono>
#include <optional>
#include <vector>

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

struct Device {
  Dictionary attributes;
  std::optional<Dictionary> sources;
};

/// Returns one outcome per device, in their order. Call it without the interpreter lock. It takes the lock regularly to
/// check for signals (Ctrl-C). If Python's signal handler or a platform raises an exception, all threads end and the
/// exception is raised here.
std::vector<CheckOutcome> checkMany(const PreparedRules& rules, const std::vector<Device>& devices,
                                    std::size_t threads);

}  // namespace tavik::python

#endif
