#include "reports/Tally.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <utility>

#include "io/Json.h"
#include "text/Terminal.h"
#include "text/Text.h"

namespace tavik::tool {
namespace {

constexpr std::size_t kMostRules = 10;

std::string partNumberOf(const DeviceResult& result) {
  if (!result.inputError.empty()) return "(unreadable line)";
  const Value* const part = result.attributes.find("ModelNumber");
  return part == nullptr ? "(no part number)" : shortened(lineOf(part), 60);
}

Dictionary entriesOf(const Tally& tally) {
  Array rules;
  for (const auto& [rule, count] : tally.rulesThatFailed()) {
    rules.append(Dictionary{{"rule", rule}, {"devices", integer(count)}});
  }
  return {{"devices", integer(tally.devices())},
          {"passed", integer(tally.devices() - tally.failed())},
          {"failed", integer(tally.failed())},
          {"input_errors", integer(tally.inputErrors())},
          {"faults", integer(tally.faults())},
          {"no_verdict", integer(tally.noVerdicts())},
          {"rules", rules}};
}

Dictionary entriesOf(std::string_view partNumber, const Tally& tally) {
  Dictionary entries = {{"part_number", partNumber}};
  for (const auto [key, value] : entriesOf(tally)) entries.set(key, value);
  return entries;
}

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
  if (result.notes) {
    for (const auto& [source, rules] : result.notes->missingSources()) ++missingSources_[source];
  }
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
  for (const auto& [source, count] : other.missingSources_) missingSources_[source] += count;
}

std::string Tally::summary() const {
  std::string text = fmt::format("{}: {} passed, {} failed", counted(devices_, "device"), devices_ - failed_, failed_);
  if (inputErrors_ != 0) text += ", " + counted(inputErrors_, "input error");
  if (faults_ != 0) text += ", " + counted(faults_, "fault");
  if (noVerdicts_ != 0) text += fmt::format(", {} without a verdict", noVerdicts_);
  return text + "\n" + rulesThatFailedMost() + missingSources();
}

std::string Tally::missingSources() const {
  std::string text;
  for (const auto& [name, count] : missingSources_) {
    text += fmt::format("source \"{}\" was not given for {} whose rules need it\n", visible(name),
                        counted(count, "device"));
  }
  return text;
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

void TallyByPartNumber::add(const DeviceResult& result) {
  std::string name = partNumberOf(result);
  if (end_ && name >= *end_) return others_.add(result);
  const auto [place, isNew] = parts_.try_emplace(std::move(name));
  counters_ -= place->second.numberOfRules();
  place->second.add(result);
  counters_ += place->second.numberOfRules() + (isNew ? 1 : 0);
  while (counters_ > kMostCounters) {
    const auto last = std::prev(parts_.end());
    counters_ -= last->second.numberOfRules() + 1;
    others_.add(last->second);
    end_ = last->first;
    parts_.erase(last);
  }
}

std::string summaryJson(const Tally& all, const TallyByPartNumber& byPartNumber) {
  Array parts;
  for (const auto& [name, tally] : byPartNumber.parts()) parts.append(entriesOf(name, tally));
  if (byPartNumber.others().devices() != 0) parts.append(entriesOf("(others)", byPartNumber.others()));
  Dictionary summary = entriesOf(all);
  summary.set("part_numbers", parts);
  return toJson(Value(summary)) + "\n";
}

}  // namespace tavik::tool
