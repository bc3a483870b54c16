// A difference as JSON.

#include <fmt/format.h>

#include <algorithm>
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
    counts.set(kKeys[i], integer(devices.count(static_cast<ResultChange>(i))));
  }
  return counts;
}

/// The kinds of device of a group, at most `limit` of them.
void writeGroup(const RuleChanges& rules, const ChangeGroup& group, std::size_t limit, BufferedOutput& output) {
  std::vector<std::size_t> members = group.devices.members();
  const std::size_t leftOut = members.size() - std::min(members.size(), limit);
  members.resize(members.size() - leftOut);
  output.append("{\"devices\": " + toJson(rules.kinds().value(members)) + ", \"changes\": [");
  const char* separator = "";
  for (const ChangedRule& change : group.changes) {
    output.append(separator + toJson(change.change().value()));
    separator = ", ";
  }
  output.append(leftOut == 0 ? "]}" : fmt::format("], \"devices_left_out\": {}}}", leftOut));
}

/// If the lists of devices are much larger than the documents, each list is cut: 20,000 kinds of device with
/// exceptions of their own can make as many groups, each with nearly all of them.
std::size_t listLimit(const RuleChanges& rules) {
  constexpr std::size_t kMostListed = 1'000'000;
  std::size_t listed = 0;
  for (const ChangeGroup& group : rules.groups()) listed += group.devices.size();
  return listed <= kMostListed ? kMostListed : std::max<std::size_t>(kMostListed / rules.groups().size(), 1);
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
  const std::size_t limit = listLimit(difference.rules);
  for (const ChangeGroup& group : difference.rules.groups()) {
    output.append(separator);
    writeGroup(difference.rules, group, limit, output);
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
}

}  // namespace tavik::tool
