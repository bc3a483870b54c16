#include "diff/RuleChanges.h"

#include <fmt/format.h>
#include <tavik/PredicateExpression.h>
#include <tavik/PredicateFacts.h>

#include <algorithm>
#include <array>
#include <deque>
#include <functional>
#include <iterator>
#include <map>
#include <optional>
#include <set>
#include <string_view>
#include <tuple>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "io/Json.h"
#include "rules/RuleFacts.h"

namespace tavik::tool {
namespace {

/// The keys of a rule that count; "hideResult" counts by its presence.
constexpr std::string_view kKeys[] = {"attribute", "predicate", "value", "references", "hideResult", "domain", "poll"};

constexpr std::string_view kUnknown = "unknown part number or region";

/// A predicate expression with its operator in uppercase; a malformed one unchanged.
std::string canonical(std::string_view text) {
  const PredicateExpression expression = PredicateExpression::parse(text);
  return expression.isMalformed() ? std::string(text) : expression.text();
}

/// An entry of a rule, as far as it counts.
std::optional<Value> effective(const KindRule& rule, std::string_view key) {
  const Value* const value = key == "value"               ? rule.value()
                             : rule.definition == nullptr ? nullptr
                                                          : rule.definition->find(key);
  if (value == nullptr) return std::nullopt;
  if (key == "hideResult") return Value(true);
  return key == "predicate" && value->isString() ? Value(canonical(*value->ifString())) : *value;
}

/// Whether an entry is the same without a closer comparison.
bool isShared(const KindRule& before, const KindRule& after, std::string_view key) {
  return key == "value" ? before.value() == after.value() : before.definition == after.definition;
}

Dictionary effectiveRule(const KindRule& rule) {
  Dictionary entries;
  for (const std::string_view key : kKeys) {
    if (const auto value = effective(rule, key)) entries.set(key, *value);
  }
  return entries;
}

std::optional<RuleChange> differenceOf(const KindRule& before, const KindRule& after) {
  RuleChange change{.category = RuleChange::Category::kChanged, .rule = std::string(before.name)};
  bool differs = false;
  for (const std::string_view key : kKeys) {
    if (isShared(before, after, key)) continue;
    const std::optional<Value> was = effective(before, key);
    const std::optional<Value> is = effective(after, key);
    if (was == is) continue;
    differs = true;
    if (was) change.before.set(key, *was);
    if (is) change.after.set(key, *is);
    if (key != "value") continue;
    change.valueFromBefore = before.valueFrom();
    change.valueFromAfter = after.valueFrom();
  }
  return differs ? std::optional(std::move(change)) : std::nullopt;
}

/// The rules of a library that may forward attributes to the station.
std::unordered_set<std::string_view> forwardingRules(const Dictionary& library) {
  std::unordered_set<std::string_view> names;
  for (const auto [name, definition] : library) {
    const Dictionary* const entries = definition.ifDictionary();
    const auto predicate = entries == nullptr ? std::nullopt : entries->findString("predicate");
    if (!predicate || requiresAbsence(name)) continue;
    const PredicateExpression expression = PredicateExpression::parse(*predicate);
    if (expression.predicates().size() != 1) continue;  // AND and OR forward nothing
    const PredicateFacts* const facts = PredicateFacts::find(expression.predicates()[0]);
    if (facts != nullptr && facts->forwards) names.insert(name);
  }
  return names;
}

using Names = std::vector<std::string_view>;

/// The rules of a version's kinds that may forward attributes.
class Forwarders {
 public:
  explicit Forwarders(const KindRules& rules) : names_(forwardingRules(rules.library())) {}

