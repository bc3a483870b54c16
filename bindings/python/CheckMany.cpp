#include "CheckMany.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <system_error>
#include <thread>

namespace tavik::python {
namespace {

class Run {
 public:
  Run(const PreparedRules& rules, const std::vector<Device>& devices)
      : rules_(rules), devices_(devices), outcomes_(devices.size()) {}

  std::vector<Outcome> with(std::size_t threads) &&;

 private:
  // False when all devices are taken.
  bool checkNext();
  void work() {
    while (checkNext()) {
    }
  }
  void workAndWatchSignals();
  static void raiseOnSignal() {
    const py::gil_scoped_acquire lock;
    if (PyErr_CheckSignals() != 0) throw py::error_already_set();
  }

  const PreparedRules& rules_;
  const std::vector<Device>& devices_;
  std::vector<Outcome> outcomes_;
  std::atomic<std::size_t> next_ = 0;
};

std::vector<Outcome> Run::with(std::size_t threads) && {
  {
    std::vector<std::jthread> others;
    try {
      for (std::size_t i = 1; i < std::min(threads, devices_.size()); ++i) others.emplace_back(&Run::work, this);
    } catch (const std::system_error&) {
      // No more threads are to be had; those that are there come to the same results.
    }
    workAndWatchSignals();
  }
  return std::move(outcomes_);
}

bool Run::checkNext() {
  const std::size_t index = next_.fetch_add(1, std::memory_order_relaxed);
  if (index >= devices_.size()) return false;
  const Device& device = devices_[index];
  outcomes_[index] = outcomeOf({}, [&](Dictionary& station, std::optional<Error>& error) {
    return rules_.check(device.attributes, device.sources ? &*device.sources : nullptr, &station, error);
  });
  return true;
}

void Run::workAndWatchSignals() {
  using Clock = std::chrono::steady_clock;
  constexpr std::chrono::milliseconds kInterval(50);
  auto last = Clock::now();
  try {
    while (checkNext()) {
      if (Clock::now() - last < kInterval) continue;
      raiseOnSignal();
      last = Clock::now();
    }
  } catch (const py::error_already_set&) {
    next_.store(devices_.size(), std::memory_order_relaxed);
    throw;
  }
}

}  // namespace

std::vector<Outcome> checkMany(const PreparedRules& rules, const std::vector<Device>& devices, std::size_t threads) {
  return Run(rules, devices).with(threads);
}

}  // namespace tavik::python
