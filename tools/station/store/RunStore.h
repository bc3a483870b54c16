/// @file
/// Stores runs: one thread writes all that wait in one transaction, so that one wait for the disk serves many runs.
#ifndef TAVIK_STATION_STORE_RUN_STORE_H
#define TAVIK_STATION_STORE_RUN_STORE_H

#include <condition_variable>
#include <cstdint>
#include <exception>
#include <future>
#include <mutex>
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

class RunStore {
 public:
  /// Opens or creates the database. Throws `StoreError`.
  RunStore(const std::string& path, Retention retention);
  RunStore(const RunStore&) = delete;
  RunStore& operator=(const RunStore&) = delete;
  /// Stores the waiting runs.
  ~RunStore();

  /// Returns the number of the run when the run is on disk. Throws `StoreError` if it cannot be stored. Thread-safe.
  std::int64_t store(const Run& run);

 private:
  struct Waiting {
    const Run* run;
    std::promise<std::int64_t> number;
  };

  void work();
  void storeTogether(std::vector<Waiting>& group);
  std::int64_t insert(const Run& run);
  std::int64_t numberOf(const DocumentSet& documents);
  bool retain();
  bool mustDelete();

  Retention retention_;
  Database database_;
  Statement findDocuments_;
  Statement insertDocuments_;
  Statement insertRun_;
  Statement insertRule_;
  Statement insertFailure_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Waiting> waiting_;
  bool ends_ = false;
  std::thread writer_;
};

}  // namespace tavik::station

#endif
