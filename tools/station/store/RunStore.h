/// @file
/// Stores runs in two steps, each with a thread of its own: one writes all runs that wait in one transaction, the other
/// waits for the disk, once for all transactions written meanwhile. So a slow disk delays answers, but not the writing.
#ifndef TAVIK_STATION_STORE_RUN_STORE_H
#define TAVIK_STATION_STORE_RUN_STORE_H

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "io/FileDescriptor.h"
#include "store/Database.h"
#include "store/Run.h"

namespace tavik::station {

/// When the oldest runs are deleted.
struct Retention {
  std::int64_t days = 400;
  std::int64_t bytes = std::int64_t{10} << 30;  ///< of the database file
};

/// Called once, when a run has its number and is on disk; must not throw. failure: why it could not be stored; null if
/// it was.
using RunStored = std::function<void(const Run& run, const StoreError* failure)>;

/// Runs on the way to a thread, which takes all of them together.
class RunQueue {
 public:
  struct Entry {
    Run run;
    RunStored done;
  };
  using Clock = std::chrono::steady_clock;

  void add(std::vector<Entry> entries);
  /// Waits for runs; there are none if the time has come or the queue has ended.
  std::vector<Entry> take(Clock::time_point latest);
  /// No more runs are added.
  void end();
  /// Whether the queue has ended and all runs were taken.
  [[nodiscard]] bool isFinished();

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Entry> entries_;
  bool ends_ = false;
};

class RunStore {
 public:
  /// Opens or creates the database. Throws `StoreError`.
  RunStore(const std::string& path, Retention retention);
  RunStore(const RunStore&) = delete;
  RunStore& operator=(const RunStore&) = delete;
  /// Stores the waiting runs.
  ~RunStore();

  /// Stores a run; `done` is called by another thread or, if too many runs wait, at once. Thread-safe.
  void store(Run run, RunStored done);

 private:
  using Entries = std::vector<RunQueue::Entry>;

  void write();
  void confirm();
  void finish(const Entries& entries, const std::optional<StoreError>& failure);
  std::optional<StoreError> insert(Entries& entries);
  std::int64_t insert(const Run& run);
  std::int64_t numberOf(const std::shared_ptr<const DocumentSet>& documents);
  bool isTooLarge();
  std::int64_t lastBefore(Milliseconds end);
  bool retain();

  Retention retention_;
  Database database_;
  tool::FileDescriptor log_;  // the write-ahead log of the database
  Statement begin_;
  Statement commit_;
  Statement findDocuments_;
  Statement insertDocuments_;
  Statement insertRun_;
  Statement insertRule_;
  Statement insertFailure_;
  std::shared_ptr<const DocumentSet> documents_;  // that were looked up last
  std::int64_t documentsNumber_ = 0;
  RunQueue waiting_;
  RunQueue written_;
  std::atomic<std::size_t> bytes_ = 0;  // of the runs in both
  std::thread writer_;
  std::thread confirmer_;
};

}  // namespace tavik::station

#endif
