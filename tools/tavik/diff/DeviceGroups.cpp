#include "diff/DeviceGroups.h"

#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <string_view>

#include "check/Outcome.h"
#include "diff/ChangeText.h"
#include "io/Json.h"
#include "text/Terminal.h"
#include "text/Text.h"

namespace tavik::tool {
namespace {

constexpr std::size_t kWidestName = 60;

std::string_view stateOf(const std::optional<Value>& record) {
  if (!record) return "-";
  return passed(*record) ? "pass" : "FAIL";
}

std::string verdictsOf(const DeviceChange& change) {
  const std::string before = verdictText(change.before);
  const std::string after = verdictText(change.after);
  return before == after ? after : before + " -> " + after;
}

bool sendsOther(const DeviceChange& change) { return change.before.station != change.after.station; }

/// What the devices of a group have in common.
std::string keyOf(const DeviceChange& change) {
  std::string key = verdictsOf(change) + (sendsOther(change) ? "*" : "");
  for (const RecordChange& record : change.records) {
    key.append(1, '\0').append(record.rule).append(1, '\0');
    key.append(stateOf(record.before)).append(stateOf(record.after));
  }
  return key;
}

std::vector<DeviceGroup::Record> recordsOf(const DeviceChange& change, std::size_t limit) {
  std::vector<DeviceGroup::Record> records;
  for (const RecordChange& record : change.records) {
    if (records.size() == limit) break;
    records.push_back({visible(record.rule), recordText(record.before), recordText(record.after)});
  }
  if (sendsOther(change)) {
    records.push_back(
        {"to the station", visible(toJson(change.before.station)), visible(toJson(change.after.station))});
  }
  return records;
}

bool sameRecords(const std::vector<DeviceGroup::Record>& some, const std::vector<DeviceGroup::Record>& others) {
  return std::ranges::equal(some, others, [](const DeviceGroup::Record& one, const DeviceGroup::Record& other) {
    return one.before == other.before && one.after == other.after;
  });
}

}  // namespace

ResultChange DeviceChange::category() const {
  const bool passedBefore = before.verdict == Verdict::kPassed;
  const bool passesAfter = after.verdict == Verdict::kPassed;
  if (passedBefore != passesAfter) return passesAfter ? ResultChange::kNowPasses : ResultChange::kNoLongerPasses;
  const auto why = [](const CheckOutcome& outcome) { return outcome.reason ? outcome.reason->text() : ""; };
  const bool same = statusOf(before) == statusOf(after) && why(before) == why(after);
  return same ? ResultChange::kTexts : ResultChange::kOtherReason;
}

std::string countText(ResultChange category, std::size_t count, bool noun) {
  constexpr std::string_view kOfOne[] = {"no longer passes", "now passes", "does not pass for a different reason",
                                         "has different texts"};
  constexpr std::string_view kOfMany[] = {"no longer pass", "now pass", "do not pass for a different reason",
                                          "have different texts"};
  const auto place = static_cast<std::size_t>(category);
  return fmt::format("{} {}", noun ? counted(count, "device") : std::to_string(count),
                     (count == 1 ? kOfOne : kOfMany)[place]);
}

std::string DeviceGroup::title() const { return countText(category, devices, true) + ": " + verdicts; }

std::string DeviceGroup::devicesText() const {
  const std::string text = fmt::format("{}", fmt::join(names, ", "));
  return devices == names.size() ? text : fmt::format("{} and {} more", text, devices - names.size());
}

void DeviceGroups::add(const DeviceChange& change) {
  const ResultChange category = change.category();
  std::vector<DeviceGroup>& groups = groups_[static_cast<std::size_t>(category)];
  auto& places = places_[static_cast<std::size_t>(category)];
  const std::string key = keyOf(change);
  auto place = places.find(key);
  if (place == places.end()) {
    if (groups.size() == limit_) {
      ++leftOut_;
      return;
    }
    place = places.emplace(key, groups.size()).first;
    const std::size_t leftOut = change.records.size() - std::min(change.records.size(), limit_);
    groups.push_back({category, verdictsOf(change), recordsOf(change, limit_), leftOut});
  }
  DeviceGroup& group = groups[place->second];
  ++group.devices;
  group.sameTexts = group.sameTexts && sameRecords(group.records, recordsOf(change, limit_));
  if (group.names.size() < limit_) group.names.push_back(shortened(lineOf(&change.id), kWidestName));
}

std::vector<DeviceGroup> DeviceGroups::all() const {
  std::vector<DeviceGroup> all;
  for (std::vector<DeviceGroup> groups : groups_) {
    std::ranges::stable_sort(groups, std::ranges::greater(), &DeviceGroup::devices);
    std::ranges::move(groups, std::back_inserter(all));
  }
  return all;
}

}  // namespace tavik::tool