  [[nodiscard]] bool empty() const noexcept { return names_.empty(); }
  /// Whether a kind's region may change their order.
  [[nodiscard]] bool areIn(const Dictionary* region) const {
    return region != nullptr &&
           std::ranges::any_of(*region, [&](const Dictionary::Item& item) { return names_.contains(item.key); });
  }
  /// In evaluation order.
  [[nodiscard]] Names of(const KindRules::Kind& kind) {
    std::map<EvaluationPlace, std::string_view> ordered;
    for (const RulePart* part = kind.part; part != nullptr; part = part->base()) {
      for (const std::string_view name : namesIn(*part)) ordered.emplace(KindRules::placeOf(kind, name), name);
    }
    Names all;
    for (const auto& [place, name] : ordered) all.push_back(name);
    return all;
  }

 private:
  const Names& namesIn(const RulePart& part) {
    const auto [place, isNew] = parts_.try_emplace(&part);
    if (isNew) {
      for (const KindRule& rule : part.rules()) {
        if (names_.contains(rule.name)) place->second.push_back(rule.name);
      }
    }
    return place->second;
  }

  std::unordered_set<std::string_view> names_;
  std::unordered_map<const RulePart*, Names> parts_;
};

Names thoseIn(const Names& names, const Names& others) {
  const std::unordered_set<std::string_view> known(others.begin(), others.end());
  Names both;
  std::ranges::copy_if(names, std::back_inserter(both), [&](std::string_view name) { return known.contains(name); });
  return both;
}

Dictionary listed(const Names& names) {
  Array array;
  for (const std::string_view name : names) array.append(name);
  return {{"rules", std::move(array)}};
}

/// Why the devices of a kind get no rules; empty if they get some. `kind`: null if the local rules do not list it.
std::string refusalOf(const KindRules::Kind* kind) {
  if (kind == nullptr) return std::string(kUnknown);
  return kind->refusal ? std::string(kind->refusal->localizedDescription()) : "";
}

Dictionary reason(const std::string& refusal) {
  return refusal.empty() ? Dictionary() : Dictionary{{"reason", refusal}};
}

std::string_view nameOf(RuleChange::Category category) {
  constexpr std::string_view kNames[] = {"gained", "lost", "changed", "forwards", "accepted", "refused", "refusal"};
  return kNames[static_cast<std::size_t>(category)];
}

/// Compares parts of the two versions, each pair once, and collects the changes with the kinds they affect.
class Comparison {
 public:
  Comparison(const DeviceKinds& kinds, const KindRules& before, const KindRules& after)
      : forwardersBefore_(before), forwardersAfter_(after) {
    for (std::size_t kind = 0; kind < kinds.all().size(); ++kind) {
      const auto& [partNumber, region] = kinds.all()[kind];
      before_.push_back(before.find(partNumber, region));
      after_.push_back(after.find(partNumber, region));
      compareKind(kind);
    }
    for (Pair& pair : pairs_) compareParts(pair);
  }

  [[nodiscard]] std::vector<ChangeGroup> groups() && {
    std::vector<Place> order;
    for (Seen& seen : seen_) {
      seen.devices = devicesOf(seen);
      if (!seen.devices->empty()) order.push_back(placeOf(seen));
    }
    std::ranges::sort(order);
    std::unordered_map<const KindSet*, std::size_t> places;
    std::vector<ChangeGroup> groups;
    for (const Place& next : order) {
      Seen& seen = seen_[next.number];
      const auto [place, isNew] = places.try_emplace(seen.devices, groups.size());
      if (isNew) groups.push_back({*seen.devices, {}});
      groups[place->second].changes.push_back(std::move(seen.change));
    }
    std::ranges::stable_sort(groups, std::ranges::greater(),
                             [](const ChangeGroup& group) { return group.devices.size(); });
    return groups;
  }

 private:
  /// Parts of the same level, either of which may be null, with the kinds that have both.
  struct Pair {
    Pair* base;
    const RulePart* before;
    const RulePart* after;
    KindSet kinds = {};
    /// Rules that only one version has, in this part or its bases, with the number of the change, which applies unless
    /// the other version has the rule in a part built on these.
    std::unordered_map<std::string_view, std::size_t> unmatched = {};
  };

  struct Seen {
    RuleChange change;
    KindSet kinds = {};  ///< besides those of the pairs
    std::vector<const KindSet*> included = {};
    std::vector<const KindSet*> excluded = {};
    const KindSet* devices = nullptr;
  };

