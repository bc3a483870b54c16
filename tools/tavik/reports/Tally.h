/// @file
/// The totals of a batch: how many devices passed, and which rules the others failed.
#ifndef TAVIK_TOOL_REPORTS_TALLY_H
#define TAVIK_TOOL_REPORTS_TALLY_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "check/DeviceResult.h"

namespace tavik::tool {

/// Counts of devices and of the rules that they failed.
class Tally {
 public:
  void add(const DeviceResult& result);
  void add(const Tally& other);

  [[nodiscard]] std::uint64_t devices() const noexcept { return devices_; }
  [[nodiscard]] std::uint64_t failed() const noexcept { return failed_; }
  /// Of the devices that failed:
  [[nodiscard]] std::uint64_t inputErrors() const noexcept { return inputErrors_; }
  [[nodiscard]] std::uint64_t faults() const noexcept { return faults_; }
  [[nodiscard]] std::uint64_t noVerdicts() const noexcept { return noVerdicts_; }

  using RuleCount = std::pair<std::string_view, std::uint64_t>;
  /// The failed rules with the number of devices, most first, then by name.
  [[nodiscard]] std::vector<RuleCount> rulesThatFailed() const;
  [[nodiscard]] std::size_t numberOfRules() const noexcept { return failuresByRule_.size(); }

  /// Counts, and the rules that failed most; the same devices produce the same text.
  [[nodiscard]] std::string summary() const;

 private:
  void addFailure(const DeviceResult& result);
  void addRule(std::string_view name, std::uint64_t count);
  [[nodiscard]] std::string missingSources() const;
  [[nodiscard]] std::string rulesThatFailedMost() const;

  std::uint64_t devices_ = 0;
  std::uint64_t failed_ = 0;
  // Of the devices that failed:
  std::uint64_t inputErrors_ = 0;
  std::uint64_t faults_ = 0;
  std::uint64_t noVerdicts_ = 0;
  std::map<std::string, std::uint64_t, std::less<>> failuresByRule_;
  std::map<std::string, std::uint64_t> missingSources_;  // devices whose rules need the source
};

/// One tally per part number. Devices can have any part number, so only the first ones by name are kept separately, up
/// to 100,000 counters in total. Which ones does not depend on the order of the devices.
class TallyByPartNumber {
 public:
  void add(const DeviceResult& result);

  [[nodiscard]] const std::map<std::string, Tally>& parts() const noexcept { return parts_; }
  /// The tally of all other part numbers.
  [[nodiscard]] const Tally& others() const noexcept { return others_; }

 private:
  static constexpr std::size_t kMostCounters = 100000;

  std::map<std::string, Tally> parts_;
  Tally others_;
  std::size_t counters_ = 0;
  std::optional<std::string> end_;  // part numbers from this one on are not kept
};

/// The JSON of `tavik batch --summary`.
std::string summaryJson(const Tally& all, const TallyByPartNumber& byPartNumber);

}  // namespace tavik::tool

#endif
