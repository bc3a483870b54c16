// A difference as JSON.

#include <string_view>

#include "diff/DiffReport.h"
#include "io/Json.h"

namespace tavik::tool {
namespace {

std::string_view verdictName(const CheckOutcome& outcome) {
  if (outcome.reason) return outcome.fault ? "fault" : "no verdict";
  return outcome.verdict == Verdict::kPassed ? "passed" : "failed";
}

Dictionary verdictObject(const CheckOutcome& outcome) {
  Dictionary object{{"verdict", verdictName(outcome)}, {"station", outcome.station}};
  if (outcome.reason) object.set("reason", outcome.reason->text());
  return object;
}

void appendDevice(std::string& out, const DeviceChange& change) {
  Array rules;
  for (const RecordChange& record : change.records) {
    Dictionary object{{"rule", record.rule}};
    if (record.before) object.set("old", *record.before);
    if (record.after) object.set("new", *record.after);
    rules.append(std::move(object));
  }
  if (!out.empty()) out += ", ";
  appendJson(out, Dictionary{{"id", change.id},
                             {"old", verdictObject(change.before)},
                             {"new", verdictObject(change.after)},
                             {"rules", std::move(rules)}});
}

}  // namespace

DeviceChanges::Render jsonRenderer() { return appendDevice; }

std::string differenceJson(const RulesDifference& difference) {
  Array groups;
  for (const ChangeGroup& group : difference.rules.groups()) {
    Array changes;
    for (const RuleChange& change : group.changes) changes.append(change.value());
    groups.append(Dictionary{{"devices", difference.rules.kinds().value(group.devices.members())},
                             {"changes", std::move(changes)}});
  }
  std::string text = "{\"versions\": " + toJson(difference.versions) + ", \"changes\": " + toJson(groups);
  if (difference.devices) {
    text += ", \"checked\": " + std::to_string(difference.devices->devices());
    text += ", \"devices\": [" + difference.devices->rendered() + "]";
  }
  return text + "}\n";
}

}  // namespace tavik::tool
