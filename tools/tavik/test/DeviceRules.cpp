#include "test/DeviceRules.h"

#include <algorithm>
#include <tuple>

#include "test/Device.h"

namespace tavik::tool {
namespace {

using Layer = LocalEntry::Layer;

std::optional<Value> copyOf(const Value* value) { return value == nullptr ? std::nullopt : std::optional(*value); }

std::optional<std::string> stringOf(const Value* value) {
  const auto text = value == nullptr ? std::nullopt : value->ifString();
  return text ? std::optional<std::string>(*text) : std::nullopt;
}

/// A change of one field of packed data can change all of it.
RuleOperand whole(const RuleOperand& operand) {
  const std::string_view packed = operand.source ? "" : packedAttributeOf(operand.name);
  return packed.empty() ? operand : RuleOperand{std::nullopt, std::string(packed)};
}

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

DeviceRules::DeviceRules(RuleOrigins::Device device, const Value* partNumber, const Value* region)
    : device_(std::move(device)), partNumber_(copyOf(partNumber)), region_(copyOf(region)) {
  for (const RuleOrigin& rule : device_.rules) {
    const std::size_t number = facts_.size();
    numbers_.emplace(rule.name, number);
    facts_.emplace_back(rule.name, rule.definition, rule.value());
    for (const RuleOperand& operand : facts_.back().operands()) {
      std::vector<std::size_t>& all = readers_[whole(operand)];
      if (all.empty() || all.back() != number) all.push_back(number);
    }
  }
}

std::optional<std::size_t> DeviceRules::find(std::string_view rule) const {
  const auto found = numbers_.find(rule);
  return found == numbers_.end() ? std::nullopt : std::optional(found->second);
}

const std::vector<std::size_t>& DeviceRules::readers(const RuleOperand& operand) const {
  static const std::vector<std::size_t> kNone;
  const auto found = readers_.find(whole(operand));
  return found == readers_.end() ? kNone : found->second;
}

bool DeviceRules::hasSameRules(const DeviceRules& other) const {
  return std::ranges::equal(rules(), other.rules(), [](const RuleOrigin& mine, const RuleOrigin& theirs) {
    return mine.name == theirs.name && mine.definition == theirs.definition &&
           mine.entries.back().content == theirs.entries.back().content;
  });
}

std::shared_ptr<const DeviceRules> DeviceRulesCache::of(const Dictionary& attributes) {
  const Value* const partNumber = attributes.find("ModelNumber");
  const Value* const region = attributes.find("RegionInfo");
  auto& known = known_[{stringOf(partNumber), stringOf(region)}];
  if (known) return known;
  std::optional<Error> error;
  auto device = origins_.of(partNumber, region, error);
  if (device) known = std::make_shared<const DeviceRules>(*std::move(device), partNumber, region);
  return known;
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

std::string selectorText(const Value* value) { return stringOf(value).value_or(""); }

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
