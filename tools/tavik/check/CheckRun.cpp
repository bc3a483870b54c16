#include "check/CheckRun.h"

#include <fmt/format.h>

#include <algorithm>

#include "io/Json.h"
#include "rules/HostPlatform.h"
#include "text/Text.h"

namespace tavik::tool {
namespace {

void run(const PreparedRules& rules, const Dictionary& attributes, const Dictionary& sources, CheckOutcome& outcome) {
  outcome.fault = faultOf([&] {
    outcome.records = rules.check(attributes, sources.empty() ? nullptr : &sources, &outcome.station, outcome.error);
  });
  if (outcome.fault) outcome.error.reset();
}

/// The record of a run whose device has no rules.
bool saysNoRules(const Value& record) {
  const Dictionary& entries = *record.ifDictionary();
  return entries.findString("rule") == "Device Rules" && entries.findString("actual") == "no rules specified" &&
         entries.findString("expected") == "valid rule lists";
}

/// Whether the run ended before its first rule: its last record then says why.
bool endedEarly(const CheckOutcome& outcome) {
  const Array& records = *outcome.records;
  return records.size() <= kVersionRecords ||
         (records.size() == kVersionRecords + 1 && (outcome.error || saysNoRules(records.at(kVersionRecords))));
}

/// One by one: a record may hold an attribute that is nested as deep as is allowed in a record, but not in an array of
/// them.
void appendRecords(std::string& out, const Array& records) {
  out += '[';
  for (const Value& record : records) {
    if (&record != records.begin()) out += ", ";
    appendJson(out, record);
  }
  out += ']';
}

}  // namespace

CheckOutcome runCheck(const PreparedRules& rules, const Dictionary& attributes, const Dictionary& sources) {
  CheckOutcome outcome;
  run(rules, attributes, sources, outcome);
  if (outcome.records) return outcome;
  // Only the log tells which rule a run ended at, and a run is the same every time.
  const LogCapture log("processing ", LogCapture::LogFile::kPauses);
  CheckOutcome again;
  run(rules, attributes, sources, again);
  outcome.rule = log.lastLine();
  return outcome;
}

bool passed(const Value& record) {
  const Value* result = record.ifDictionary() == nullptr ? nullptr : record.ifDictionary()->find("result");
  return result != nullptr && result->ifBoolean() == true;
}

ExitStatus statusOf(const CheckOutcome& outcome) {
  if (outcome.fault) return ExitStatus::kFault;
  if (!outcome.records || endedEarly(outcome)) return ExitStatus::kNoVerdict;
  return std::ranges::all_of(*outcome.records, passed) ? ExitStatus::kPassed : ExitStatus::kFailed;
}

std::string whyNoVerdict(const CheckOutcome& outcome) {
  if (outcome.records)
    return description(outcome.records->at(outcome.records->size() - 1).ifDictionary()->find("actual"));
  const std::string why = outcome.fault ? outcome.fault->message : std::string(outcome.error->localizedDescription());
  return outcome.rule ? fmt::format("rule \"{}\": {}", *outcome.rule, why) : why;
}

void appendOutcome(std::string& out, const CheckOutcome& outcome) {
  out += "\"records\": ";
  if (outcome.records) {
    appendRecords(out, *outcome.records);
  } else {
    out += "null";
  }
  out += ", \"station\": ";
  appendJson(out, Value(outcome.station));
  out += ", \"error\": ";
  appendError(out, outcome.error);
  if (outcome.fault) {
    out += ", \"fault\": ";
    appendFault(out, {outcome.fault->kind, whyNoVerdict(outcome)});
  }
}

}  // namespace tavik::tool
