#include "check/Outcome.h"

namespace tavik::tool {

CheckOutcome runCheck(const PreparedRules& rules, const Dictionary& attributes, const Dictionary& sources) {
  return rules.run(attributes, sources.empty() ? nullptr : &sources);
}

ExitStatus statusOf(const CheckOutcome& outcome) {
  if (outcome.fault) return ExitStatus::kFault;
  if (outcome.verdict == Verdict::kNone) return ExitStatus::kNoVerdict;
  return outcome.verdict == Verdict::kPassed ? ExitStatus::kPassed : ExitStatus::kFailed;
}

bool passed(const Value& record) {
  const Value* const result = record.ifDictionary() == nullptr ? nullptr : record.ifDictionary()->find("result");
  return result != nullptr && result->ifBoolean() == true;
}

std::span<const Value> decidingRecords(const CheckOutcome& outcome) {
  if (outcome.verdict != Verdict::kNone || !outcome.records) return outcome.ruleRecords();
  return std::span(outcome.records->begin(), outcome.records->end()).last(1);
}

std::span<const Value> versionRecords(const CheckOutcome& outcome) {
  if (!outcome.records) return {};
  return {outcome.records->begin(), outcome.records->size() - decidingRecords(outcome).size()};
}

std::vector<JsonEntry> entriesOf(const CheckOutcome& outcome) {
  const Dictionary known = outcome.dictionary();
  std::vector<JsonEntry> entries = entriesIn(known, {"records", "station", "error"});
  if (const Value* const fault = known.find("fault")) entries.push_back({"fault", *fault});
  entries.push_back({"verdict", *known.find("verdict")});
  entries.push_back({"reason", std::nullopt});
  if (const Dictionary* const reason = known.findDictionary("reason")) {
    entries.back().entries = entriesIn(*reason, {"kind", "rule", "description"});
  }
  return entries;
}

Value valueOf(const Error& error) {
  return Dictionary{
      {"domain", error.domain()}, {"code", Value(error.code())}, {"description", error.localizedDescription()}};
}

std::optional<Value> valueOf(const std::optional<Error>& error) {
  return error ? std::optional(valueOf(*error)) : std::nullopt;
}

Value valueOf(const Fault& fault) { return Dictionary{{"kind", fault.word()}, {"message", fault.message}}; }

}  // namespace tavik::tool
