#include "lint/LocalRules.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <span>
#include <utility>

namespace tavik::tool::lint {
namespace {

using enum LocalEntry::Layer;

/// A region is more specific than its part number, and a set, which part numbers choose, is more specific than the
/// generic entries.
int specificity(const Entry& entry) {
  constexpr int kOfLayers[] = {2, 3, 0, 1};
  return kOfLayers[static_cast<std::size_t>(entry.layer->category)];
}

/// Reads the layers, then determines the effect of their entries.
class Assembly {
 public:
  Assembly(LocalRules& rules, const Dictionary& library) : rules_(rules), library_(library) {
    read();
    settleDevices();
  }

 private:
  void read() {
    if (const Value* generic = document().find("GenericRules")) {
      if (Layer* layer = add(kGeneric, rules_.root.entry("GenericRules", *generic))) shared_.emplace("", layer);
    }
    readTable(rules_.root, "RuleSets", "every device", [&](const Place& place) {
      Layer* set = add(kSet, place);
      if (set == nullptr) return;
      shared_.emplace(place.key(), set);
      for (const Entry& entry : set->entries) ++setsWith_[entry.name];
    });
    readTable(rules_.root, "MPNRules", "every device", [&](const Place& place) {
      if (Layer* own = add(kPartNumber, place, place.key())) readRegions(*own);
    });
    if (!document().contains("MPNRules")) devices_.emplace_back();
  }

  void settleDevices() {
    auto device = devices_.begin();
    RuleOrigins({}, document()).forEachKind([&](const DeviceKind&, std::span<const LocalLayer> layers) {
      settleDevice(device->first, device->second, layers);
      ++device;
    });
    for (Layer& layer : rules_.layers) {
      for (Entry& entry : layer.entries) entry.holds = entry.holds && entry.replacedInRegions < layer.regions;
    }
  }

  using Layers = std::span<Layer* const>;

  [[nodiscard]] const Dictionary& document() const { return *rules_.root.value().ifDictionary(); }

  void readTable(const Place& parent, std::string_view key, const std::string& whom, const auto& readEntry) {
    const Value* value = parent.value().ifDictionary()->find(key);
    if (value == nullptr) return;
    const Place& place = rules_.tables.emplace_back(parent.entry(key, *value));
    const Dictionary* table = value->ifDictionary();
    if (table == nullptr) return rules_.malformed.push_back({place, whom});
    if (table->empty() && key != "RuleSets") rules_.withoutRules.push_back(place);
    for (const auto [name, content] : *table) readEntry(place.entry(name, content));
  }

  /// Null if there is no dictionary.
  Layer* add(LocalEntry::Layer category, const Place& place, std::string_view partNumber = {}) {
    Layer& layer = rules_.layers.emplace_back(Layer{.category = category, .place = place, .partNumber = partNumber});
    const Dictionary* dictionary = place.value().ifDictionary();
    if (dictionary == nullptr) {
      rules_.malformed.push_back({place, layer.whom()});
      rules_.layers.pop_back();
      return nullptr;
    }
    layer.entries.reserve(dictionary->size());
    for (const auto [key, value] : *dictionary) {
      if (category == kPartNumber && key == kRegionRules) continue;
      layer.entries.push_back({.name = key, .value = &value, .layer = &layer});
      layer.byName.emplace(key, &layer.entries.back());
    }
    return &layer;
  }

  void readRegions(Layer& own) {
    if (!own.place.value().ifDictionary()->contains(kRegionRules))
      return static_cast<void>(devices_.emplace_back(&own, nullptr));
    own.regions = 0;
    readTable(own.place, kRegionRules, own.whom(), [&](const Place& place) {
      Layer* region = add(kRegion, place, own.partNumber);
      if (region == nullptr) return;
      devices_.emplace_back(&own, region);
      ++own.regions;
    });
  }

  /// The effect of an entry depends on the layers after it, which many devices share: each layer is resolved once for
  /// the same following layers.
  void settleDevice(Layer* own, Layer* region, std::span<const LocalLayer> layers) {
    const Layer* device = region != nullptr ? region : own;
    if (std::ranges::all_of(layers, [](const LocalLayer& layer) { return layer.size == 0; })) {
      rules_.withoutRules.push_back(device != nullptr ? device->place : rules_.root);
    }
    std::vector<Layer*> shared;
    for (const LocalLayer& layer : layers) {
      if (layer.layer == kGeneric || layer.layer == kSet) shared.push_back(shared_.at(layer.set));
    }
    std::size_t end = 0;
    for (std::size_t i = shared.size(); i-- > 0;) {
      const auto [place, isNew] = ends_.try_emplace({end, shared[i]}, ends_.size() + 1);
      end = place->second;
      if (isNew) settleLayer(*shared[i], Layers(shared).subspan(i + 1), device != nullptr ? *device : *shared.front());
    }
    if (region != nullptr) settleRegion(*own, layers.front().size, *region, shared);
    if (own != nullptr && (region == nullptr || ends_.try_emplace({end, own}).second)) settleLayer(*own, shared, *own);
  }

