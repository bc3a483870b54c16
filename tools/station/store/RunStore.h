/// @file
/// Stores runs in a thread of its own: all that wait in one transaction, so that they wait for the disk once.
#ifndef TAVIK_STATION_STORE_RUN_STORE_H
#define TAVIK_STATION_STORE_RUN_STORE_H

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
  struct Entry {
    Run run;
    RunStored done;
  };
  using Entries = std::vector<Entry>;
  using Clock = std::chrono::steady_clock;

  void write();
  void provideSample(const Run& run);
  std::optional<StoreError> insert(Entries& entries);
  std::int64_t insert(const Run& run);
  std::int64_t numberOf(const std::shared_ptr<const DocumentSet>& documents);
  bool isTooLarge();
  std::int64_t lastBefore(Milliseconds end);
  bool retain();

  Retention retention_;
  Database database_;
  Statement begin_;
  Statement commit_;
  Statement findDocuments_;
  Statement insertDocuments_;
  Statement insertRun_;
  Statement insertRule_;
  Statement insertFailure_;
  std::shared_ptr<const DocumentSet> documents_;  // that were looked up last
  std::int64_t documentsNumber_ = 0;
  std::mutex mutex_;
  std::condition_variable changed_;
  Entries waiting_;
  std::size_t bytes_ = 0;  // of the runs that wait or are being stored
  bool ends_ = false;
  std::thread writer_;
};

}  // namespace tavik::station

#endif
