#include "diff/RuleChanges.h"

#include <fmt/format.h>
#include <tavik/PredicateExpression.h>
#include <tavik/PredicateFacts.h>

#include <algorithm>
#include <functional>
#include <iterator>
#include <unordered_set>
#include <utility>

#include "io/Json.h"

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
std::optional<Value> effective(const RuleOrigin& rule, std::string_view key) {
  const Value* const value = key == "value"               ? rule.value()
                             : rule.definition == nullptr ? nullptr
                                                          : rule.definition->find(key);
  if (value == nullptr) return std::nullopt;
  if (key == "hideResult") return Value(true);
  return key == "predicate" && value->isString() ? Value(canonical(*value->ifString())) : *value;
}

/// Whether an entry is the same without a closer comparison.
bool isShared(const RuleOrigin& before, const RuleOrigin& after, std::string_view key) {
  return key == "value" ? before.value() == after.value() : before.definition == after.definition;
}

std::string valueFrom(const RuleOrigin& rule) {
  const LocalEntry& last = rule.entries.back();
  if (last.value() == nullptr) return rule.value() == nullptr ? "" : "library";
  const std::string layer(nameOf(last.layer));
  return last.layer == LocalEntry::Layer::kSet ? fmt::format("{} {}", layer, last.set) : layer;
}

Dictionary effectiveRule(const RuleOrigin& rule) {
  Dictionary entries;
  for (const std::string_view key : kKeys) {
    if (const auto value = effective(rule, key)) entries.set(key, *value);
  }
  return entries;
}

std::optional<RuleChange> differenceOf(const RuleOrigin& before, const RuleOrigin& after) {
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
    change.valueFromBefore = valueFrom(before);
    change.valueFromAfter = valueFrom(after);
  }
  return differs ? std::optional(std::move(change)) : std::nullopt;
}

/// The rules that may forward attributes to the station, in order.
std::vector<std::string_view> forwardingRules(const RuleOrigins::Device& device) {
  std::vector<std::string_view> names;
  for (const RuleOrigin& rule : device.rules) {
    const auto predicate = rule.definition == nullptr ? std::nullopt : rule.definition->findString("predicate");
    if (!predicate || rule.name.starts_with("No Attribute")) continue;
    const PredicateExpression expression = PredicateExpression::parse(*predicate);
    if (expression.predicates().size() != 1) continue;  // AND and OR forward nothing
    const PredicateFacts* const facts = PredicateFacts::find(expression.predicates()[0]);
    if (facts != nullptr && facts->forwards) names.push_back(rule.name);
  }
  return names;
}

std::vector<std::string_view> thoseIn(const std::vector<std::string_view>& names,
                                      const std::vector<std::string_view>& others) {
  const std::unordered_set<std::string_view> known(others.begin(), others.end());
  std::vector<std::string_view> both;
  std::ranges::copy_if(names, std::back_inserter(both), [&](std::string_view name) { return known.contains(name); });
  return both;
}

Dictionary listed(const std::vector<std::string_view>& names) {
  Array array;
  for (const std::string_view name : names) array.append(name);
  return {{"rules", std::move(array)}};
}

/// Why devices get no rules; the same text for every unknown part number and region.
std::string reasonOf(const Error& error) {
  return std::string(saysUnknownDevice(error) ? kUnknown : error.localizedDescription());
}

Dictionary reason(const std::optional<Error>& error) {
  return error ? Dictionary{{"reason", reasonOf(*error)}} : Dictionary();
}

std::string_view nameOf(RuleChange::Category category) {
  constexpr std::string_view kNames[] = {"gained", "lost", "changed", "forwards", "accepted", "refused", "refusal"};
  return kNames[static_cast<std::size_t>(category)];
}

std::optional<Value> valueOf(const std::optional<std::string>& text) {
  return text ? std::optional<Value>(*text) : std::nullopt;
}

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

RuleChanges::RuleChanges(const RuleOrigins& before, const RuleOrigins& after) : kinds_(before, after) {
  for (std::size_t kind = 0; kind < kinds_.all().size(); ++kind) compare(kind, before, after);
}

void RuleChanges::compare(std::size_t kind, const RuleOrigins& before, const RuleOrigins& after) {
  const std::optional<Value> partNumber = valueOf(kinds_.all()[kind].partNumber);
  const std::optional<Value> region = valueOf(kinds_.all()[kind].region);
  std::optional<Error> errorBefore;
  std::optional<Error> errorAfter;
  const Value* const wanted = partNumber ? &*partNumber : nullptr;
  const Value* const wantedRegion = region ? &*region : nullptr;
  const auto was = before.of(wanted, wantedRegion, errorBefore);
  const auto is = after.of(wanted, wantedRegion, errorAfter);
  if (was && is) return compareRules(kind, *was, *is);
  if (!was && !is && reasonOf(*errorBefore) == reasonOf(*errorAfter)) return;
  const RuleChange::Category what = was  ? RuleChange::Category::kRefused
                                    : is ? RuleChange::Category::kAccepted
                                         : RuleChange::Category::kRefusal;
  add(kind, {.category = what, .before = reason(errorBefore), .after = reason(errorAfter)});
  if (is) compareRules(kind, {}, *is);
}

void RuleChanges::compareRules(std::size_t kind, const RuleOrigins::Device& before, const RuleOrigins::Device& after) {
  std::unordered_map<std::string_view, const RuleOrigin*> remaining;
  for (const RuleOrigin& rule : before.rules) remaining.emplace(rule.name, &rule);
  for (const RuleOrigin& rule : after.rules) {
    const auto old = remaining.find(rule.name);
    if (old == remaining.end()) {
      add(kind, {.category = RuleChange::Category::kGained,
                 .rule = std::string(rule.name),
                 .after = effectiveRule(rule),
                 .valueFromAfter = valueFrom(rule)});
      continue;
    }
    if (auto change = differenceOf(*old->second, rule)) add(kind, *std::move(change));
    remaining.erase(old);
  }
  for (const RuleOrigin& rule : before.rules) {
    if (!remaining.contains(rule.name)) continue;
    add(kind, {.category = RuleChange::Category::kLost,
               .rule = std::string(rule.name),
               .before = effectiveRule(rule),
               .valueFromBefore = valueFrom(rule)});
  }
  const std::vector<std::string_view> forwarded = forwardingRules(before);
  const std::vector<std::string_view> forward = forwardingRules(after);
  const auto was = thoseIn(forwarded, forward);
  const auto is = thoseIn(forward, forwarded);
  if (was == is) return;
  add(kind, {.category = RuleChange::Category::kForwards, .before = listed(was), .after = listed(is)});
}

void RuleChanges::add(std::size_t kind, RuleChange change) {
  const auto [place, isNew] = places_.try_emplace(toJson(change.value()), changes_.size());
  if (isNew) changes_.push_back({std::move(change), {}});
  changes_[place->second].devices.push_back(kind);
}

std::vector<ChangeGroup> RuleChanges::groups() const {
  std::map<std::vector<std::size_t>, std::size_t> places;
  std::vector<ChangeGroup> groups;
  for (const Seen& seen : changes_) {
    const auto [place, isNew] = places.try_emplace(seen.devices, groups.size());
    if (isNew) groups.push_back({seen.devices, {}});
    groups[place->second].changes.push_back(&seen.change);
  }
  std::ranges::stable_sort(groups, std::ranges::greater(),
                           [](const ChangeGroup& group) { return group.devices.size(); });
  return groups;
}

}  // namespace tavik::tool
