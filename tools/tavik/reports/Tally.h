/// @file
/// What a batch comes to: how many devices passed, and what the others failed on.
#ifndef TAVIK_TOOL_REPORTS_TALLY_H
#define TAVIK_TOOL_REPORTS_TALLY_H

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "check/DeviceResult.h"

namespace tavik::tool {

class Tally {
 public:
  void add(const DeviceResult& result);
  void add(const Tally& other);

  [[nodiscard]] std::uint64_t devices() const noexcept { return devices_; }
  [[nodiscard]] std::uint64_t failed() const noexcept { return failed_; }
  /// Of those that failed:
  [[nodiscard]] std::uint64_t inputErrors() const noexcept { return inputErrors_; }
  [[nodiscard]] std::uint64_t faults() const noexcept { return faults_; }
  [[nodiscard]] std::uint64_t noVerdicts() const noexcept { return noVerdicts_; }

  using RuleCount = std::pair<std::string_view, std::uint64_t>;
  /// The rules that failed with the number of devices, most first, by name where these are equal.
  [[nodiscard]] std::vector<RuleCount> rulesThatFailed() const;

  /// Counts, and the rules that failed most; the same devices give the same text.
  [[nodiscard]] std::string summary() const;

 private:
  void addFailure(const DeviceResult& result);
  void addRule(std::string_view name, std::uint64_t count);
  [[nodiscard]] std::string rulesThatFailedMost() const;

  std::uint64_t devices_ = 0;
  std::uint64_t failed_ = 0;
  // Of those that failed:
  std::uint64_t inputErrors_ = 0;
  std::uint64_t faults_ = 0;
  std::uint64_t noVerdicts_ = 0;
  std::map<std::string, std::uint64_t, std::less<>> failuresByRule_;
};

}  // namespace tavik::tool

#endif
