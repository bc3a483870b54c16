/// @file
/// The order of the local rules' layers, for lists that are told what stands in which layer, and those that do not ask.
#ifndef TAVIK_KERNEL_PRIVATE_ASSEMBLY_H
#define TAVIK_KERNEL_PRIVATE_ASSEMBLY_H

#include <tavik/RuleOrigins.h>

#include "kernel_private/DeviceRules.h"
#include "values/Format.h"
#include "values/MaybeAbsent.h"

namespace tavik {

inline constexpr std::int32_t kUnknownRuleSet = -100004;

inline constexpr std::string_view kRegionRules = "RegionRules";

/// Where the local rules ask for a dictionary: refuses a value of any other kind.
const Dictionary* dictionaryUnder(const Value& value, std::string_view key, std::optional<AssemblyFailure>& failure);

/// The dictionary under an optional key; an empty one when there is none.
const Dictionary* optionalDictionary(const Dictionary& rules, std::string_view key,
                                     std::optional<AssemblyFailure>& failure);

/// The entries of a part number, those of the region in the place where its regions stand.
template <class List>
void addSelected(const Selection& selection, List& list) {
  if (selection.partNumber == nullptr) return;
  list.reserve(selection.partNumber->size() + (selection.region == nullptr ? 0 : selection.region->size()));
  list.enter(LocalEntry::Layer::kPartNumber);
  for (auto item = selection.partNumber->begin(); item != selection.partNumber->end(); ++item) {
    if (item.key().ifString() == kRegionRules) {
      list.enter(LocalEntry::Layer::kRegion);
      list.setAll(*selection.region);
      list.enter(LocalEntry::Layer::kPartNumber);
    } else {
      list.set(item.key(), item.value());
    }
  }
}

/// Replaces the names of rule sets by what the sets hold.
template <class List>
bool expandSets(const Dictionary& rules, List& list, std::optional<AssemblyFailure>& failure) {
  const Dictionary* sets = optionalDictionary(rules, "RuleSets", failure);
  if (sets == nullptr) return false;
  const std::size_t count = list.all().size();
  for (std::size_t position = 0; position < count; ++position) {
    const Value* name = list.all()[position].name;
    if (!name->ifString()->ends_with("RuleSet")) continue;
    const Value* setValue = find(sets, name);
    if (setValue == nullptr) {
      failure = {kUnknownRuleSet, format("unknown RuleSet:%@", {name})};
      return false;
    }
    const Dictionary* set = dictionaryUnder(*setValue, *name->ifString(), failure);
    if (set == nullptr) return false;
    list.erase(position);
    list.enter(LocalEntry::Layer::kSet, *name->ifString());
    list.setAll(*set);
  }
  return true;
}

/// All layers in turn; false with the failure when they cannot be put together.
template <class List>
bool addLayers(const Dictionary& rules, const Selection& selection, List& list,
               std::optional<AssemblyFailure>& failure) {
  // "extra-rules" is never looked into: it would be only if there were no table of entries at all.
  addSelected(selection, list);
  const Dictionary* generic = optionalDictionary(rules, "GenericRules", failure);
  if (generic == nullptr) return false;
  list.enter(LocalEntry::Layer::kGeneric);
  list.setAll(*generic);
  return expandSets(rules, list, failure);
}

/// The library's definition with the "value" of the local entry, where it has one.
Dictionary completedRule(const Dictionary* definition, const Dictionary& localEntry);

}  // namespace tavik

#endif
