#include "test/Mutant.h"

#include <algorithm>

namespace tavik::tool {
namespace {

/// Removes the entries that are dropped and applies a replacement to the others; absent if no entry is left.
std::optional<RuleOrigin> withEntries(RuleOrigin rule, const LocalEntry& changed, const std::optional<Value>& content) {
  const auto isChanged = [&](const LocalEntry& entry) {
    return entry.content == changed.content && entry.layer == changed.layer && entry.set == changed.set;
  };
  for (LocalEntry& entry : rule.entries) {
    if (content && isChanged(entry)) entry.content = &*content;
  }
  if (!content) std::erase_if(rule.entries, isChanged);
  return rule.entries.empty() ? std::nullopt : std::optional(std::move(rule));
}

std::optional<RuleOrigin> withoutSet(RuleOrigin rule, std::string_view set) {
  std::erase_if(rule.entries,
                [&](const LocalEntry& entry) { return entry.layer == LocalEntry::Layer::kSet && entry.set == set; });
  return rule.entries.empty() ? std::nullopt : std::optional(std::move(rule));
}

bool isInEffect(const RuleOrigin& before, const std::optional<RuleOrigin>& after) {
  return !after || after->entries.back().content != before.entries.back().content;
}

/// The error of a device whose part number or region is removed.
std::optional<Error> errorWithout(const DeviceKind& removed, const IndexedRules& kind) {
  constexpr std::int32_t kUnknown = -100003;
  if (!includes(removed, kind.selectors())) return std::nullopt;
  if (removed.region == nullptr) return Error(kUnknown, "unknown MPN:" + selectorText(removed.partNumber));
  return Error(kUnknown, "unknown Region Code:" + selectorText(removed.region));
}

void dropSet(const EffectiveEntry& dropped, const IndexedRules& kind, std::vector<ChangedRule>& rules) {
  const auto set = std::ranges::find(kind.sets(), dropped.name, &RuleSetOrigin::name);
  if (set == kind.sets().end()) return;
  const bool isOnlyEntry = set->entries.size() == 1 && set->entries[0].content == dropped.entry.content;
  if (!isOnlyEntry) return;
  for (std::size_t number = 0; number < kind.rules().size(); ++number) {
    const RuleOrigin& rule = kind.rules()[number];
    auto changed = withoutSet(rule, set->name);
    if (isInEffect(rule, changed)) rules.push_back({number, std::move(changed)});
  }
}

}  // namespace

MutantEffect::MutantEffect(const Mutant& mutant, const IndexedRules& kind) {
  if (mutant.target == Mutant::Target::kKind) {
    error = errorWithout(mutant.kind, kind);
  } else if (mutant.entry == nullptr) {
    changeDefinition(mutant, kind);
  } else if (includes(mutant.entry->scope(), kind.selectors())) {
    changeEntry(mutant, *mutant.entry, kind);
  }
}

void MutantEffect::changeDefinition(const Mutant& mutant, const IndexedRules& kind) {
  const auto number = kind.find(mutant.subject);
  if (!number) return;
  const RuleOrigin& rule = kind.rules()[*number];
  if (mutant.target == Mutant::Target::kDefinedValue && rule.entries.back().value() != nullptr) return;
  rules.push_back({*number, rule});
  rules.back().rule->definition = &*mutant.definition;
}

void MutantEffect::changeEntry(const Mutant& mutant, const EffectiveEntry& entry, const IndexedRules& kind) {
  if (mutant.target == Mutant::Target::kSet) return dropSet(entry, kind, rules);
  const auto number = kind.find(mutant.subject);
  if (!number) return;
  const RuleOrigin& rule = kind.rules()[*number];
  auto changed = withEntries(rule, entry.entry, mutant.content);
  if (isInEffect(rule, changed)) rules.push_back({*number, std::move(changed)});
}

const ChangedRule* MutantEffect::of(std::size_t number) const {
  const auto found = std::ranges::find(rules, number, &ChangedRule::number);
  return found == rules.end() ? nullptr : &*found;
}

}  // namespace tavik::tool
