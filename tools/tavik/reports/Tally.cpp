#include "reports/Tally.h"

#include <fmt/format.h>

#include <algorithm>

#include "text/Text.h"

namespace tavik::tool {
namespace {

constexpr std::size_t kMostRules = 10;

std::string counted(std::uint64_t count, std::string_view one, std::string_view many) {
  return fmt::format("{} {}", count, count == 1 ? one : many);
}

}  // namespace

void Tally::add(const DeviceResult& result) {
  ++devices_;
  if (result.passed()) return;
  ++failed_;
  addFailure(result);
}

void Tally::addFailure(const DeviceResult& result) {
  if (result.status == ExitStatus::kUnusable) ++inputErrors_;
  if (result.status == ExitStatus::kFault) ++faults_;
  if (result.status == ExitStatus::kNoVerdict) ++noVerdicts_;
  if (result.outcome.rule) addRule(*result.outcome.rule, 1);
  if (result.status != ExitStatus::kFailed) return;
  for (const Value& record : *result.outcome.records) {
    if (!passed(record)) addRule(record.ifDictionary()->findString("rule").value_or(""), 1);
  }
}

void Tally::addRule(std::string_view name, std::uint64_t count) {
  const auto place = failuresByRule_.find(name);
  if (place == failuresByRule_.end()) {
    failuresByRule_.emplace(name, count);
  } else {
    place->second += count;
  }
}

void Tally::add(const Tally& other) {
  devices_ += other.devices_;
  failed_ += other.failed_;
  inputErrors_ += other.inputErrors_;
  faults_ += other.faults_;
  noVerdicts_ += other.noVerdicts_;
  for (const auto& [rule, count] : other.failuresByRule_) addRule(rule, count);
}

std::string Tally::summary() const {
  std::string text =
      fmt::format("{}: {} passed, {} failed", counted(devices_, "device", "devices"), devices_ - failed_, failed_);
  if (inputErrors_ != 0) text += ", " + counted(inputErrors_, "input error", "input errors");
  if (faults_ != 0) text += ", " + counted(faults_, "fault", "faults");
  if (noVerdicts_ != 0) text += fmt::format(", {} without a verdict", noVerdicts_);
  return text + "\n" + rulesThatFailedMost();
}

std::vector<Tally::RuleCount> Tally::rulesThatFailed() const {
  std::vector<RuleCount> rows(failuresByRule_.begin(), failuresByRule_.end());
  std::ranges::stable_sort(rows, std::ranges::greater(), &RuleCount::second);
  return rows;
}

std::string Tally::rulesThatFailedMost() const {
  std::vector<RuleCount> rows = rulesThatFailed();
  rows.resize(std::min(rows.size(), kMostRules));
  std::string text = rows.empty() ? "" : "rules that failed most:\n";
  for (const auto& [rule, count] : rows) text += fmt::format("{:>8}  {}\n", count, visible(rule));
  return text;
}

}  // namespace tavik::tool
