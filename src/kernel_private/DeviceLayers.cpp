#include "kernel_private/DeviceLayers.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>

#include "kernel_private/EntryList.h"
#include "values/Format.h"
#include "values/MaybeAbsent.h"

namespace tavik {

using enum LocalEntry::Layer;

namespace {

constexpr std::int32_t kUnknownRuleSet = -100004;

}  // namespace

std::span<const LocalLayer> DeviceLayers::of(const Selection& selection, std::optional<AssemblyFailure>* failure) {
  // "extra-rules" applies only if there is no table of entries at all, which cannot happen here; it is never read.
  layers_.clear();
  layers_.reserve(4);
  setNames_.clear();
  addSelected(selection);
  const Dictionary* generic = table("GenericRules", failure);
  if (generic == nullptr) return layers_;
  if (!generic_) generic_ = partOf(kGeneric, *generic, generic->begin());
  if (generic_->layer.size > 0) add(*generic_);
  if (const Dictionary* sets = table("RuleSets", failure)) addSets(*sets, failure);
  return layers_;
}

// An empty dictionary if the rules have none.
const Dictionary* DeviceLayers::table(std::string_view key, std::optional<AssemblyFailure>* failure) const {
  static const Dictionary none;
  const Value* value = rules_.find(key);
  if (value == nullptr) return &none;
  if (const Dictionary* found = value->ifDictionary()) return found;
  if (failure == nullptr) return &none;
  *failure = malformed(key);
  return nullptr;
}

void DeviceLayers::addSelected(const Selection& selection) {
  if (selection.partNumber == nullptr) return;
  const bool hasRegion = selection.region != nullptr;
  if (partNumber_ != selection.partNumber) {
    partNumber_ = selection.partNumber;
    beforeRegion_ = partOf(kPartNumber, *partNumber_, partNumber_->begin());
    if (hasRegion) afterRegion_ = partOf(kPartNumber, *partNumber_, std::next(beforeRegion_.layer.last));
  }
  add(beforeRegion_);
  if (!hasRegion) return;
  add(partOf(kRegion, *selection.region, selection.region->begin()));
  add(afterRegion_);
}

// The entries from `first` on; for a part number, up to "RegionRules".
DeviceLayers::Part DeviceLayers::partOf(LocalEntry::Layer layer, const Dictionary& entries,
                                        Dictionary::Iterator first) {
  const Dictionary::Iterator end = entries.end();
  const bool mayHaveRegions = layer == kPartNumber;
  std::vector<const Value*> setNames;
  std::size_t size = 0;
  Dictionary::Iterator item = first;
  for (; item != end; ++item, ++size) {
    const std::string_view name = *item.key().ifString();
    if (mayHaveRegions && name == kRegionRules) break;
    if (name.ends_with("RuleSet")) setNames.push_back(&item.key());
  }
  return {{layer, {}, first, item, size}, std::move(setNames)};
}

void DeviceLayers::add(const Part& part) {
  layers_.push_back(part.layer);
  for (const Value* name : part.setNames) setNames_.push_back(name);
}

void DeviceLayers::addSets(const Dictionary& sets, std::optional<AssemblyFailure>* failure) {
  EntryList added;
  added.reserve(std::min(setNames_.size(), sets.size()));
  for (const Value* setName : setNames_) {
    const std::string_view name = *setName->ifString();
    const Value* set = find(&sets, setName);
    const Dictionary* entries = dictionaryOf(set);
    if (entries == nullptr) {
      if (failure == nullptr) continue;
      *failure =
          set != nullptr ? malformed(name) : AssemblyFailure{kUnknownRuleSet, format("unknown RuleSet:%@", {setName})};
      return;
    }
    const std::size_t count = added.all().size();
    const bool isNew = added.set(*setName, *set) == count;
    if (isNew) layers_.push_back({kSet, name, entries->begin(), entries->end(), entries->size()});
  }
}

}  // namespace tavik
