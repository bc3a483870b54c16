#include "lint/LocalRules.h"

#include <fmt/format.h>

#include <algorithm>

namespace tavik::tool::lint {
namespace {

constexpr std::string_view kEveryDevice = "every device";

/// A region says more about a device than its part number, and a set, which part numbers choose, more than the generic
/// entries.
int specificity(const Layer& layer) {
  switch (layer.category) {
    case Layer::Category::kGeneric:
      return 0;
    case Layer::Category::kSet:
      return 1;
    case Layer::Category::kPartNumber:
      return 2;
    case Layer::Category::kRegion:
      break;
  }
  return 3;
}

}  // namespace

Place Entry::place() const { return layer->place.entry(name, *value); }

const Value* Entry::expected() const noexcept {
  const Dictionary* dictionary = value->ifDictionary();
  return dictionary == nullptr ? nullptr : dictionary->find("value");
}

Entry* Layer::find(std::string_view entryName) const {
  const auto found = byName.find(entryName);
  return found == byName.end() ? nullptr : found->second;
}

std::string Layer::whom() const {
  switch (category) {
    case Category::kPartNumber:
      return "part number " + shown(partNumber);
    case Category::kRegion:
      return fmt::format("part number {} in region {}", shown(partNumber), shown(name));
    case Category::kSet:
      return "every device that gets the set " + shown(name);
    case Category::kGeneric:
      break;
  }
  return std::string(kEveryDevice);
}

LocalRules::LocalRules(const Document& document, const Document& library)
    : root_(document), library_(&library.entries()) {
  readGeneric();
  readSets();
  findContested();
  readPartNumbers();
}

const Dictionary* LocalRules::dictionary(const Place& place, std::string whom) {
  const Dictionary* found = place.value().ifDictionary();
  if (found == nullptr) malformed_.push_back({place, std::move(whom)});
  return found;
}

/// The dictionary under a key of the document, whose place is put with those that layers hang from.
const Dictionary* LocalRules::topDictionary(std::string_view key) {
  const Value* value = root_.value().ifDictionary()->find(key);
  if (value == nullptr) return nullptr;
  return dictionary(places_.emplace_back(root_.entry(key, *value)), std::string(kEveryDevice));
}

Layer& LocalRules::addLayer(Layer::Category category, const Place& place, std::string_view partNumber,
                            std::string_view name) {
  Layer& layer = layers_.emplace_back(category, place, partNumber, name);
  const Dictionary& dictionary = *place.value().ifDictionary();
  layer.entries.reserve(dictionary.size());
  for (const auto [key, value] : dictionary) {
    if (category == Layer::Category::kPartNumber && key == kRegionRules) continue;
    layer.entries.push_back({.name = key, .value = &value, .layer = &layer});
    layer.byName.emplace(key, &layer.entries.back());
    if (namesSet(key)) layer.setNames.push_back(&layer.entries.back());
  }
  return layer;
}

void LocalRules::readGeneric() {
  if (topDictionary("GenericRules") != nullptr) generic_ = &addLayer(Layer::Category::kGeneric, places_.back(), {}, {});
}

void LocalRules::readSets() {
  const Dictionary* sets = topDictionary("RuleSets");
  if (sets == nullptr) return;
  const Place& place = places_.back();
  for (const auto [name, value] : *sets) {
    const Place where = place.entry(name, value);
    if (dictionary(where, "every device that gets the set " + shown(name)) == nullptr) continue;
    Layer& layer = addLayer(Layer::Category::kSet, where, {}, name);
    sets_.emplace(name, &layer);
    for (const Entry& entry : layer.entries) ++setsWith_[entry.name];
  }
}

void LocalRules::findContested() {
  for (Layer& layer : layers_) {
    const std::size_t itself = layer.category == Layer::Category::kSet ? 1 : 0;
    for (Entry& entry : layer.entries) {
      const auto sets = setsWith_.find(entry.name);
      if (sets != setsWith_.end() && sets->second > itself) layer.contested.push_back(&entry);
    }
  }
}

void LocalRules::readPartNumbers() {
  if (!root_.value().ifDictionary()->contains("MPNRules")) return assemble({.whom = std::string(kEveryDevice)});
  const Dictionary* table = topDictionary("MPNRules");
  if (table == nullptr) return;
  const Place& place = places_.back();
  if (table->empty()) withoutRules_.push_back(place);
  for (const auto [partNumber, value] : *table) {
    const Place where = place.entry(partNumber, value);
    if (dictionary(where, "part number " + shown(partNumber)) != nullptr) readPartNumber(where, partNumber);
  }
}

void LocalRules::readPartNumber(const Place& place, std::string_view partNumber) {
  Layer& own = addLayer(Layer::Category::kPartNumber, place, partNumber, {});
  const Value* regionsValue = place.value().ifDictionary()->find(kRegionRules);
  if (regionsValue == nullptr) return assemble({.own = &own, .whom = own.whom()});
  const Place& regionsPlace = places_.emplace_back(own.place.entry(kRegionRules, *regionsValue));
  const Dictionary* regions = dictionary(regionsPlace, own.whom());
  if (regions == nullptr) return;
  if (regions->empty()) withoutRules_.push_back(regionsPlace);
  std::size_t before = 0;
  for (const auto item : *place.value().ifDictionary()) {
    if (item.key == kRegionRules) break;
    ++before;
  }
  std::size_t count = 0;
  for (const auto [name, value] : *regions) {
    const Place where = regionsPlace.entry(name, value);
    const std::string whom = fmt::format("{} in region {}", own.whom(), shown(name));
    if (dictionary(where, whom) == nullptr) continue;
    Layer& region = addLayer(Layer::Category::kRegion, where, partNumber, name);
    assemble({.own = &own, .region = &region, .regionIndex = before, .whom = whom});
    ++count;
  }
  for (Entry& entry : own.entries) entry.holds = entry.holds && entry.replacedInRegions < count;
}

void LocalRules::assemble(Device device) {
  noteWithoutRules(device);
  findSets(device);
  for (Layer* layer : {device.own, device.region, generic_}) reach(layer);
  for (Layer* set : device.sets) reach(set);
  settleOwn(device);
  settleRegion(device);
  if (!settledSets_.insert(device.sets).second) return;
  settleShared(device);
  settleNested(device);
}

void LocalRules::noteWithoutRules(const Device& device) {
  const auto isEmpty = [](const Layer* layer) { return layer == nullptr || layer->entries.empty(); };
  if (!isEmpty(device.own) || !isEmpty(device.region) || !isEmpty(generic_)) return;
  const Layer* layer = device.region != nullptr ? device.region : device.own;
  withoutRules_.push_back(layer != nullptr ? layer->place : root_);
}

/// In the order in which they are expanded: a name that comes again keeps its place.
void LocalRules::findSets(Device& device) {
  std::unordered_set<std::string_view> seen;
  const auto add = [&](const Entry* entry) {
    const auto found = sets_.find(entry->name);
    if (found != sets_.end() && seen.insert(entry->name).second) device.sets.push_back(found->second);
  };
  const auto isBeforeRegion = [&](const Entry* entry) {
    return static_cast<std::size_t>(entry - device.own->entries.data()) < device.regionIndex;
  };
  if (device.own != nullptr) {
    const auto afterRegion = std::ranges::partition_point(device.own->setNames, isBeforeRegion);
    std::for_each(device.own->setNames.begin(), afterRegion, add);
    if (device.region != nullptr) std::ranges::for_each(device.region->setNames, add);
    std::for_each(afterRegion, device.own->setNames.end(), add);
  }
  if (generic_ != nullptr) std::ranges::for_each(generic_->setNames, add);
}

/// For the first time: entries that nothing can replace hold from then on.
void LocalRules::reach(Layer* layer) {
  if (layer == nullptr || layer->isReached) return;
  layer->isReached = true;
  if (layer->category == Layer::Category::kPartNumber || layer->category == Layer::Category::kRegion) return;
  for (Entry& entry : layer->entries) entry.holds = true;
  for (Entry* entry : layer->contested) entry->holds = false;
}

const Value* LocalRules::effectiveValue(const Entry& entry) const {
  if (const Value* own = entry.expected()) return own;
  const Dictionary* definition = library_->findDictionary(entry.name);
  return definition == nullptr ? nullptr : definition->find("value");
}

bool LocalRules::dropsValue(const Entry& winner, const Entry& entry) const {
  const Value* dropped = entry.expected();
  if (dropped == nullptr) return false;
  // What a more special layer says in its turn is meant so.
  if (winner.expected() != nullptr && specificity(*winner.layer) > specificity(*entry.layer)) return false;
  const Value* effective = effectiveValue(winner);
  return effective == nullptr || !(*effective == *dropped);
}

/// `winner`: null where nothing replaces the entry.
void LocalRules::settle(Entry& entry, Entry* winner, const std::string& whom) const {
  if (winner == nullptr || winner == &entry) {
    entry.holds = true;
  } else if (entry.replacedBy == nullptr && dropsValue(*winner, entry)) {
    entry.replacedBy = winner;
    entry.replacedFor = whom;
  }
}

Entry* LocalRules::inSets(std::string_view name, const Device& device) const {
  if (!setsWith_.contains(name)) return nullptr;
  for (auto set = device.sets.rbegin(); set != device.sets.rend(); ++set) {
    if (Entry* entry = (*set)->find(name)) return entry;
  }
  return nullptr;
}

Entry* LocalRules::above(std::string_view name, const Device& device) const {
  if (Entry* entry = inSets(name, device)) return entry;
  return generic_ == nullptr ? nullptr : generic_->find(name);
}

/// As if there were no region: the same for all regions of a part number that name the same sets.
void LocalRules::settleOwn(const Device& device) {
  if (device.own == nullptr || !settledOwn_.emplace(device.own, device.sets).second) return;
  for (Entry& entry : device.own->entries) {
    settle(entry, above(entry.name, device), device.own->whom());
  }
}

void LocalRules::settleRegion(const Device& device) {
  if (device.region == nullptr) return;
  for (Entry& entry : device.region->entries) {
    Entry* own = device.own->find(entry.name);
    const bool ownIsLater =
        own != nullptr && static_cast<std::size_t>(own - device.own->entries.data()) >= device.regionIndex;
    Entry* winner = above(entry.name, device);
    if (winner == nullptr && own != nullptr && !ownIsLater) {
      settle(*own, &entry, device.whom);
      ++own->replacedInRegions;
    }
    if (winner == nullptr && ownIsLater) winner = own;
    settle(entry, winner, device.whom);
  }
}

/// The generic entries and those of the sets.
void LocalRules::settleShared(const Device& device) {
  std::vector<Layer*> layers = device.sets;
  if (generic_ != nullptr) layers.push_back(generic_);
  for (Layer* layer : layers) {
    for (Entry* entry : layer->contested) settle(*entry, inSets(entry->name, device), device.whom);
  }
}

/// A set's name in a set is expanded only where it was there before, and comes later.
void LocalRules::settleNested(const Device& device) {
  for (auto set = device.sets.begin(); set != device.sets.end(); ++set) {
    for (const Entry* entry : (*set)->setNames) {
      const auto isIt = [&](const Layer* other) { return other->name == entry->name; };
      if (std::none_of(set + 1, device.sets.end(), isIt)) unexpanded_.insert(entry);
    }
  }
}

}  // namespace tavik::tool::lint
