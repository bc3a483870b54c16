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

/// How the run ended, in the notation of a case file; empty if it ended with neither a fault nor an error.
Dictionary endOf(const std::optional<Error>& error, const std::optional<Fault>& fault) {
  if (fault) return {{"kind", fault->word()}, {"message", fault->message}};
  if (!error) return {};
  return {{"code", Value(error->code())}, {"description", error->localizedDescription()}};
}

/// Whether every expected entry was found.
bool holds(const Dictionary& wanted, const Dictionary& found) {
  for (const auto [key, value] : wanted) {
    const Value* const other = found.find(key);
    if (other == nullptr || *other != value) return false;
  }
  return true;
}

RecordsByRule byRule(const CheckOutcome& outcome) {
  RecordsByRule records;
  for (const Value& record : outcome.ruleRecords()) {
    records.emplace(record.ifDictionary()->findString("rule").value_or(""), record.ifDictionary());
  }
  return records;
}

Dictionary withoutRule(const Dictionary& record) {
  Dictionary entries = record;
  entries.erase("rule");
  return entries;
}

std::string_view verdict(const Dictionary& record) { return passed(record) ? "passes" : "fails"; }

std::string describe(const Dictionary& wanted, const Dictionary& record) {
  const Value* const result = wanted.find("result");
  const bool otherResult = result != nullptr && *result != Value(passed(record));
  if (!otherResult) return std::string(verdict(record)) + ", but its record differs";
  return std::string(verdict(record)) + ", but should " + (passed(record) ? "fail" : "pass");
}

/// For a rule that the device does not get: the one of its rules that was probably meant.
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
    return Mismatch{expected.rule, "the device gets this rule, but should not", Dictionary(), withoutRule(record)};
  if (isExpectedRecord(&expected, OtherRules::kAny, &record)) return std::nullopt;
  return Mismatch{expected.rule, describe(expected.entries, record), expected.entries, withoutRule(record)};
}

std::optional<Mismatch> judgeOther(OtherRules others, const Dictionary& record) {
  if (isExpectedRecord(nullptr, others, &record)) return std::nullopt;
  const std::string rule(record.findString("rule").value_or(""));
  if (others == OtherRules::kNone)
    return Mismatch{rule, "the device gets this rule, which is not in the case", Dictionary(), withoutRule(record)};
  return Mismatch{
      rule, "fails, but should pass because the case does not name it", {{"result", Value(true)}}, withoutRule(record)};
}

std::vector<Mismatch> judgeRules(const Expectation& expected, const CheckOutcome& outcome) {
  std::vector<Mismatch> mismatches;
  const RecordsByRule records = byRule(outcome);
  std::set<std::string_view> named;
  for (const RuleExpectation& rule : expected.rules) {
    named.insert(rule.rule);
    if (auto mismatch = judge(rule, records)) mismatches.push_back(*std::move(mismatch));
  }
  for (const Value& value : outcome.ruleRecords()) {
    const Dictionary& record = *value.ifDictionary();
    if (named.contains(record.findString("rule").value_or(""))) continue;
    if (auto mismatch = judgeOther(expected.others, record)) mismatches.push_back(*std::move(mismatch));
  }
  // A device without rules does not pass only because nothing failed.
  if (records.empty() && expected.others == OtherRules::kPass)
    mismatches.push_back(
        {std::nullopt, "the device gets no rules, but its rules should pass", Dictionary(), Dictionary()});
  return mismatches;
}

std::vector<Mismatch> judgeEnd(std::string_view what, bool endsSo, const Dictionary& wanted, const Dictionary& end) {
  if (endsSo && holds(wanted, end)) return {};
  const std::string_view otherwise = endsSo ? ", but ends with a different one" : ", but does not";
  return {{std::nullopt, fmt::format("the run should end with {}{}", what, otherwise), wanted, end}};
}

}  // namespace

std::vector<Mismatch> mismatches(const Expectation& expected, const CheckOutcome& outcome) {
  const Dictionary end = endOf(outcome.error, outcome.fault);
  if (expected.fault) return judgeEnd("a fault", outcome.fault.has_value(), *expected.fault, end);
  if (expected.error) return judgeEnd("an error", outcome.error.has_value(), *expected.error, end);
  if (!end.empty()) {
    const std::string_view how = outcome.fault ? "a fault ended the run" : "no verdict";
    return {{std::nullopt, fmt::format("{}: {}", how, outcome.reason->text()), Dictionary(), end}};
  }
  std::vector<Mismatch> found = judgeRules(expected, outcome);
  if (expected.station && *expected.station != outcome.station)
    found.push_back({std::nullopt, "the station dictionary differs", *expected.station, outcome.station});
  return found;
}

bool isExpectedEnd(const Expectation& expected, const std::optional<Error>& error, const std::optional<Fault>& fault) {
  const std::optional<Dictionary>& wanted = fault ? expected.fault : expected.error;
  return wanted && holds(*wanted, endOf(error, fault));
}

bool isExpectedRecord(const RuleExpectation* named, OtherRules others, const Dictionary* record) {
  if (named != nullptr && !named->given) return record == nullptr;
  if (named != nullptr) return record != nullptr && holds(named->entries, *record);
  return record == nullptr || others == OtherRules::kAny || (others == OtherRules::kPass && passed(*record));
}

}  // namespace tavik::tool
