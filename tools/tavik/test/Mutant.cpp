#include "test/Mutant.h"

#include <algorithm>

namespace tavik::tool {
namespace {

using Layer = LocalEntry::Layer;

/// The rule in the mutant; absent if devices do not get it there.
std::optional<RuleOrigin> mutated(RuleOrigin rule, const Mutant& mutant) {
  if (mutant.definition) {
    rule.definition = &*mutant.definition;
    return rule;
  }
  const LocalEntry& changed = mutant.entry->entry;
  const auto isChanged = [&](const LocalEntry& entry) {
    if (namesSet(mutant.subject)) return entry.layer == Layer::kSet && entry.set == mutant.subject;
    return entry.content == changed.content && entry.layer == changed.layer && entry.set == changed.set;
  };
  for (LocalEntry& entry : rule.entries) {
    if (mutant.content && isChanged(entry)) entry.content = &*mutant.content;
  }
  if (!mutant.content) std::erase_if(rule.entries, isChanged);
  return rule.entries.empty() ? std::nullopt : std::optional(std::move(rule));
}

bool isSame(const RuleOrigin& before, const std::optional<RuleOrigin>& after) {
  const auto predicateOf = [](const RuleOrigin& rule) {
    return rule.definition == nullptr ? std::nullopt : rule.definition->findString("predicate");
  };
  return after && after->value() == before.value() && predicateOf(*after) == predicateOf(before);
}

/// Whether the entry alone gives the devices the rule set.
bool givesSet(const EffectiveEntry& entry, const DeviceRules& rules) {
  const auto set = std::ranges::find(rules.sets(), entry.name, &RuleSetOrigin::name);
  return set != rules.sets().end() && set->entries.size() == 1 && set->entries[0].content == entry.entry.content;
}

/// The error of a device whose part number or region is removed.
Error errorWithout(const DeviceKind& removed) {
  constexpr std::int32_t kUnknown = -100003;
  if (removed.region == nullptr) return {kUnknown, "unknown MPN:" + selectorText(removed.partNumber)};
  return {kUnknown, "unknown Region Code:" + selectorText(removed.region)};
}

DeviceKind scopeOf(const Mutant& mutant) {
  if (mutant.entry != nullptr) return mutant.entry->scope();
  return mutant.definition ? DeviceKind{nullptr, nullptr} : mutant.kind;
}

}  // namespace

MutantEffect::MutantEffect(const Mutant& mutant, const DeviceRules& all) {
  if (!includes(scopeOf(mutant), all.selectors())) return;
  const auto change = [&](std::size_t number) {
    auto after = mutated(all.rules()[number], mutant);
    if (!isSame(all.rules()[number], after)) rules.push_back({number, std::move(after)});
  };
  if (mutant.entry == nullptr && !mutant.definition) {
    error = errorWithout(mutant.kind);
  } else if (!namesSet(mutant.subject)) {
    if (const auto number = all.find(mutant.subject)) change(*number);
  } else if (givesSet(*mutant.entry, all)) {
    for (std::size_t number = 0; number < all.rules().size(); ++number) change(number);
  }
}

}  // namespace tavik::tool
