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

Dictionary documentsObject(const RulesDifference& difference) {
  Dictionary documents;
  for (const auto& [name, document] : difference.documents) documents.set(name, document.dictionary());
  return documents;
}

Dictionary countsObject(const DeviceChanges& devices) {
  constexpr std::string_view kKeys[] = {"no_longer_pass", "now_pass", "other_reason", "texts"};
  Dictionary counts;
  for (std::size_t i = 0; i < kResultChanges; ++i) {
    counts.set(kKeys[i], Value(static_cast<std::int64_t>(devices.count(static_cast<ResultChange>(i)))));
  }
  return counts;
}

}  // namespace

void appendDeviceJson(std::string& out, const DeviceChange& change) {
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

void writeDifferenceJson(const RulesDifference& difference, BufferedOutput& output) {
  output.append("{\"versions\": " + toJson(difference.versions) + ", \"changes\": [");
  const char* separator = "";
  for (const ChangeGroup& group : difference.rules.groups()) {
    Array changes;
    for (const RuleChange& change : group.changes) changes.append(change.value());
    const Value devices = difference.rules.kinds().value(group.devices.members());
    output.append(separator + toJson(Dictionary{{"devices", devices}, {"changes", std::move(changes)}}));
    separator = ", ";
  }
  output.append("]");
  if (difference.devices) {
    output.append(", \"checked\": " + std::to_string(difference.devices->devices()));
    output.append(", \"devices\": [" + difference.devices->rendered() + "]");
    output.append(", \"counts\": " + toJson(countsObject(*difference.devices)));
  }
  Array warnings;
  for (const std::string& warning : difference.warnings) warnings.append(warning);
  output.append(", \"documents\": " + toJson(documentsObject(difference)) + ", \"warnings\": " + toJson(warnings));
  output.append("}\n");
  output.flush();
}

}  // namespace tavik::tool
