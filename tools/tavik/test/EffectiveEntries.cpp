#include "test/EffectiveEntries.h"

#include <cstddef>
#include <map>
#include <optional>
#include <string_view>
#include <tuple>
#include <unordered_map>

namespace tavik::tool {
namespace {

using Layer = LocalEntry::Layer;

/// Collects each entry once, by name.
class Collector {
 public:
  explicit Collector(EffectiveEntries::ByName& all) : all_(all) {}

  void add(const EffectiveEntry& entry) {
    const auto [place, isNewName] = names_.try_emplace(entry.name, all_.size());
    if (isNewName) all_.emplace_back();
    std::vector<EffectiveEntry>& entries = all_[place->second];
    // Documents in some encodings share equal parts, so the content alone does not identify an entry.
    const auto [partNumber, region] = entry.scope();
    const auto [known, isNew] =
        places_.try_emplace({entry.name, entry.entry.content, partNumber, region, entry.entry.set}, entries.size());
    if (!isNew) {
      entries[known->second].isRedundant &= entry.isRedundant;
    } else {
      entries.push_back(entry);
    }
  }

 private:
  using Identity = std::tuple<std::string_view, const Value*, const Value*, const Value*, std::string_view>;

  EffectiveEntries::ByName& all_;
  std::unordered_map<std::string_view, std::size_t> names_;
  std::map<Identity, std::size_t> places_;
};

bool isRedundant(const RuleOrigin& rule) {
  if (rule.entries.size() == 1) return false;
  RuleOrigin rest = rule;
  rest.entries.pop_back();
  const Value* const value = rule.value();
  const Value* const other = rest.value();
  return value == other || (value != nullptr && other != nullptr && *value == *other);
}

}  // namespace

DeviceKind EffectiveEntry::scope() const {
  if (entry.layer == Layer::kRegion) return kind;
  return {entry.layer == Layer::kPartNumber ? kind.partNumber : nullptr, nullptr};
}

std::string EffectiveEntry::layerText() const {
  if (entry.layer == Layer::kGeneric) return "GenericRules";
  return entry.layer == Layer::kSet ? std::string(entry.set) : kindText(scope());
}

EffectiveEntries::EffectiveEntries(const RuleOrigins& origins) {
  Collector ofRules(rules);
  Collector ofSets(sets);
  for (const DeviceKind& kind : origins.deviceKinds()) {
    std::optional<Error> error;
    const auto device = origins.of(kind.partNumber, kind.region, error);
    if (!device) continue;
    kinds.push_back(kind);
    for (const RuleOrigin& rule : device->rules)
      ofRules.add({{rule.name, rule.definition, rule.entries.back()}, kind, isRedundant(rule)});
    for (const RuleSetOrigin& set : device->sets)
      ofSets.add({{set.name, nullptr, set.entries.back()}, kind, set.entries.size() > 1});
  }
}

std::string selectorText(const Value* value) {
  return std::string(value == nullptr ? "" : value->ifString().value_or(""));
}

bool includes(const DeviceKind& kind, const DeviceKind& device) {
  const auto matches = [](const Value* wanted, const Value* found) {
    return wanted == nullptr || (found != nullptr && *wanted == *found);
  };
  return matches(kind.partNumber, device.partNumber) && matches(kind.region, device.region);
}

std::string kindText(const DeviceKind& kind) {
  if (kind.partNumber == nullptr) return "any part number";
  const std::string partNumber = "part number " + selectorText(kind.partNumber);
  return kind.region == nullptr ? partNumber : partNumber + ", region " + selectorText(kind.region);
}

}  // namespace tavik::tool
