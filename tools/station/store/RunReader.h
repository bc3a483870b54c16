/// @file
/// Reads stored runs. Every function throws `StoreError`.
#ifndef TAVIK_STATION_STORE_RUN_READER_H
#define TAVIK_STATION_STORE_RUN_READER_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "store/Compression.h"
#include "store/Database.h"
#include "store/Run.h"

namespace tavik::station {

/// How often a rule failed for the devices of a part number.
struct RuleFailures {
  std::string rule;
  std::string partNumber;
  std::int64_t runs;
};

/// The verdicts of one hour for the devices of a part number.
struct HourCount {
  Milliseconds hour;  ///< when it began
  std::string partNumber;
  std::string verdict;
  std::int64_t runs;
};

/// For one thread at a time.
class RunReader {
 public:
  explicit RunReader(const std::string& path) : database_(path, Database::Use::kReading) {}

  std::int64_t count(const RunFilter& filter);
  /// The newest runs first, at most `limit`, and only those before a number if it is given.
  std::vector<RunSummary> list(const RunFilter& filter, std::optional<std::int64_t> before, std::size_t limit);
  /// Absent if the run does not exist.
  std::optional<Run> find(std::int64_t number);
  /// Every run, in the order of the numbers.
  void forEach(const std::function<void(const Run&)>& visit);

  /// Most failures first.
  std::vector<RuleFailures> failures(const RunFilter& period);
  std::vector<HourCount> hours(const RunFilter& period);

 private:
  std::vector<std::string> rulesOf(std::int64_t number);
  Run read(Statement& row);
  std::string restored(Statement& row, std::int64_t documents);

  Database database_;
  std::shared_ptr<const DocumentSet> documents_;  // of the run that was read last
  std::int64_t documentsNumber_ = 0;
  std::optional<Decompressor> decompressor_;  // used last
  std::int64_t decompressorNumber_ = 0;       // of its documents
};

/// Readers for any number of threads.
class RunReaders {
 public:
  explicit RunReaders(std::string path) : path_(std::move(path)) {}

  /// Calls `use` with a reader that no other thread uses.
  template <class Use>
  auto with(Use use) {
    std::unique_ptr<RunReader> reader = take();
    auto result = use(*reader);
    put(std::move(reader));  // not after a failure: a new connection may work again
    return result;
  }

 private:
  std::unique_ptr<RunReader> take();
  void put(std::unique_ptr<RunReader> reader);

  std::string path_;
  std::mutex mutex_;
  std::vector<std::unique_ptr<RunReader>> idle_;
};

}  // namespace tavik::station

#endif
