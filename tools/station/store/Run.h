/// @file
/// Check runs as they are stored.
#ifndef TAVIK_STATION_STORE_RUN_H
#define TAVIK_STATION_STORE_RUN_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Clock.h"
#include "store/Compression.h"

namespace tavik::station {

/// The documents of runs, stored once.
struct DocumentSet {
  std::string provenance;  ///< `Provenance::dictionary` as JSON; identifies the set
  std::string library;     ///< the content of the rule library, a binary property list
  std::string rules;       ///< that of the local rules
  /// Of the runs with these documents; `RunStore` sets the sample.
  std::shared_ptr<Compressor> compressor = std::make_shared<Compressor>();
};

/// What lists of runs show.
struct RunSummary {
  std::int64_t number = 0;  ///< assigned when the run is stored, never used twice; 0: not stored
  Milliseconds time = 0;
  std::int64_t microseconds = 0;  ///< that the check took
  std::string id = {};
  std::string partNumber = {};
  std::string verdict = {};
  std::vector<std::string> rules = {};  ///< that failed, or that ended the run

  /// As a JSON object.
  [[nodiscard]] std::string json() const;
  /// The number as JSON.
  [[nodiscard]] std::string numberJson() const { return number == 0 ? "null" : std::to_string(number); }
};

struct Run : RunSummary {
  std::string device;   ///< {"id", "attributes", "sources"} as JSON
  std::string outcome;  ///< `CheckOutcome::dictionary` as JSON; it may have "id" and null entries, as in the answer
  bool isCompressed = false;  ///< device and outcome, by the compressor of the documents
  std::shared_ptr<const DocumentSet> documents;
};

/// Selects runs; absent criteria select all.
struct RunFilter {
  std::optional<std::string> id = {};
  std::optional<std::string> partNumber = {};
  std::optional<std::string> verdict = {};
  std::optional<std::string> rule = {};
  std::optional<Milliseconds> from = {};
  std::optional<Milliseconds> to = {};  ///< exclusive
};

}  // namespace tavik::station

#endif
