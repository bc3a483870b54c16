// Device rule assembly: the local rules' entries for one device, completed with the rule library's definitions.

#include "kernel_private/DeviceRules.h"

#include <tavik/ZRTTavikKernel.h>

#include <algorithm>
#include <bit>

#include "kernel_private/Assembly.h"
#include "values/DictionaryKey.h"
#include "values/Format.h"
#include "values/MaybeAbsent.h"
#include "values/ValueAccess.h"

namespace tavik {

namespace {

using detail::ValueAccess;

constexpr std::int32_t kUnknownDevice = -100003;

// The dictionary under a part number or region; null with the failure, which `unknown` begins, when there is none.
const Dictionary* selected(const Dictionary& table, const Value* name, std::string_view unknown,
                           std::optional<AssemblyFailure>& failure) {
  const Value* entry = find(&table, name);
  if (entry != nullptr) return dictionaryUnder(*entry, *name->ifString(), failure);
  failure = {kUnknownDevice, format("unknown %@:%@", {unknown, name})};
  return nullptr;
}

Error errorOf(const AssemblyFailure& failure, const PredicateKernel& kernel) {
  return kernel.handleError(failure.code, failure.message);
}

}  // namespace

const Dictionary* dictionaryUnder(const Value& value, std::string_view key, std::optional<AssemblyFailure>& failure) {
  const Dictionary* found = value.ifDictionary();
  if (found == nullptr) {
    failure = {kUnknownDevice, format("malformed local rules: \"%@\" is not a dictionary", {key})};
  }
  return found;
}

const Dictionary* optionalDictionary(const Dictionary& rules, std::string_view key,
                                     std::optional<AssemblyFailure>& failure) {
  static const Dictionary none;
  const Value* value = rules.find(key);
  return value == nullptr ? &none : dictionaryUnder(*value, key, failure);
}

Dictionary completedRule(const Dictionary* definition, const Dictionary& localEntry) {
  Dictionary rule = definition == nullptr ? Dictionary() : *definition;
  if (const Value* value = localEntry.find("value")) rule.set("value", *value);
  return rule;
}

std::optional<Selection> select(const Dictionary& rules, const Value* partNumber, const Value* region,
                                std::optional<AssemblyFailure>& failure) {
  Selection selection;
  const Value* tableValue = rules.find("MPNRules");
  if (tableValue == nullptr) return selection;
  const Dictionary* table = dictionaryUnder(*tableValue, "MPNRules", failure);
  if (table == nullptr) return std::nullopt;
  selection.partNumber = selected(*table, partNumber, "MPN", failure);
  if (selection.partNumber == nullptr) return std::nullopt;
  const Value* regionsValue = selection.partNumber->find(kRegionRules);
  if (regionsValue == nullptr) return selection;
  const Dictionary* regions = dictionaryUnder(*regionsValue, kRegionRules, failure);
  if (regions == nullptr) return std::nullopt;
  selection.region = selected(*regions, region, "Region Code", failure);
  return selection.region == nullptr ? std::nullopt : std::optional(selection);
}

LocalEntries::LocalEntries(const Dictionary& rules, const Selection& selection) { assemble(rules, selection); }

LocalEntries::LocalEntries(const Dictionary& rules, const Value* partNumber, const Value* region) {
  if (const auto selection = select(rules, partNumber, region, failure_)) assemble(rules, *selection);
}

void LocalEntries::assemble(const Dictionary& rules, const Selection& selection) {
  EntryList list;
  if (!addLayers(rules, selection, list, failure_)) return;
  entries_ = std::move(list).take();
  const auto malformed = std::ranges::find_if(
      entries_, [](const EntryList::Entry& entry) { return entry.value->ifDictionary() == nullptr; });
  if (malformed == entries_.end()) return;
  dictionaryUnder(*malformed->value, *malformed->name->ifString(), failure_);
  entries_.erase(malformed + 1, entries_.end());
}

std::optional<Error> LocalEntries::report(const PredicateKernel& kernel) const {
  if (kernel.platform().logs()) {
    for (const EntryList::Entry& entry : entries_) log(kernel.platform(), "making local rule %@", *entry.name);
  }
  return failure_ ? std::optional(errorOf(*failure_, kernel)) : std::nullopt;
}

void EntryList::reserve(std::size_t count) {
  const std::size_t needed = entries_.size() + count;
  if (2 * needed <= slots_.size()) return;
  entries_.reserve(needed);
  slots_.assign(std::bit_ceil(2 * needed), 0);
  for (std::uint32_t position = 0; position < entries_.size(); ++position) {
    const Entry& entry = entries_[position];
    if (entry.name != nullptr) slotFor(*entry.name, entry.hash) = position + 1;
  }
}

void EntryList::set(const Value& name, const Value& value) {
  const std::uint64_t hash = detail::Sought(name).hash();
  std::uint32_t& slot = slotFor(name, hash);
  if (slot != 0) {
    entries_[slot - 1].value = &value;
    return;
  }
  entries_.push_back({&name, &value, hash});
  slot = static_cast<std::uint32_t>(entries_.size());
}

std::size_t EntryList::positionOf(const Value& name) noexcept { return slotFor(name, detail::Sought(name).hash()) - 1; }

void EntryList::setAll(const Dictionary& layer) {
  reserve(layer.size());
  for (auto item = layer.begin(); item != layer.end(); ++item) set(item.key(), item.value());
}

std::vector<EntryList::Entry> EntryList::take() && {
  if (erases_) std::erase_if(entries_, [](const Entry& entry) { return entry.name == nullptr; });
  return std::move(entries_);
}

Dictionary EntryList::dictionary() const {
  Dictionary dictionary;
  dictionary.reserve(entries_.size());
  for (const Entry& entry : entries_) {
    if (entry.name != nullptr) ValueAccess::addNew(dictionary, *entry.name, *entry.value);
  }
  return dictionary;
}

std::uint32_t& EntryList::slotFor(const Value& name, std::uint64_t hash) noexcept {
  const detail::Sought sought(name);
  std::size_t slot = hash & (slots_.size() - 1);
  while (slots_[slot] != 0) {
    const Entry& entry = entries_[slots_[slot] - 1];
    if (entry.name != nullptr && entry.hash == hash && sought.is(*entry.name)) break;
    slot = (slot + 1) & (slots_.size() - 1);
  }
  return slots_[slot];
}

std::optional<Dictionary> ZRTTavikKernel::makeMPNRCRules(const Value* partNumber, const Value* RC,
                                                         const Dictionary& fromRules,
                                                         std::optional<Error>& error) const {
  std::optional<AssemblyFailure> failure;
  if (const auto selection = select(fromRules, partNumber, RC, failure)) {
    EntryList selected;
    addSelected(*selection, selected);
    return selected.dictionary();
  }
  error = errorOf(*failure, *this);
  return std::nullopt;
}

bool ZRTTavikKernel::expandRuleSets(const Dictionary& rules, Dictionary& deviceRules,
                                    std::optional<Error>& error) const {
  std::optional<AssemblyFailure> failure;
  EntryList list;
  list.setAll(deviceRules);
  const bool expanded = expandSets(rules, list, failure);
  deviceRules = list.dictionary();
  if (expanded) return true;
  error = errorOf(*failure, *this);
  return false;
}

std::optional<Dictionary> ZRTTavikKernel::makeDeviceRules(const Dictionary& rules, const Dictionary& forDevice,
                                                          std::optional<Error>& error) const {
  const LocalEntries local(rules, forDevice.find("ModelNumber"), forDevice.find("RegionInfo"));
  if (auto failed = local.report(*this)) {
    error = std::move(failed);
    return std::nullopt;
  }
  Dictionary deviceRules;
  deviceRules.reserve(local.entries().size());
  for (const EntryList::Entry& entry : local.entries()) {
    const Dictionary* definition = dictionaryOf(ValueAccess::find(rules_, detail::Sought(*entry.name), entry.hash));
    ValueAccess::addNew(deviceRules, *entry.name, completedRule(definition, *entry.value->ifDictionary()));
  }
  return deviceRules;
}

}  // namespace tavik
