#include "test/CaseSearch.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string_view>
#include <utility>

#include "check/Outcome.h"
#include "io/Json.h"
#include "rules/NearbyValues.h"
#include "text/Text.h"

namespace tavik::tool {
namespace {

using Values = std::vector<Value>;

bool contains(const Values& values, const Value& value) { return std::ranges::find(values, value) != values.end(); }

/// Adds the parts of an expected value: texts, numbers, data, truth values, and the keys of tables.
void addParts(const Value& value, Values& parts) {
  constexpr std::size_t kMostParts = 256;
  if (parts.size() >= kMostParts) return;
  if (const Array* const array = value.ifArray()) {
    for (const Value& element : *array) addParts(element, parts);
  } else if (const Dictionary* const dictionary = value.ifDictionary()) {
    for (const auto [key, entry] : *dictionary) {
      addParts(Value(key), parts);
      addParts(entry, parts);
    }
  } else if (!contains(parts, value)) {
    parts.push_back(value);
  }
}

/// Visits values for an attribute, the smallest changes first, until `visit` returns true.
///
/// current: null if the attribute is missing. parts: what rules compare it with.
void tryValues(const Value* current, const Values& parts, const ValueVisitor& visit) {
  if (current != nullptr && anyNearby(*current, nullptr, Density::kDense, visit)) return;
  const ValueVisitor mix = [&](const Value& part) { return anyMixture(current, part, visit); };
  for (const Value& part : parts) {
    if (mix(part) || anyNearby(part, nullptr, Density::kSparse, mix)) return;
  }
  if (current == nullptr) visit(Value("present"));
}

std::size_t sizeOf(const Value& value) {
  const Data* const data = value.ifData();
  return data != nullptr ? data->size() : value.ifString().value_or("").size();
}

/// The entries of a record that differ from those of a mutant's record.
Dictionary differingEntries(const Dictionary& record, const Dictionary& mutant) {
  Dictionary entries;
  for (const std::string_view key : {"actual", "expected", "attributes"}) {
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
  for (const std::string& rule : alsoFailing) expectation.rules.push_back({rule, true, {{"result", Value(false)}}});
  return expectation;
}

std::string FoundCase::changeText() const {
  if (!change) return "";
  const RuleOperand& operand = change->operand;
  const std::string name = shortened(visible((operand.source ? *operand.source + ": " : "") + operand.name), 60);
  return change->value ? name + " = " + shortJson(*change->value, 100) : "without " + name;
}

Dictionary FoundCase::inCaseFile(const Device& device) const {
  const auto isFail = expected.entries.find("result") != nullptr && !passed(expected.entries);
  const std::string rule = shortened(visible(expected.rule), 60);
  Dictionary entries{
      {"name", change ? fmt::format("{} {}: {}", rule, isFail ? "fails" : "passes", changeText()) : rule}};
  if (change && change->operand.source) {
    Dictionary attributes;
    Dictionary sources = device.sources();
    change->applyTo(attributes, sources);
    entries.set("sources", Dictionary{{*change->operand.source, *sources.find(*change->operand.source)}});
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

/// Tries changes of the device for one rule, and keeps the best case.
class CaseSearch::Attempts {
 public:
  Attempts(CaseSearch& search, const MutatedRule& changed)
      : search_(search),
        device_(*search.device_),
        changed_(changed),
        rule_(device_.rules().rules()[changed.number]),
        operands_(device_.rules().facts()[changed.number].operands()) {}

  std::optional<FoundCase> best() && {
    consider(std::nullopt);
    for (const RuleOperand& operand : operands_) {
      trials_ = 0;
      tryValues(device_.find(operand), partsFor(operand), [&](const Value& value) {
        return attempt({operand, value});
      });
      if (isIdeal()) return std::move(best_);
    }
    for (const RuleOperand& operand : operands_) {
      if (!isIdeal() && device_.find(operand) != nullptr) attempt({operand, std::nullopt});
    }
    return std::move(best_);
  }

 private:
  /// What shows the change of the rule; the best first.
  enum class Sign : std::uint8_t { kResult, kUnchanged, kRecord };

  [[nodiscard]] bool isIdeal() const { return best_ && sign_ == Sign::kResult && best_->alsoFailing.empty(); }

  /// What the rule is compared with, the parts in which the mutant differs first: the parts of expected values, and the
  /// other values that it reads.
  [[nodiscard]] Values partsFor(const RuleOperand& operand) const {
    Values before;
    Values after;
    if (const Value* const value = rule_.value()) addParts(*value, before);
    if (const Value* const value = changed_.rule ? changed_.rule->value() : nullptr) addParts(*value, after);
    Values parts;
    std::ranges::copy_if(after, std::back_inserter(parts), [&](const Value& part) { return !contains(before, part); });
    std::stable_partition(before.begin(), before.end(), [&](const Value& part) { return !contains(after, part); });
    parts.insert(parts.end(), before.begin(), before.end());
    for (const RuleOperand& other : operands_) {
      const Value* const value = other == operand ? nullptr : device_.find(other);
      if (value != nullptr && !contains(parts, *value)) parts.push_back(*value);
    }
    return parts;
  }

  /// Returns whether the search for changes of the value ends.
  bool attempt(const ValueChange& change) {
    constexpr std::size_t kMostCost = 10'000;  // of a search: one for each change, and more for large values
    constexpr std::size_t kMostTrials = 12;    // changes of one value for which the other rules are evaluated too
    cost_ += 1 + (change.value ? sizeOf(*change.value) / 4096 : 0);
    if (cost_ > kMostCost) return true;
    if (consider(change) && sign_ == Sign::kResult) ++trials_;
    return isIdeal() || trials_ == kMostTrials;
  }

  /// Keeps the case if it shows the change of the rule and is the best one so far. Returns whether it was a candidate.
  bool consider(const std::optional<ValueChange>& change) {
    const std::optional<Dictionary> record = recordOf(rule_, change);
    if (!record) return false;
    const bool pass = passed(*record);
    if (!changed_.rule && change && pass) return false;
    const std::optional<Dictionary> other = changed_.rule ? recordOf(*changed_.rule, change) : std::nullopt;
    if (!other || passed(*other) != pass)
      return keep(change ? Sign::kResult : Sign::kUnchanged, change, {{"result", Value(pass)}});
    Dictionary entries = differingEntries(*record, *other);
    if (entries.empty()) return false;
    if (change) entries.setFirst("result", Value(pass));
    return keep(change ? Sign::kRecord : Sign::kUnchanged, change, entries);
  }

  bool keep(Sign sign, const std::optional<ValueChange>& change, const Dictionary& entries) {
    if (best_ && (sign > sign_ || (sign == sign_ && sign != Sign::kResult))) return false;
    auto others = search_.alsoFailing(changed_.number, change);
    if (!others) return false;
    if (best_ && sign == sign_ && others->size() >= best_->alsoFailing.size()) return true;
    best_ = FoundCase{change, {std::string(rule_.name), true, entries}, *std::move(others)};
    sign_ = sign;
    return true;
  }

  [[nodiscard]] std::optional<Dictionary> recordOf(const RuleOrigin& rule,
                                                   const std::optional<ValueChange>& change) const {
    return change ? device_.recordAfter(*change, rule, operands_) : device_.record(rule);
  }

  CaseSearch& search_;
  const Device& device_;
  const MutatedRule& changed_;
  const RuleOrigin& rule_;
  const std::vector<RuleOperand>& operands_;
  std::optional<FoundCase> best_;
  Sign sign_ = Sign::kRecord;  // of `best_`
  std::size_t cost_ = 0;
  std::size_t trials_ = 0;
};

std::optional<FoundCase> CaseSearch::catching(const MutatedRule& changed) { return Attempts(*this, changed).best(); }

std::size_t CaseSearch::failures() { return static_cast<std::size_t>(std::ranges::count(failing(), true)); }

const std::vector<bool>& CaseSearch::failing() {
  if (!failing_.empty()) return failing_;
  for (const RuleOrigin& rule : device_->rules().rules()) {
    const std::optional<Dictionary> record = device_->record(rule);
    failing_.push_back(record && !passed(*record));
  }
  return failing_;
}

std::optional<std::vector<std::string>> CaseSearch::alsoFailing(std::size_t number,
                                                                const std::optional<ValueChange>& change) {
  const std::vector<RuleOrigin>& rules = device_->rules().rules();
  std::vector<bool> failing = this->failing();
  if (change) {
    const std::optional<Device> changed = device_->after(*change, *cache_);
    if (!changed) return std::nullopt;
    for (const std::size_t reader : device_->rules().readers(change->operand)) {
      const std::optional<Dictionary> record = changed->record(rules[reader]);
      if (!record) return std::nullopt;
      failing[reader] = !passed(*record);
    }
  }
  std::vector<std::string> names;
  for (std::size_t other = 0; other < rules.size(); ++other) {
    if (failing[other] && other != number) names.emplace_back(rules[other].name);
  }
  return names;
}

std::optional<DeviceKind> kindShowing(const Mutant& mutant, const Device& like, std::span<const DeviceKind> kinds,
                                      DeviceRulesCache& cache) {
  constexpr std::size_t kMostKinds = 32;
  std::size_t tried = 0;
  for (const DeviceKind& kind : kinds) {
    Dictionary attributes = like.attributes();
    attributes.setOrRemove("ModelNumber", kind.partNumber);
    attributes.setOrRemove("RegionInfo", kind.region);
    std::shared_ptr<const DeviceRules> rules = cache.of(attributes);
    const MutantEffect effect(mutant, *rules);
    if (effect.empty()) continue;
    if (++tried > kMostKinds) break;
    const Device device(std::move(attributes), like.sources(), std::move(rules));
    CaseSearch search(device, cache);
    if (std::ranges::any_of(effect.rules, [&](const auto& changed) { return search.catching(changed).has_value(); }))
      return kind;
  }
  return std::nullopt;
}

}  // namespace tavik::tool
