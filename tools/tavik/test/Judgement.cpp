#include "test/Judgement.h"

#include <fmt/format.h>

#include <functional>
#include <map>
#include <set>
#include <string_view>

#include "text/NearestName.h"

namespace tavik::tool {
namespace {

using RecordsByRule = std::map<std::string_view, const Dictionary*, std::less<>>;

Dictionary entriesOf(const Error& error) {
  return {{"code", Value(error.code())}, {"description", error.localizedDescription()}};
}

Dictionary entriesOf(const Fault& fault) { return {{"kind", fault.kind}, {"message", fault.message}}; }

/// How the run ended, if not with rules that were checked.
Dictionary endOf(const CheckOutcome& outcome) {
  if (outcome.fault) return entriesOf(*outcome.fault);
  return outcome.error ? entriesOf(*outcome.error) : Dictionary();
}

/// Whether every wanted entry is among those found.
bool holds(const Dictionary& wanted, const Dictionary& found) {
  for (const auto [key, value] : wanted) {
    const Value* const other = found.find(key);
    if (other == nullptr || *other != value) return false;
  }
  return true;
}

RecordsByRule byRule(const CheckOutcome& outcome) {
  RecordsByRule records;
  for (const Value& record : ruleRecords(outcome)) {
    records.emplace(record.ifDictionary()->findString("rule").value_or(""), record.ifDictionary());
  }
  return records;
}

Dictionary withoutRule(const Dictionary& record) {
  Dictionary entries = record;
  entries.erase("rule");
  return entries;
}

std::string_view verdict(const Dictionary& record) { return passed(Value(record)) ? "passes" : "fails"; }

std::string describe(const Dictionary& wanted, const Dictionary& record) {
  const Value* const result = wanted.find("result");
  const bool otherResult = result != nullptr && *result != Value(passed(Value(record)));
  if (!otherResult) return std::string(verdict(record)) + ", but its record is another one";
  return std::string(verdict(record)) + ", and should " + (passed(Value(record)) ? "fail" : "pass");
}

/// For a rule that the device does not get: which of those that it gets was meant.
std::string nearestIn(const RecordsByRule& records, std::string_view rule) {
  std::vector<std::string_view> names;
  for (const auto& [name, record] : records) names.push_back(name);
  return didYouMean(rule, names);
}

std::optional<Mismatch> judge(const RuleExpectation& expected, const RecordsByRule& records) {
  const auto found = records.find(expected.rule);
  if (found == records.end()) {
    if (!expected.given) return std::nullopt;
    return Mismatch{expected.rule, "the device does not get this rule" + nearestIn(records, expected.rule),
                    expected.entries, Dictionary()};
  }
  const Dictionary& record = *found->second;
  if (!expected.given)
    return Mismatch{expected.rule, "the device gets this rule, and should not", Dictionary(), withoutRule(record)};
  if (holds(expected.entries, record)) return std::nullopt;
  return Mismatch{expected.rule, describe(expected.entries, record), expected.entries, withoutRule(record)};
}

std::optional<Mismatch> judgeOther(OtherRules others, const Dictionary& record) {
  const std::string rule(record.findString("rule").value_or(""));
  const Dictionary pass{{"result", Value(true)}};
  switch (others) {
    case OtherRules::kAny:
      return std::nullopt;
    case OtherRules::kNone:
      return Mismatch{rule, "the device gets this rule, which the case does not name", Dictionary(),
                      withoutRule(record)};
    case OtherRules::kPass:
      break;
  }
  if (holds(pass, record)) return std::nullopt;
  return Mismatch{rule, "fails, and should pass as the case does not name it", pass, withoutRule(record)};
}

std::vector<Mismatch> judgeRules(const Expectation& expected, const CheckOutcome& outcome) {
  std::vector<Mismatch> mismatches;
  const RecordsByRule records = byRule(outcome);
  std::set<std::string_view> named;
  for (const RuleExpectation& rule : expected.rules) {
    named.insert(rule.rule);
    if (auto mismatch = judge(rule, records)) mismatches.push_back(*std::move(mismatch));
  }
  for (const Value& value : ruleRecords(outcome)) {
    const Dictionary& record = *value.ifDictionary();
    if (named.contains(record.findString("rule").value_or(""))) continue;
    if (auto mismatch = judgeOther(expected.others, record)) mismatches.push_back(*std::move(mismatch));
  }
  // A device that nothing is asked of does not pass by it.
  if (records.empty() && expected.others == OtherRules::kPass)
    mismatches.push_back({std::nullopt, "the device gets no rules, and they should pass", Dictionary(), Dictionary()});
  return mismatches;
}

std::vector<Mismatch> judgeEnd(std::string_view what, const Dictionary& wanted, const std::optional<Dictionary>& found,
                               const CheckOutcome& outcome) {
  if (found && holds(wanted, *found)) return {};
  const std::string_view otherwise = found ? ", and ends with another one" : ", and does not";
  return {{std::nullopt, fmt::format("the run should end with {}{}", what, otherwise), wanted, endOf(outcome)}};
}

}  // namespace

std::span<const Value> ruleRecords(const CheckOutcome& outcome) {
  const ExitStatus status = statusOf(outcome);
  if (status != ExitStatus::kPassed && status != ExitStatus::kFailed) return {};
  return std::span(outcome.records->begin(), outcome.records->end()).subspan(kVersionRecords);
}

std::vector<Mismatch> mismatches(const Expectation& expected, const CheckOutcome& outcome) {
  const auto fault = outcome.fault ? std::optional(entriesOf(*outcome.fault)) : std::nullopt;
  const auto error = outcome.error ? std::optional(entriesOf(*outcome.error)) : std::nullopt;
  if (expected.fault) return judgeEnd("a fault", *expected.fault, fault, outcome);
  if (expected.error) return judgeEnd("an error", *expected.error, error, outcome);
  if (fault || error) {
    const std::string message = std::string(fault ? "a fault ended the run: " : "no verdict: ") + whyNoVerdict(outcome);
    return {{std::nullopt, message, Dictionary(), endOf(outcome)}};
  }
  std::vector<Mismatch> found = judgeRules(expected, outcome);
  if (expected.station && *expected.station != outcome.station)
    found.push_back({std::nullopt, "the station dictionary is another one", *expected.station, outcome.station});
  return found;
}

}  // namespace tavik::tool
