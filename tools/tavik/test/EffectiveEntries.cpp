#include "test/EffectiveEntries.h"

#include <cstddef>
#include <map>
#include <optional>
#include <tuple>

namespace tavik::tool {
namespace {

using Layer = LocalEntry::Layer;

/// Identifies an entry. Documents in some encodings share equal parts, so the part number and the region belong to it.
using Identity = std::tuple<const Value*, const Value*, const Value*, std::string_view, std::string_view>;

Identity identityOf(const EffectiveEntry& entry) {
  const auto [partNumber, region] = entry.scope();
  return {entry.entry.content, partNumber, region, entry.entry.set, entry.name};
}

/// Collects each entry once.
class Collector {
 public:
  explicit Collector(std::vector<EffectiveEntry>& all) : all_(all) {}

  void add(const EffectiveEntry& entry) {
    const auto [place, isNew] = places_.emplace(identityOf(entry), all_.size());
    if (!isNew) {
      all_[place->second].isRedundant &= entry.isRedundant;
    } else {
      all_.push_back(entry);
    }
  }

 private:
  std::vector<EffectiveEntry>& all_;
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

std::string selectorText(const Value* value) {
  return std::string(value == nullptr ? "" : value->ifString().value_or(""));
}

std::string kindText(const DeviceKind& kind) {
  if (kind.partNumber == nullptr) return "any part number";
  const std::string partNumber = "part number " + selectorText(kind.partNumber);
  return kind.region == nullptr ? partNumber : partNumber + ", region " + selectorText(kind.region);
}

bool includes(const DeviceKind& kind, const DeviceKind& device) {
  const auto matches = [](const Value* wanted, const Value* found) {
    return wanted == nullptr || (found != nullptr && *wanted == *found);
  };
  return matches(kind.partNumber, device.partNumber) && matches(kind.region, device.region);
}

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

}  // namespace tavik::tool
