#include "diff/RuleChanges.h"

#include <fmt/format.h>
#include <tavik/PredicateExpression.h>

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

RuleChange differenceOf(const KindRule& before, const KindRule& after) {
  RuleChange change{.category = RuleChange::Category::kChanged, .rule = std::string(before.name)};
  for (const std::string_view key : kKeys) {
    if (isShared(before, after, key)) continue;
    const std::optional<Value> was = effective(before, key);
    const std::optional<Value> is = effective(after, key);
    if (was == is) continue;
    if (was) change.before.set(key, *was);
    if (is) change.after.set(key, *is);
    if (key != "value") continue;
    change.valueFromBefore = before.valueFrom();
    change.valueFromAfter = after.valueFrom();
  }
  return change;
}

/// The rules of a library that may forward attributes to the station.
std::unordered_set<std::string_view> forwardingRules(const Dictionary& library) {
  std::unordered_set<std::string_view> names;
  for (const auto [name, definition] : library) {
    if (RuleFacts(name, definition.ifDictionary(), nullptr).forwards()) names.insert(name);
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
  Comparison(const DeviceKinds& kinds, const KindRules& before, const KindRules& after,
             std::deque<RuleChanges::Other>& others)
      : forwardersBefore_(before), forwardersAfter_(after), others_(others) {
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
    order.reserve(seen_.size());
    for (std::size_t number = 0; number < seen_.size(); ++number) {
      Seen& seen = seen_[number];
      seen.devices = devicesOf(seen);
      if (!seen.devices->empty()) order.push_back(placeOf(seen, number));
    }
    std::ranges::sort(order);
    std::unordered_map<const KindSet*, std::size_t> places;
    std::vector<ChangeGroup> groups;
    for (const Place& next : order) {
      const Seen& seen = seen_[next.number];
      const auto [place, isNew] = places.try_emplace(seen.devices, groups.size());
      if (isNew) groups.push_back({*seen.devices, {}});
      groups[place->second].changes.push_back(seen.change);
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
    ChangedRule change;
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

  using Levels = std::array<const RulePart*, RulePart::kLevels>;

  static Levels levelsOf(const RulePart* part) {
    Levels levels{};
    for (; part != nullptr; part = part->base()) levels[part->level()] = part;
    return levels;
  }

  void compareKind(std::size_t kind) {
    const std::string was = refusalOf(before_[kind]);
    const std::string is = refusalOf(after_[kind]);
    if (was != is) {
      const RuleChange::Category what = was.empty()  ? RuleChange::Category::kRefused
                                        : is.empty() ? RuleChange::Category::kAccepted
                                                     : RuleChange::Category::kRefusal;
      add({.category = what, .before = reason(was), .after = reason(is)}, kind);
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
      if (const auto change = forwardersChange(was, is)) add(*change, kind);
      return;
    }
    const auto [place, isNew] = forwards_.try_emplace(
        {levelsOf(was.part)[RulePart::kShared], levelsOf(is.part)[RulePart::kShared], was.partNumber, is.partNumber});
    if (isNew) place->second = forwardersChange(was, is);
    if (place->second) add(*place->second, kind);
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
    if (pair.after != nullptr) {
      for (const KindRule& rule : pair.after->rules()) compareRule(rule, &Pair::before, pair);
    }
    if (pair.before == nullptr) return;
    for (const KindRule& rule : pair.before->rules()) {
      if (pair.after == nullptr || pair.after->find(rule.name) == nullptr) compareRule(rule, &Pair::after, pair);
    }
  }

  /// Compares a rule of one version with that of the other.
  void compareRule(const KindRule& rule, const RulePart* Pair::*other, Pair& pair) {
    Pair* place = &pair;
    const KindRule* counterpart = nullptr;
    for (; place != nullptr; place = place->base) {
      const RulePart* const part = place->*other;
      counterpart = part == nullptr ? nullptr : part->find(rule.name);
      if (counterpart != nullptr) break;
    }
    const bool isNew = other == &Pair::before;
    const ChangedRule changed{isNew ? counterpart : &rule, isNew ? &rule : counterpart};
    const RuleChange change = changed.change();
    const bool differs = counterpart == nullptr || !change.before.empty() || !change.after.empty();
    if (differs) {
      const std::size_t number = numberOf(change, changed);
      seen_[number].included.push_back(&pair.kinds);
      if (counterpart == nullptr) pair.unmatched.emplace(rule.name, number);
    }
    if (counterpart != nullptr && place != &pair) {
      seen_[place->unmatched.at(rule.name)].excluded.push_back(&pair.kinds);
    }
  }

  /// Adds a change that is not about a rule.
  void add(const RuleChange& change, std::size_t kind) {
    const std::size_t number = numberOf(change, {});
    Seen& seen = seen_[number];
    if (seen.included.empty()) {
      others_.push_back({change});
      seen = {{nullptr, nullptr, &others_.back().change}, {&others_.back().kinds}};
      kindsOfOthers_.emplace(number, &others_.back().kinds);
    }
    kindsOfOthers_.at(number)->add(kind);
  }

  /// The position of a change in `seen_`; equal changes, which have the same JSON, have the same one.
  std::size_t numberOf(const RuleChange& change, const ChangedRule& changed) {
    const std::string json = toJson(change.value());
    const std::hash<std::string> hash;
    const auto [place, isNew] = numbers_.try_emplace({hash(json), hash(' ' + json)}, seen_.size());
    if (isNew) seen_.push_back({changed});
    return place->second;
  }

  const KindSet* devicesOf(const Seen& seen) {
    const auto [place, isNew] = combined_.try_emplace({seen.included, seen.excluded});
    if (isNew) place->second = &*sets_.insert(KindSet::combined(seen.included, seen.excluded)).first;
    return place->second;
  }

  [[nodiscard]] Place placeOf(const Seen& seen, std::size_t number) const {
    const std::size_t kind = seen.devices->first();
    const auto& [before, after, other] = seen.change;
    if (after != nullptr) return {kind, 1, KindRules::placeOf(*after_[kind], after->name), number};
    if (before != nullptr) return {kind, 2, KindRules::placeOf(*before_[kind], before->name), number};
    return {kind, other->category == RuleChange::Category::kForwards ? 3 : 0, {}, number};
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
  std::deque<Seen> seen_;
  std::map<std::pair<std::size_t, std::size_t>, std::size_t> numbers_;  // in `seen_`, by two hashes of their JSON
  std::deque<RuleChanges::Other>& others_;
  std::unordered_map<std::size_t, KindSet*> kindsOfOthers_;  // by their numbers
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

RuleChange ChangedRule::change() const {
  if (other != nullptr) return *other;
  if (before != nullptr && after != nullptr) return differenceOf(*before, *after);
  if (before == nullptr) {
    return {.category = RuleChange::Category::kGained,
            .rule = std::string(after->name),
            .after = effectiveRule(*after),
            .valueFromAfter = after->valueFrom()};
  }
  return {.category = RuleChange::Category::kLost,
          .rule = std::string(before->name),
          .before = effectiveRule(*before),
          .valueFromBefore = before->valueFrom()};
}

RuleChanges::RuleChanges(Dictionary libraryBefore, Dictionary rulesBefore, Dictionary libraryAfter,
                         Dictionary rulesAfter)
    : before_(std::move(libraryBefore), std::move(rulesBefore)),
      after_(std::move(libraryAfter), std::move(rulesAfter)),
      kinds_(before_.origins(), after_.origins()),
      groups_(Comparison(kinds_, before_, after_, others_).groups()) {}

}  // namespace tavik::tool
