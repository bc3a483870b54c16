/// @file
/// Work for many devices on several threads.
#ifndef TAVIK_PYTHON_THREADS_H
#define TAVIK_PYTHON_THREADS_H

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "InterpreterLock.h"

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

/// Works on pieces in a window. Its owner, a thread that holds the interpreter lock, fills pieces and takes them back
/// in the same order. Other threads work on them meanwhile; the owner helps when the piece that it needs is not
/// finished.
///
/// `Piece` has items: `size()` and `clear()`. Pieces are reused. They must not contain Python objects, because a thread
/// may still work on a piece when the pipeline is destroyed: the destructor does not wait, so that it is safe wherever
/// Python calls it, even while another thread needs the lock or the interpreter shuts down.
template <class Piece>
class Pipeline {
 public:
  /// Works on the item with this index. Called on any thread, without the interpreter lock.
  using Work = std::function<void(Piece& piece, std::size_t index)>;

  static constexpr std::size_t kItemsPerThread = 64;  ///< in all pieces

  /// threads: including the owner.
  Pipeline(std::size_t threads, Work work) : shared_(std::make_shared<Shared>(threads, std::move(work))) {}
  Pipeline(const Pipeline&) = delete;
  Pipeline& operator=(const Pipeline&) = delete;
  ~Pipeline() {
    if (!isForked()) shared_->stop();
  }

  /// Whether this is a child process of the one with the threads.
  [[nodiscard]] bool isForked() const noexcept { return getpid() != process_; }

  /// The piece to fill next, empty; null if the window is full.
  Piece* room();
  /// The number of items for that piece. The first pieces are small, so that also a few items are shared by threads.
  [[nodiscard]] std::size_t wantedItems() const noexcept {
    return std::min(kMostItems, std::size_t{1} << std::min(added_ / shared_->threads, kMostItems));
  }
  /// Hands over the piece that was filled.
  void add();

  struct Finished {
    Piece& piece;
    std::size_t items;  ///< fewer than the size of the piece if an exception ended the work
  };
  /// Waits for the oldest piece, which must exist. Raises an exception of Python's signal handlers.
  Finished next();
  /// Returns the oldest piece. Raises the exception that ended the work on it; then no further piece will be finished.
  void release();
  [[nodiscard]] bool isEmpty() const noexcept { return added_ == released_; }

 private:
  static constexpr std::size_t kPiecesPerThread = 4;
  static constexpr std::size_t kCacheLine = 64;
  static constexpr std::size_t kMostItems = kItemsPerThread / kPiecesPerThread;

  /// An exception that may be Python's, which is destroyed with the interpreter lock.
  struct Failure {
    std::exception_ptr why;

    Failure() = default;
    Failure(const Failure&) = delete;
    Failure& operator=(const Failure&) = delete;
    ~Failure() {
      if (why == nullptr) return;
      const Locked lock;
      why = nullptr;
    }
  };

  struct alignas(kCacheLine) Slot {
    Piece piece;
    std::size_t done = 0;  // items
    bool isFinished = false;
    Failure failure;
  };

  /// What the threads share; exists until the last of them ends.
  struct Shared {
    Shared(std::size_t count, Work toDo)
        : threads(count), work(std::move(toDo)), slots(count == 1 ? 1 : kPiecesPerThread * count) {}

    Slot& slot(std::size_t number) { return slots[number % slots.size()]; }
    void stop();
    void workAlong() noexcept;
    void help(Slot& due);
    bool isWorkLeft() const { return claimed != added && !failed; }
    template <class Watch>
    void workOnNext(std::unique_lock<std::mutex>& lock, Watch&& watch);
    bool workOnItem(Slot& slot) noexcept;

    const std::size_t threads;
    const Work work;
    std::vector<Slot> slots;
    std::atomic<bool> stopped = false;
    std::mutex mutex;  // never held while a thread requests the interpreter lock
    std::condition_variable more;
    std::condition_variable finished;
    std::size_t added = 0;
    std::size_t claimed = 0;
    bool failed = false;
  };

