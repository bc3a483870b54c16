#include "CheckMany.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <system_error>
#include <thread>

#include "InterpreterLock.h"

namespace tavik::python {
namespace {

class Run {
 public:
  Run(const PreparedRules& rules, const std::vector<Device>& devices)
      : rules_(rules), devices_(devices), outcomes_(devices.size()) {}

  std::vector<CheckOutcome> with(std::size_t threads) &&;

 private:
  // Checks the next device; returns false if there is none.
  bool checkNext();
  // Checks devices until none is left; calls `watch` after each. An exception ends the whole run.
  template <class Watch>
  void work(Watch watch) noexcept;
  void workAndWatchSignals();
  static void raiseOnSignal() {
    const Locked lock;
    if (PyErr_CheckSignals() != 0) throw py::error_already_set();
  }

  const PreparedRules& rules_;
  const std::vector<Device>& devices_;
  std::vector<CheckOutcome> outcomes_;
  std::atomic<std::size_t> next_ = 0;
  std::mutex endsMutex_;
  std::vector<std::exception_ptr> ends_;  // Python's exceptions must be freed with the interpreter lock held
};

std::vector<CheckOutcome> Run::with(std::size_t threads) && {
  const std::size_t used = std::clamp<std::size_t>(devices_.size(), 1, threads);
  ends_.reserve(used);  // adding an exception must not fail if memory is exhausted
  {
    std::vector<std::jthread> others;
    try {
      for (std::size_t i = 1; i < used; ++i) {
        others.emplace_back([this] { work([] {}); });
      }
    } catch (const std::system_error&) {
      // No more threads can be created; the existing ones do all the work.
    }
    workAndWatchSignals();
  }
  if (ends_.empty()) return std::move(outcomes_);
  const Locked lock;
  const std::exception_ptr first = ends_.front();
  ends_.clear();
  std::rethrow_exception(first);
}

bool Run::checkNext() {
  const std::size_t index = next_.fetch_add(1, std::memory_order_relaxed);
  if (index >= devices_.size()) return false;
  const Device& device = devices_[index];
  outcomes_[index] = rules_.run(device.attributes, device.sources ? &*device.sources : nullptr);
  return true;
}

template <class Watch>
void Run::work(Watch watch) noexcept {
  try {
    while (checkNext()) watch();
  } catch (...) {
    next_.store(devices_.size(), std::memory_order_relaxed);
    const std::lock_guard guard(endsMutex_);
    ends_.push_back(std::current_exception());
  }
}

void Run::workAndWatchSignals() {
  work([interval = Interval(std::chrono::milliseconds(50))]() mutable {
    if (interval.isOver()) raiseOnSignal();
  });
}

}  // namespace

std::vector<CheckOutcome> checkMany(const PreparedRules& rules, const std::vector<Device>& devices,
                                    std::size_t threads) {
  return Run(rules, devices).with(threads);
}

}  // namespace tavik::python
