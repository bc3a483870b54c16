#include "test/CaseSearch.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string_view>
#include <utility>

#include "check/Outcome.h"
#include "test/Candidates.h"
#include "test/Variations.h"
#include "text/Text.h"

namespace tavik::tool {
namespace {

constexpr std::size_t kMostCost = 10'000;  ///< of a search: one for each change, and more for large values
constexpr std::size_t kMostTrials = 12;    ///< changes of one value for which the other rules are evaluated too

RuleExpectation resultExpectation(std::string_view rule, bool pass) {
  return {std::string(rule), true, {{"result", Value(pass)}}};
}

std::size_t costOf(const DeviceChange& change) {
  constexpr std::size_t kBytes = 4096;
  if (!change.value) return 1;
  const Data* const data = change.value->ifData();
  return 1 + (data != nullptr ? data->size() : change.value->ifString().value_or("").size()) / kBytes;
}

/// The entries of a record that differ from those of a mutant's record.
Dictionary differingEntries(const Dictionary& record, const Dictionary& mutant) {
  Dictionary entries;
  for (const std::string_view key : {"result", "actual", "expected", "attributes"}) {
    const Value* const value = record.find(key);
    const Value* const other = mutant.find(key);
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
  return change->value ? name + " = " + shortJson(*change->value, 100) : "without " + name;
}

Dictionary FoundCase::inCaseFile(const CaseDevice& device) const {
  const auto isFail = expected.entries.find("result") != nullptr && !passed(expected.entries);
  const std::string rule = shortened(visible(expected.rule), 60);
  Dictionary entries{
      {"name", change ? fmt::format("{} {}: {}", rule, isFail ? "fails" : "passes", changeText()) : rule}};
  if (change && change->operand.source) {
    entries.set("sources", Dictionary{{*change->operand.source, changedSource(*change, device.sources())}});
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

/// Tries changes of the device for one rule, and keeps the one after which the fewest other rules fail.
class CaseSearch::Attempts {
 public:
  enum class Goal : std::uint8_t {
    kFailure,      ///< the rule fails
    kOtherResult,  ///< the rule and its mutant have different results
    kOtherRecord,  ///< the rule and its mutant have different records
  };

  Attempts(CaseSearch& search, std::size_t number, Goal goal, const RuleOrigin* mutant)
      : search_(search), number_(number), goal_(goal), mutant_(mutant) {}

  [[nodiscard]] std::size_t number() const { return number_; }
  [[nodiscard]] const RuleOrigin* mutant() const { return mutant_; }
  [[nodiscard]] std::optional<FoundCase> take() && { return std::move(best_); }
  [[nodiscard]] bool isIdeal() const { return best_ && best_->alsoFailing.empty(); }
  void beginValue() { trials_ = 0; }

  /// Returns whether the search for changes of the value ends.
  bool attempt(const DeviceChange& change) {
    if ((cost_ += costOf(change)) > kMostCost) return true;
    const std::optional<Dictionary> record = recordAfter(rule(), change);
    if (!record) return false;
    const Dictionary entries = entriesToExpect(*record, change);
    if (entries.empty()) return false;
    auto others = search_.alsoFailing(number_, change);
    if (!others) return false;
    if (!best_ || others->size() < best_->alsoFailing.size())
      best_ = FoundCase{change, {std::string(rule().name), true, entries}, *std::move(others)};
    return isIdeal() || ++trials_ == kMostTrials;
  }

 private:
  [[nodiscard]] const RuleOrigin& rule() const { return search_.device_.kind().rules()[number_]; }
  [[nodiscard]] std::optional<Dictionary> recordAfter(const RuleOrigin& of, const DeviceChange& change) const {
    return search_.device_.record(of, search_.device_.kind().facts()[number_].operands(), &change);
  }

  /// Empty if the change does not reach the goal.
  [[nodiscard]] Dictionary entriesToExpect(const Dictionary& record, const DeviceChange& change) const {
    Dictionary result{{"result", Value(passed(record))}};
    if (goal_ == Goal::kFailure) return passed(record) ? Dictionary() : result;
    const std::optional<Dictionary> other = recordAfter(*mutant_, change);
    if (!other || passed(*other) != passed(record)) return result;
    if (goal_ == Goal::kOtherResult) return {};
    Dictionary entries = differingEntries(record, *other);
    if (!entries.empty()) entries.setFirst("result", *result.find("result"));
    return entries;
  }

  CaseSearch& search_;
  std::size_t number_;
  Goal goal_;
  const RuleOrigin* mutant_;  // null for kFailure
  std::optional<FoundCase> best_;
  std::size_t cost_ = 0;
  std::size_t trials_ = 0;
};

namespace {

/// The parts of the expected values, those that differ first, and the other values that the rule reads.
std::vector<Value> hintsFor(const CaseDevice& device, const RuleOperand& operand, std::size_t number,
                            const RuleOrigin* mutant) {
  std::vector<Value> before;
  std::vector<Value> after;
  if (const Value* const value = device.kind().rules()[number].value()) addParts(*value, before);
  if (const Value* const value = mutant == nullptr ? nullptr : mutant->value()) addParts(*value, after);
  std::vector<Value> hints;
  const auto isIn = [](const std::vector<Value>& all, const Value& one) {
    return std::ranges::find(all, one) != all.end();
  };
  const auto addMissing = [&](const std::vector<Value>& from, const std::vector<Value>& in) {
    for (const Value& hint : from) {
      if (!isIn(in, hint) && !isIn(hints, hint)) hints.push_back(hint);
    }
  };
  addMissing(after, before);
  addMissing(before, after);
  addMissing(before, {});
  for (const RuleOperand& other : device.kind().facts()[number].operands()) {
    const Value* const value = other == operand ? nullptr : device.find(other);
    if (value != nullptr) addMissing({*value}, {});
  }
  return hints;
}

}  // namespace

std::optional<FoundCase> CaseSearch::searchChange(Attempts& attempts) const {
  const std::vector<RuleOperand>& operands = device_.kind().facts()[attempts.number()].operands();
  for (const RuleOperand& operand : operands) {
    attempts.beginValue();
    anyCandidate(device_.find(operand), hintsFor(device_, operand, attempts.number(), attempts.mutant()),
                 [&](const Value& value) {
                   return attempts.attempt({operand, value});
                 });
    if (attempts.isIdeal()) return std::move(attempts).take();
  }
  for (const RuleOperand& operand : operands) {
    attempts.beginValue();
    if (device_.find(operand) != nullptr) attempts.attempt({operand, std::nullopt});
    if (attempts.isIdeal()) break;
  }
  return std::move(attempts).take();
}

std::optional<FoundCase> CaseSearch::failing(std::size_t number) {
  Attempts attempts(*this, number, Attempts::Goal::kFailure, nullptr);
  return searchChange(attempts);
}

std::optional<FoundCase> CaseSearch::catching(const ChangedRule& changed) {
  const RuleOrigin* const mutant = changed.rule ? &*changed.rule : nullptr;
  Attempts results(*this, changed.number, mutant == nullptr ? Attempts::Goal::kFailure : Attempts::Goal::kOtherResult,
                   mutant);
  if (auto found = searchChange(results)) return found;
  if (auto found = withoutChange(changed)) return found;
  if (mutant == nullptr) return std::nullopt;
  Attempts records(*this, changed.number, Attempts::Goal::kOtherRecord, mutant);
  return searchChange(records);
}

std::optional<FoundCase> CaseSearch::withoutChange(const ChangedRule& changed) {
  const RuleOrigin& rule = device_.kind().rules()[changed.number];
  const RuleEvaluation evaluation = device_.evaluate(rule);
  const Dictionary* const record = recordOf(evaluation);
  if (record == nullptr) return std::nullopt;
  FoundCase found{std::nullopt, resultExpectation(rule.name, passed(*record))};
  if (changed.rule) {
    const RuleEvaluation other = device_.evaluate(*changed.rule);
    const Dictionary* const otherRecord = recordOf(other);
    if (otherRecord != nullptr) found.expected.entries = differingEntries(*record, *otherRecord);
    if (found.expected.entries.empty()) return std::nullopt;
  }
  found.alsoFailing = othersIn(failingBefore(), changed.number);
  return found;
}

std::size_t CaseSearch::failuresBefore() { return static_cast<std::size_t>(std::ranges::count(failingBefore(), true)); }

const std::vector<bool>& CaseSearch::failingBefore() {
  if (!failingBefore_.empty()) return failingBefore_;
  for (const RuleOrigin& rule : device_.kind().rules()) {
    const RuleEvaluation evaluation = device_.evaluate(rule);
    const Dictionary* const record = recordOf(evaluation);
    failingBefore_.push_back(record != nullptr && !passed(*record));
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
    failing[reader] = !passed(*record);
  }
  return othersIn(failing, number);
}

std::vector<std::string> CaseSearch::othersIn(const std::vector<bool>& failing, std::size_t number) const {
  std::vector<std::string> names;
  for (std::size_t other = 0; other < failing.size(); ++other) {
    if (failing[other] && other != number) names.emplace_back(device_.kind().rules()[other].name);
  }
  return names;
}

std::optional<DeviceKind> kindShowing(const Mutant& mutant, const CaseDevice& like, std::span<const DeviceKind> kinds,
                                      IndexedRulesCache& cache) {
  constexpr std::size_t kMostKinds = 32;
  std::size_t tried = 0;
  for (const DeviceKind& kind : kinds) {
    Dictionary attributes = like.attributes();
    attributes.setOrRemove("ModelNumber", kind.partNumber);
    attributes.setOrRemove("RegionInfo", kind.region);
    std::shared_ptr<const IndexedRules> rules = cache.of(attributes);
    const MutantEffect effect(mutant, *rules);
    if (effect.empty()) continue;
    if (++tried > kMostKinds) break;
    const CaseDevice device(std::move(attributes), like.sources(), std::move(rules));
    CaseSearch search(device, cache);
    if (std::ranges::any_of(effect.rules, [&](const auto& changed) { return search.catching(changed).has_value(); }))
      return kind;
  }
  return std::nullopt;
}

}  // namespace tavik::tool