  void startThread();

  std::shared_ptr<Shared> shared_;
  std::size_t started_ = 1;
  std::size_t added_ = 0;
  std::size_t released_ = 0;
  pid_t process_ = getpid();
};

template <class Piece>
Piece* Pipeline<Piece>::room() {
  if (added_ - released_ == shared_->slots.size()) return nullptr;
  Piece& piece = shared_->slot(added_).piece;
  piece.clear();
  return &piece;
}

template <class Piece>
void Pipeline<Piece>::add() {
  ++added_;
  {
    const std::lock_guard lock(shared_->mutex);
    Slot& slot = shared_->slot(shared_->added++);
    slot.done = 0;
    slot.isFinished = false;
  }
  if (started_ < std::min(shared_->threads, added_ - released_)) startThread();
  if (started_ > 1) shared_->more.notify_one();
}

template <class Piece>
void Pipeline<Piece>::startThread() {
  try {
    std::thread([shared = shared_] { shared->workAlong(); }).detach();
    ++started_;
  } catch (const std::system_error&) {
    // No more threads can be created; the existing ones do all the work.
  }
}

template <class Piece>
typename Pipeline<Piece>::Finished Pipeline<Piece>::next() {
  Slot& due = shared_->slot(released_);
  const auto isFinished = [&] {
    const std::lock_guard lock(shared_->mutex);
    return due.isFinished;
  };
  if (!isFinished()) {
    const Unlocked unlocked;
    shared_->help(due);
  }
  return {due.piece, due.done};
}

template <class Piece>
void Pipeline<Piece>::release() {
  const std::exception_ptr why = std::exchange(shared_->slot(released_++).failure.why, nullptr);
  if (why != nullptr) std::rethrow_exception(why);
}

template <class Piece>
void Pipeline<Piece>::Shared::stop() {
  const std::lock_guard lock(mutex);
  stopped = true;
  more.notify_all();
}

template <class Piece>
void Pipeline<Piece>::Shared::workAlong() noexcept {
  std::unique_lock lock(mutex);
  while (true) {
    more.wait(lock, [this] { return stopped || isWorkLeft(); });
    if (stopped) return;
    workOnNext(lock, [] {});
    finished.notify_one();
  }
}

/// Works until a piece is finished.
template <class Piece>
void Pipeline<Piece>::Shared::help(Slot& due) {
  constexpr auto kSignalInterval = std::chrono::milliseconds(50);
  auto watch = [interval = Interval(kSignalInterval)]() mutable {
    if (!interval.isOver()) return;
    const Locked locked;
    if (PyErr_CheckSignals() != 0) throw py::error_already_set();
  };
  std::unique_lock lock(mutex);
  while (!due.isFinished) {
    if (isWorkLeft()) {
      workOnNext(lock, watch);
    } else if (!finished.wait_for(lock, kSignalInterval, [&] { return due.isFinished; })) {
      lock.unlock();
      watch();
      lock.lock();
    }
  }
}

template <class Piece>
template <class Watch>
void Pipeline<Piece>::Shared::workOnNext(std::unique_lock<std::mutex>& lock, Watch&& watch) {
  Slot& slot = this->slot(claimed++);
  lock.unlock();
  while (workOnItem(slot)) watch();
  lock.lock();
  slot.isFinished = true;
  if (slot.failure.why != nullptr) failed = true;
}

/// Returns false at the end of the work on the piece.
template <class Piece>
bool Pipeline<Piece>::Shared::workOnItem(Slot& slot) noexcept {
  if (stopped || slot.done == slot.piece.size()) return false;
  try {
    work(slot.piece, slot.done);
    ++slot.done;
    return true;
  } catch (...) {
    slot.failure.why = std::current_exception();
    return false;
  }
}

}  // namespace tavik::python

#endif
