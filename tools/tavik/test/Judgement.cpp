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

std::string describe(const Dictionary& wanted, const Dictionary& record) {
  const Value* const result = wanted.find("result");
  const bool isOther = result != nullptr && *result != Value(passed(record));
  return fmt::format("{}, but {}", passed(record) ? "passes" : "fails",
                     !isOther         ? "its record differs"
                     : passed(record) ? "should fail"
                                      : "should pass");
}

/// For a rule that the device does not get: the one of its rules that was probably meant.
std::string nearestIn(const RecordsByRule& records, std::string_view rule) {
  std::vector<std::string_view> names;
  for (const auto& [name, record] : records) names.push_back(name);
  return didYouMean(rule, names);
}

/// A rule whose record, null if the device does not get the rule, does not meet the expectations.
Mismatch mismatchOf(std::string_view rule, const RuleExpectation* named, OtherRules others, const Dictionary* record,
                    const RecordsByRule& records) {
  Mismatch mismatch{std::string(rule), "", Dictionary(), record == nullptr ? Dictionary() : withoutRule(*record)};
  if (named != nullptr) mismatch.expected = named->entries;
  if (record == nullptr) {
    mismatch.message = "the device does not get this rule" + nearestIn(records, rule);
  } else if (named != nullptr) {
    mismatch.message = named->given ? describe(named->entries, *record) : "the device gets this rule, but should not";
  } else if (others == OtherRules::kNone) {
    mismatch.message = "the device gets this rule, which is not in the case";
  } else {
    mismatch.message = "fails, but should pass because the case does not name it";
    mismatch.expected.set("result", Value(true));
  }
  return mismatch;
}

std::vector<Mismatch> judgeRules(const Expectation& expected, const CheckOutcome& outcome) {
  std::vector<Mismatch> mismatches;
  const RecordsByRule records = byRule(outcome);
  const auto judge = [&](std::string_view rule, const RuleExpectation* named, const Dictionary* record) {
    if (!isExpectedRecord(named, expected.others, record))
      mismatches.push_back(mismatchOf(rule, named, expected.others, record, records));
  };
  std::set<std::string_view> named;
  for (const RuleExpectation& rule : expected.rules) {
    named.insert(rule.rule);
    const auto record = records.find(rule.rule);
    judge(rule.rule, &rule, record == records.end() ? nullptr : record->second);
  }
  for (const Value& value : outcome.ruleRecords()) {
    const std::string_view rule = value.ifDictionary()->findString("rule").value_or("");
    if (!named.contains(rule)) judge(rule, nullptr, value.ifDictionary());
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