  /// For a part number: as if there were no region.
  void settleLayer(Layer& layer, Layers later, const Layer& device) {
    if (layer.isReached) {
      for (Entry* entry : layer.contested) settleEntry(*entry, later, device);
      return;
    }
    layer.isReached = true;
    for (Entry& entry : layer.entries) {
      settleEntry(entry, later, device);
      if (isContested(entry)) layer.contested.push_back(&entry);
    }
  }

  /// Whether the effect of the entry depends on the sets after it.
  [[nodiscard]] bool isContested(const Entry& entry) const {
    const bool isInSet = entry.layer->category == kSet;
    const auto sets = setsWith_.find(entry.name);
    return (sets != setsWith_.end() && sets->second > (isInSet ? 1 : 0)) || (isInSet && namesSet(entry.name));
  }

  void settleEntry(Entry& entry, Layers later, const Layer& device) {
    settle(entry, last(entry.name, later), device);
    const auto isItsSet = [&](const Layer* set) { return set->place.key() == entry.name; };
    const bool isNested = entry.layer->category == kSet && namesSet(entry.name);
    if (isNested && std::ranges::none_of(later, isItsSet)) entry.staysRule = true;
  }

  /// The region's entries come after this many entries of its part number.
  void settleRegion(const Layer& own, std::size_t before, Layer& region, Layers later) {
    region.isReached = true;
    for (Entry& entry : region.entries) {
      const Entry* winner = last(entry.name, later);
      Entry* beside = own.find(entry.name);
      const bool isAfter = beside != nullptr && beside >= own.entries.data() + before;
      if (winner == nullptr && isAfter) winner = beside;
      settle(entry, winner, region);
      if (winner != nullptr || beside == nullptr) continue;
      replace(*beside, entry, region);
      ++beside->replacedInRegions;
    }
  }

  /// `winner`: null if nothing replaces the entry.
  void settle(Entry& entry, const Entry* winner, const Layer& device) {
    if (winner != nullptr) return replace(entry, *winner, device);
    entry.holds = true;
  }

  void replace(Entry& entry, const Entry& winner, const Layer& device) {
    const Value* dropped = entry.expected();
    if (entry.replacedBy != nullptr || dropped == nullptr) return;
    // A value from a more specific layer is intentional.
    if (winner.expected() != nullptr && specificity(winner) > specificity(entry)) return;
    const Dictionary* definition = library_.findDictionary(entry.name);
    const Value* inLibrary = definition == nullptr ? nullptr : definition->find("value");
    const Value* replacement = winner.expected() != nullptr ? winner.expected() : inLibrary;
    if (replacement != nullptr && *replacement == *dropped) return;
    entry.replacedBy = &winner;
    entry.replacement = replacement;
    entry.replacedFor = &device;
  }

  /// The entry of that name in the last of the layers that have one; null if none does.
  [[nodiscard]] const Entry* last(std::string_view name, Layers layers) const {
    if (!setsWith_.contains(name)) layers = layers.first(std::min<std::size_t>(layers.size(), 1));
    for (std::size_t i = layers.size(); i-- > 0;) {
      if (const Entry* entry = layers[i]->find(name)) return entry;
    }
    return nullptr;
  }

  LocalRules& rules_;
  const Dictionary& library_;
  std::vector<std::pair<Layer*, Layer*>> devices_;       // part number and region; null where they make no difference
  std::unordered_map<std::string_view, Layer*> shared_;  // the generic entries, without a name, and the sets
  std::unordered_map<std::string_view, std::size_t> setsWith_;  // rule name -> how many sets have it
  /// The last layers of a device, numbered: the first of them, and the number of the others.
  std::map<std::pair<std::size_t, const Layer*>, std::size_t> ends_;
};

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
  if (category == kGeneric) return "every device";
  if (category == kSet) return "every device that gets the set " + shown(place.key());
  if (category == kPartNumber) return "part number " + shown(partNumber);
  return fmt::format("part number {} in region {}", shown(partNumber), shown(place.key()));
}

LocalRules::LocalRules(const Document& document, const Document& library)
    : root(document), kinds(library.entries(), document.entries()) {
  Assembly(*this, library.entries());
  for (const Layer& layer : layers) {
    for (const Entry& entry : layer.entries) byValue_.emplace(entry.value, &entry);
  }
}

const Entry* LocalRules::entryOf(const Value* content) const {
  const auto found = byValue_.find(content);
  return found == byValue_.end() ? nullptr : found->second;
}

}  // namespace tavik::tool::lint