  /// Changes are ordered by the first kind affected, then as its rules are evaluated, lost ones after the others.
  struct Place {
    std::size_t kind;
    int phase;
    EvaluationPlace rule;
    std::size_t number;
    friend auto operator<=>(const Place&, const Place&) = default;
  };

  static std::array<const RulePart*, 4> levelsOf(const RulePart* part) {
    std::array<const RulePart*, 4> levels{};
    for (; part != nullptr; part = part->base()) levels[static_cast<std::size_t>(part->level())] = part;
    return levels;
  }

  void compareKind(std::size_t kind) {
    const std::string was = refusalOf(before_[kind]);
    const std::string is = refusalOf(after_[kind]);
    if (was != is) {
      const RuleChange::Category what = was.empty()  ? RuleChange::Category::kRefused
                                        : is.empty() ? RuleChange::Category::kAccepted
                                                     : RuleChange::Category::kRefusal;
      seen({.category = what, .before = reason(was), .after = reason(is)}).kinds.add(kind);
    }
    if (!is.empty()) return;
    addToPairs(kind, was.empty() ? before_[kind]->part : nullptr, after_[kind]->part);
    if (was.empty()) compareForwarders(kind);
  }

  void addToPairs(std::size_t kind, const RulePart* before, const RulePart* after) {
    const auto was = levelsOf(before);
    const auto is = levelsOf(after);
    Pair* pair = nullptr;
    for (std::size_t level = 0; level < was.size(); ++level) {
      if (was[level] == nullptr && is[level] == nullptr) continue;
      const auto [place, isNew] = places_.try_emplace({pair, was[level], is[level]});
      if (isNew) place->second = &pairs_.emplace_back(Pair{.base = pair, .before = was[level], .after = is[level]});
      pair = place->second;
      pair->kinds.add(kind);
    }
  }

  void compareForwarders(std::size_t kind) {
    if (forwardersBefore_.empty() || forwardersAfter_.empty()) return;
    const KindRules::Kind& was = *before_[kind];
    const KindRules::Kind& is = *after_[kind];
    if (forwardersBefore_.areIn(was.region) || forwardersAfter_.areIn(is.region)) {
      if (auto change = forwardersChange(was, is)) seen(*std::move(change)).kinds.add(kind);
      return;
    }
    const auto [place, isNew] =
        forwards_.try_emplace({levelsOf(was.part)[1], levelsOf(is.part)[1], was.partNumber, is.partNumber});
    if (isNew) place->second = forwardersChange(was, is);
    if (place->second) seen(*place->second).kinds.add(kind);
  }

  std::optional<RuleChange> forwardersChange(const KindRules::Kind& before, const KindRules::Kind& after) {
    const Names was = forwardersBefore_.of(before);
    const Names is = forwardersAfter_.of(after);
    const Names old = thoseIn(was, is);
    const Names now = thoseIn(is, was);
    if (old == now) return std::nullopt;
    return RuleChange{.category = RuleChange::Category::kForwards, .before = listed(old), .after = listed(now)};
  }

  /// Compares the rules of a part with those of the other version's part and its bases.
  void compareParts(Pair& pair) {
    const auto compare = [&](const KindRule& rule, const RulePart* Pair::*other, const auto& make,
                             const auto& unmatched) {
      Pair* place = &pair;
      const KindRule* counterpart = nullptr;
      for (; place != nullptr; place = place->base) {
        const RulePart* const part = place->*other;
        counterpart = part == nullptr ? nullptr : part->find(rule.name);
        if (counterpart != nullptr) break;
      }
      if (counterpart == nullptr) {
        pair.unmatched.emplace(rule.name, include(unmatched(rule), pair));
        return;
      }
      if (auto change = make(rule, *counterpart)) include(*std::move(change), pair);
      if (place != &pair) seen_[place->unmatched.at(rule.name)].excluded.push_back(&pair.kinds);
    };
    if (pair.after != nullptr) {
      for (const KindRule& rule : pair.after->rules()) {
        compare(
            rule, &Pair::before, [](const KindRule& is, const KindRule& was) { return differenceOf(was, is); }, gained);
      }
    }
    if (pair.before == nullptr) return;
    for (const KindRule& rule : pair.before->rules()) {
      if (pair.after != nullptr && pair.after->find(rule.name) != nullptr) continue;
      compare(rule, &Pair::after, differenceOf, lost);
    }
  }

