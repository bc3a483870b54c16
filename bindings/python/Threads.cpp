#include "Threads.h"

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
  Run(std::size_t count, const std::function<void(std::size_t)>& work) : count_(count), work_(work) {}

  void with(std::size_t threads) &&;

 private:
  // Works on the next index; returns false if there is none.
  bool workOnNext();
  // Works until no index is left; calls `watch` after each. An exception ends the whole run.
  template <class Watch>
  void workOnAll(Watch watch) noexcept;
  void workAndWatchSignals();
  static void raiseOnSignal() {
    const Locked lock;
    if (PyErr_CheckSignals() != 0) throw py::error_already_set();
  }

  std::size_t count_;
  const std::function<void(std::size_t)>& work_;
  std::atomic<std::size_t> next_ = 0;
  std::mutex endsMutex_;
  std::vector<std::exception_ptr> ends_;  // Python's exceptions must be freed with the interpreter lock held
};

void Run::with(std::size_t threads) && {
  const std::size_t used = std::clamp<std::size_t>(count_, 1, threads);
  ends_.reserve(used);  // adding an exception must not fail if memory is exhausted
  {
    std::vector<std::jthread> others;
    try {
      for (std::size_t i = 1; i < used; ++i) {
        others.emplace_back([this] { workOnAll([] {}); });
      }
    } catch (const std::system_error&) {
      // No more threads can be created; the existing ones do all the work.
    }
    workAndWatchSignals();
  }
  if (ends_.empty()) return;
  const Locked lock;
  const std::exception_ptr first = ends_.front();
  ends_.clear();
  std::rethrow_exception(first);
}

bool Run::workOnNext() {
  const std::size_t index = next_.fetch_add(1, std::memory_order_relaxed);
  if (index >= count_) return false;
  work_(index);
  return true;
}

template <class Watch>
void Run::workOnAll(Watch watch) noexcept {
  try {
    while (workOnNext()) watch();
  } catch (...) {
    next_.store(count_, std::memory_order_relaxed);
    const std::lock_guard guard(endsMutex_);
    ends_.push_back(std::current_exception());
  }
}

void Run::workAndWatchSignals() {
  workOnAll([interval = Interval(std::chrono::milliseconds(50))]() mutable {
    if (interval.isOver()) raiseOnSignal();
  });
}

}  // namespace

void onThreads(std::size_t count, std::size_t threads, const std::function<void(std::size_t)>& work) {
  Run(count, work).with(threads);
}

}  // namespace tavik::python
