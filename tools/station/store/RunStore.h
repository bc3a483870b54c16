/// @file
/// Stores runs: one thread writes all that wait in one transaction, so that one wait for the disk serves many runs.
#ifndef TAVIK_STATION_STORE_RUN_STORE_H
#define TAVIK_STATION_STORE_RUN_STORE_H

#include <condition_variable>
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

class RunStore {
 public:
  /// Called by the thread that writes when the run has its number and is on disk. failure: why it could not be stored;
  /// null if it was.
  using Done = std::function<void(const Run& run, const StoreError* failure)>;

  /// Opens or creates the database. Throws `StoreError`.
  RunStore(const std::string& path, Retention retention);
  RunStore(const RunStore&) = delete;
  RunStore& operator=(const RunStore&) = delete;
  /// Stores the waiting runs.
  ~RunStore();

  /// Stores a run. Throws `StoreError` if too many runs wait. Thread-safe.
  void store(Run run, Done done);

 private:
  struct Waiting {
    Run run;
    Done done;
  };

  void work();
  std::optional<StoreError> storeTogether(std::vector<Waiting>& group);
  std::int64_t insert(const Run& run);
  std::int64_t numberOf(const std::shared_ptr<const DocumentSet>& documents);
  bool retain();
  bool mustDelete();

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
  std::vector<Waiting> waiting_;
  std::size_t bytes_ = 0;  // of the runs that wait or are being written
  bool ends_ = false;
  std::thread writer_;
};

}  // namespace tavik::station

#endif
