#include "diff/DeviceChanges.h"

#include <fmt/format.h>

#include <optional>
#include <span>
#include <string_view>
#include <unordered_map>
#include <vector>

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

void addTo(RecordTally& tally, const RecordChange& change) {
  if (!change.before || !change.after || passed(*change.before) == passed(*change.after)) {
    ++tally.others;
  } else {
    ++(passed(*change.after) ? tally.nowPasses : tally.nowFails);
  }
}

}  // namespace

void DeviceChanges::check(const Value& id, const Dictionary& attributes, const Dictionary& sources) {
  ++devices_;
  const CheckOutcome before = runCheck(*before_, attributes, sources);
  const CheckOutcome after = runCheck(*after_, attributes, sources);
  const DeviceChange change{id, before, after, recordChanges(before.ruleRecords(), after.ruleRecords())};
  const ResultChange category = change.category();
  if (category == ResultChange::kTexts && change.records.empty() && before.station == after.station) return;
  ++changed_;
  ++counts_[static_cast<std::size_t>(category)];
  for (const RecordChange& record : change.records) addTo(rules_[record.rule], record);
  if (!render_) {
    groups_.add(change);
  } else if (limit_ == 0 || changed_ <= limit_) {
    render_(rendered_, change);
  }
}

std::string DeviceChanges::summary() const {
  std::string text =
      fmt::format("{} of {} {} a different result", changed_, devices_, devices_ == 1 ? "device has" : "devices have");
  const char* separator = ": ";
  for (std::size_t i = 0; i < counts_.size(); ++i) {
    if (counts_[i] == 0) continue;
    text += separator + countText(static_cast<ResultChange>(i), counts_[i], false);
    separator = ", ";
  }
  return text;
}

}  // namespace tavik::tool
