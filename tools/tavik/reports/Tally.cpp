#include "reports/Tally.h"

#include <fmt/format.h>

#include <algorithm>

#include "text/Text.h"

namespace tavik::tool {
namespace {

constexpr std::size_t kMostRules = 10;

}  // namespace

void Tally::add(const DeviceResult& result) {
  ++devices_;
  if (result.passed()) return;
  ++failed_;
  addFailure(result);
}

void Tally::addFailure(const DeviceResult& result) {
  const CheckOutcome& outcome = result.outcome;
  if (!result.inputError.empty()) ++inputErrors_;
  if (outcome.reason) ++(outcome.fault ? faults_ : noVerdicts_);
  if (outcome.reason && outcome.reason->rule) addRule(*outcome.reason->rule, 1);
  for (const Value& record : outcome.ruleRecords()) {
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
  std::string text = fmt::format("{}: {} passed, {} failed", counted(devices_, "device"), devices_ - failed_, failed_);
  if (inputErrors_ != 0) text += ", " + counted(inputErrors_, "input error");
  if (faults_ != 0) text += ", " + counted(faults_, "fault");
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
