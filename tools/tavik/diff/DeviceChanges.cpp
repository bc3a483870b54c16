#include "diff/DeviceChanges.h"

#include <span>
#include <string_view>
#include <unordered_map>

#include "check/Outcome.h"

namespace tavik::tool {
namespace {

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

std::string whyNoVerdict(const CheckOutcome& outcome) { return outcome.reason ? outcome.reason->text() : ""; }

}  // namespace

bool DeviceChange::sameVerdict() const {
  return statusOf(before) == statusOf(after) && whyNoVerdict(before) == whyNoVerdict(after);
}

void DeviceChanges::check(const Value& id, const Dictionary& attributes, const Dictionary& sources) {
  ++devices_;
  const CheckOutcome before = runCheck(*before_, attributes, sources);
  const CheckOutcome after = runCheck(*after_, attributes, sources);
  const DeviceChange change{id, before, after, recordChanges(before.ruleRecords(), after.ruleRecords())};
  if (change.records.empty() && change.sameVerdict() && before.station == after.station) return;
  ++changed_;
  for (const RecordChange& record : change.records) count(rules_[record.rule], record);
  render_(rendered_, change);
}

}  // namespace tavik::tool
