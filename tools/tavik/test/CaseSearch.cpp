#include "test/CaseSearch.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>
#include <utility>

#include "test/Candidates.h"
#include "test/Variations.h"
#include "text/Text.h"

namespace tavik::tool {
namespace {

constexpr std::size_t kMostCandidates = 10'000;
constexpr std::size_t kMostTrials = 12;  ///< candidates after which the other rules are evaluated too

RuleExpectation resultExpectation(std::string_view rule, bool pass) {
  return {std::string(rule), true, {{"result", Value(pass)}}};
}

/// The entries of a record that a mutant's record lacks; empty if there are none.
Dictionary differingEntries(const Dictionary& record, const Dictionary* mutant) {
  Dictionary entries;
  for (const std::string_view key : {"result", "actual", "expected", "attributes"}) {
    const Value* const value = record.find(key);
    const Value* const other = mutant == nullptr ? nullptr : mutant->find(key);
    if (value != nullptr && (other == nullptr || *other != *value)) entries.set(key, *value);
  }
  return entries;
}

}  // namespace

Value inCaseFile(const RuleExpectation& expectation) {
  const Value* const result = expectation.entries.find("result");
  if (expectation.entries.size() > 1 || result == nullptr) return expectation.entries;
  return result->ifBoolean() == true ? "pass" : "fail";
}

Expectation FoundCase::expectation() const {
  Expectation expectation;
  expectation.rules.push_back(expected);
  for (const std::string& rule : alsoFailing) expectation.rules.push_back(resultExpectation(rule, false));
  return expectation;
}

std::string FoundCase::changeText() const {
  if (!change) return "";
  const RuleOperand& operand = change->operand;
  const std::string name = shortened(visible((operand.source ? *operand.source + ": " : "") + operand.name), 60);
  return change->value ? name + " " + shortJson(*change->value, 100) : "without " + name;
}

Dictionary FoundCase::inCaseFile(const CaseDevice& device) const {
  const auto isFail = expected.entries.find("result") != nullptr && !passes(expected.entries);
  const std::string rule = shortened(visible(expected.rule), 60);
  Dictionary entries{
      {"name", change ? fmt::format("{} {}: {}", rule, isFail ? "fails" : "passes", changeText()) : rule}};
  if (change && change->operand.source) {
    const Dictionary* const known = device.sources().findDictionary(*change->operand.source);
    Dictionary source = known == nullptr ? Dictionary() : *known;
    source.setOrRemove(change->operand.name, change->value ? &*change->value : nullptr);
    entries.set("sources", Dictionary{{*change->operand.source, source}});
  } else if (change && change->value) {
    entries.set("change", Dictionary{{change->operand.name, *change->value}});
  } else if (change) {
    entries.set("remove", Array::of(change->operand.name));
  }
  Dictionary rules;
  for (const RuleExpectation& one : expectation().rules) rules.set(one.rule, tool::inCaseFile(one));
  entries.set("expect", Dictionary{{"rules", rules}});
  return entries;
}

std::optional<FoundCase> CaseSearch::catching(const ChangedRule& changed) {
  const RuleOrigin& rule = device_.kind().rules()[changed.number];
  const RuleOrigin* const mutant = changed.rule ? &*changed.rule : nullptr;
  if (auto found = search(changed.number, mutant)) return found;
  const RuleEvaluation evaluation = device_.evaluate(rule);
  const Dictionary* const record = recordOf(evaluation);
  if (record == nullptr) return std::nullopt;
  FoundCase found{std::nullopt, resultExpectation(rule.name, passes(*record))};
  if (mutant != nullptr) {
    const RuleEvaluation other = device_.evaluate(*mutant);
    found.expected.entries = differingEntries(*record, recordOf(other));
    if (found.expected.entries.empty()) return std::nullopt;
  }
  const std::vector<bool>& failing = failingBefore();
  for (std::size_t number = 0; number < failing.size(); ++number) {
    if (failing[number] && number != changed.number)
      found.alsoFailing.emplace_back(device_.kind().rules()[number].name);
  }
  return found;
}

std::optional<FoundCase> CaseSearch::search(std::size_t number, const RuleOrigin* mutant) {
  const RuleOrigin& rule = device_.kind().rules()[number];
  const std::vector<RuleOperand>& operands = device_.kind().facts()[number].operands();
  std::optional<FoundCase> best;
  std::size_t candidates = 0;
  std::size_t trials = 0;
  const auto isEnough = [&](const DeviceChange& change) {
    if (++candidates > kMostCandidates) return true;
    const auto record = device_.record(rule, operands, &change);
    if (!record) return false;
    const bool pass = passes(*record);
    if (mutant == nullptr ? pass : false) return false;
    if (mutant != nullptr) {
      const auto other = device_.record(*mutant, operands, &change);
      if (other && passes(*other) == pass) return false;
    }
    auto others = alsoFailing(number, change);
    if (!others) return false;
    const bool isBetter = !best || others->size() < best->alsoFailing.size();
    if (isBetter) best = FoundCase{change, resultExpectation(rule.name, pass), *std::move(others)};
    return best->alsoFailing.empty() || ++trials == kMostTrials;
  };
  for (const RuleOperand& operand : operands) {
    const auto isGood = [&](const Value& value) { return isEnough({operand, value}); };
    if (anyCandidate(device_.find(operand), hintsFor(operand, number, mutant), isGood)) return best;
  }
  for (const RuleOperand& operand : operands) {
    if (device_.find(operand) != nullptr && isEnough({operand, std::nullopt})) return best;
  }
  return best;
}

/// The parts of the expected values, those that differ first, and the other values that the rule reads.
std::vector<Value> CaseSearch::hintsFor(const RuleOperand& operand, std::size_t number,
                                        const RuleOrigin* mutant) const {
  std::vector<Value> before;
  std::vector<Value> after;
  if (const Value* const value = device_.kind().rules()[number].value()) addParts(*value, before);
  if (const Value* const value = mutant == nullptr ? nullptr : mutant->value()) addParts(*value, after);
  std::vector<Value> hints;
  const auto add = [&](const Value& hint) {
    if (std::ranges::find(hints, hint) == hints.end()) hints.push_back(hint);
  };
  const auto addMissing = [&](const std::vector<Value>& from, const std::vector<Value>& in) {
    for (const Value& hint : from) {
      if (std::ranges::find(in, hint) == in.end()) add(hint);
    }
  };
  addMissing(after, before);
  addMissing(before, after);
  std::ranges::for_each(before, add);
  for (const RuleOperand& other : device_.kind().facts()[number].operands()) {
    const Value* const value = other == operand ? nullptr : device_.find(other);
    if (value != nullptr) add(*value);
  }
  return hints;
}

const std::vector<bool>& CaseSearch::failingBefore() {
  if (!failingBefore_.empty()) return failingBefore_;
  for (const RuleOrigin& rule : device_.kind().rules()) {
    const RuleEvaluation evaluation = device_.evaluate(rule);
    const Dictionary* const record = recordOf(evaluation);
    failingBefore_.push_back(record != nullptr && !passes(*record));
  }
  return failingBefore_;
}

std::optional<std::vector<std::string>> CaseSearch::alsoFailing(std::size_t number, const DeviceChange& change) {
  const std::optional<CaseDevice> changed = device_.after(change, kinds_);
  if (!changed) return std::nullopt;
  std::vector<bool> failing = failingBefore();
  for (const std::size_t reader : device_.kind().readers(change.operand)) {
    const RuleEvaluation evaluation = changed->evaluate(device_.kind().rules()[reader]);
    const Dictionary* const record = recordOf(evaluation);
    if (record == nullptr) return std::nullopt;
    failing[reader] = !passes(*record);
  }
  std::vector<std::string> names;
  for (std::size_t other = 0; other < failing.size(); ++other) {
    if (failing[other] && other != number) names.emplace_back(device_.kind().rules()[other].name);
  }
  return names;
}

}  // namespace tavik::tool
