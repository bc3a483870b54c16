#include "diff/DeviceChanges.h"

#include <span>
#include <string_view>
#include <unordered_map>

namespace tavik::tool {
namespace {

DeviceVerdict verdictOf(const CheckOutcome& outcome) {
  const ExitStatus status = statusOf(outcome);
  const bool hasVerdict = status == ExitStatus::kPassed || status == ExitStatus::kFailed;
  return {status, hasVerdict ? "" : whyNoVerdict(outcome), outcome.station};
}

/// The records of rules; none without a verdict.
std::span<const Value> ruleRecords(const CheckOutcome& outcome, const DeviceVerdict& verdict) {
  if (!verdict.why.empty() || !outcome.records) return {};
  return std::span(outcome.records->begin(), outcome.records->end()).subspan(kVersionRecords);
}

std::string_view ruleOf(const Value& record) { return record.ifDictionary()->findString("rule").value_or(""); }

std::vector<RecordChange> recordChanges(std::span<const Value> before, std::span<const Value> after) {
  std::unordered_map<std::string_view, const Value*> remaining;
  for (const Value& record : before) remaining.emplace(ruleOf(record), &record);
  std::vector<RecordChange> changes;
  for (const Value& record : after) {
    const auto old = remaining.find(ruleOf(record));
    if (old == remaining.end()) {
      changes.push_back({std::string(ruleOf(record)), std::nullopt, record});
      continue;
    }
    if (*old->second != record) changes.push_back({std::string(ruleOf(record)), *old->second, record});
    remaining.erase(old);
  }
  for (const Value& record : before) {
    if (remaining.contains(ruleOf(record))) changes.push_back({std::string(ruleOf(record)), record, std::nullopt});
  }
  return changes;
}

void count(RecordTally& tally, const RecordChange& change) {
  if (!change.before || !change.after || passed(*change.before) == passed(*change.after)) {
    ++tally.others;
  } else {
    ++(passed(*change.after) ? tally.nowPasses : tally.nowFails);
  }
}

}  // namespace

void DeviceChanges::check(const Value& id, const Dictionary& attributes, const Dictionary& sources) {
  compare(id, runCheck(*before_, attributes, sources), runCheck(*after_, attributes, sources));
}

void DeviceChanges::compare(const Value& id, const CheckOutcome& before, const CheckOutcome& after) {
  ++devices_;
  DeviceChange change{.id = id, .before = verdictOf(before), .after = verdictOf(after), .records = {}};
  change.records = recordChanges(ruleRecords(before, change.before), ruleRecords(after, change.after));
  if (change.records.empty() && change.before == change.after) return;
  ++changed_;
  for (const RecordChange& record : change.records) count(rules_[record.rule], record);
  render_(rendered_, change);
}

}  // namespace tavik::tool