  static RuleChange gained(const KindRule& rule) {
    return {.category = RuleChange::Category::kGained,
            .rule = std::string(rule.name),
            .after = effectiveRule(rule),
            .valueFromAfter = rule.valueFrom()};
  }

  static RuleChange lost(const KindRule& rule) {
    return {.category = RuleChange::Category::kLost,
            .rule = std::string(rule.name),
            .before = effectiveRule(rule),
            .valueFromBefore = rule.valueFrom()};
  }

  Seen& seen(RuleChange change) {
    const auto [place, isNew] = changes_.try_emplace(toJson(change.value()), seen_.size());
    if (isNew) seen_.push_back({std::move(change)});
    return seen_[place->second];
  }

  std::size_t include(RuleChange change, const Pair& pair) {
    Seen& included = seen(std::move(change));
    included.included.push_back(&pair.kinds);
    return static_cast<std::size_t>(&included - seen_.data());
  }

  const KindSet* devicesOf(Seen& seen) {
    if (!seen.kinds.empty()) seen.included.push_back(&seen.kinds);
    const auto [place, isNew] = combined_.try_emplace({seen.included, seen.excluded});
    if (isNew) place->second = &*sets_.insert(KindSet::combined(seen.included, seen.excluded)).first;
    return place->second;
  }

  [[nodiscard]] Place placeOf(const Seen& seen) const {
    const std::size_t kind = seen.devices->first();
    const auto number = static_cast<std::size_t>(&seen - seen_.data());
    switch (seen.change.category) {
      case RuleChange::Category::kGained:
      case RuleChange::Category::kChanged:
        return {kind, 1, KindRules::placeOf(*after_[kind], seen.change.rule), number};
      case RuleChange::Category::kLost:
        return {kind, 2, KindRules::placeOf(*before_[kind], seen.change.rule), number};
      case RuleChange::Category::kForwards:
        return {kind, 3, {}, number};
      default:
        return {kind, 0, {}, number};
    }
  }

  std::vector<const KindRules::Kind*> before_;
  std::vector<const KindRules::Kind*> after_;
  Forwarders forwardersBefore_;
  Forwarders forwardersAfter_;
  std::map<std::tuple<const RulePart*, const RulePart*, const KindRules::PartNumber*, const KindRules::PartNumber*>,
           std::optional<RuleChange>>
      forwards_;
  std::deque<Pair> pairs_;  // bases come first
  std::map<std::tuple<Pair*, const RulePart*, const RulePart*>, Pair*> places_;
  std::vector<Seen> seen_;
  std::unordered_map<std::string, std::size_t> changes_;  // in seen_, by their JSON
  std::map<std::pair<std::vector<const KindSet*>, std::vector<const KindSet*>>, const KindSet*> combined_;
  std::set<KindSet> sets_;
};

}  // namespace

Value RuleChange::value() const {
  Dictionary object{{"change", nameOf(category)}};
  if (!rule.empty()) object.set("rule", rule);
  if (category != Category::kGained) object.set("old", before);
  if (category != Category::kLost) object.set("new", after);
  if (!valueFromBefore.empty()) object.set("old_value_from", valueFromBefore);
  if (!valueFromAfter.empty()) object.set("new_value_from", valueFromAfter);
  return object;
}

RuleChanges::RuleChanges(const KindRules& before, const KindRules& after)
    : kinds_(before.origins(), after.origins()), groups_(Comparison(kinds_, before, after).groups()) {}

}  // namespace tavik::tool
