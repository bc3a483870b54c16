#include "Tally.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "Text.h"

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
  if (result.inputError) {
    ++inputErrors_;
    return;
  }
  const ExitStatus status = statusOf(result.outcome);
  if (status == ExitStatus::kFault) ++faults_;
  if (status == ExitStatus::kNoVerdict) ++noVerdicts_;
  if (result.outcome.rule) addRule(*result.outcome.rule, 1);
  if (!result.outcome.records) return;
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
  std::string kinds;
  const auto append = [&](std::uint64_t count, const std::string& part) {
    if (count != 0) kinds += (kinds.empty() ? " (" : ", ") + part;
  };
  append(inputErrors_, counted(inputErrors_, "input error", "input errors"));
  append(faults_, counted(faults_, "fault", "faults"));
  append(noVerdicts_, fmt::format("{} without a verdict", noVerdicts_));
  text += kinds + (kinds.empty() ? "\n" : ")\n");
  return text + rulesText();
}

}  // namespace tavik::tool
