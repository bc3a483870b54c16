#include "test/Device.h"

#include <tavik/ZRTTavikKernel.h>

#include <algorithm>

#include "rules/HostPlatform.h"

namespace tavik::tool {
namespace {

struct PackedAttribute {
  std::string_view name;
  std::string_view prefix;  ///< of its fields
  void (*expand)(Dictionary& attributes);
};

constexpr PackedAttribute kPackedAttributes[] = {
    {"SysCfgData", "SysCfgData.", ZRTTavikKernel::expandSysConfigData},
    {"BasebandFirmwareManifestData", "ProvisioningManifestData.", ZRTTavikKernel::expandBasebandManifestData},
    {"BasebandFirmwareManifestData", "RootManifestData.", ZRTTavikKernel::expandBasebandManifestData},
};

const PackedAttribute* find(std::string_view field) {
  for (const PackedAttribute& packed : kPackedAttributes) {
    if (field.starts_with(packed.prefix)) return &packed;
  }
  return nullptr;
}

void unpackFor(std::string_view name, Dictionary& attributes) {
  const PackedAttribute* const packed = find(name);
  if (packed == nullptr) return;
  packed->expand(attributes);
  attributes.erase(packed->name);
}

std::optional<Value> copyOf(const Value* value) { return value == nullptr ? std::nullopt : std::optional(*value); }

std::optional<std::string> stringOf(const Value* value) {
  const auto text = value == nullptr ? std::nullopt : value->ifString();
  return text ? std::optional<std::string>(*text) : std::nullopt;
}

/// A change of one field of packed data can change all of it.
RuleOperand whole(const RuleOperand& operand) {
  const PackedAttribute* const packed = operand.source ? nullptr : find(operand.name);
  return packed == nullptr ? operand : RuleOperand{std::nullopt, std::string(packed->name)};
}

}  // namespace

std::string_view packedAttributeOf(std::string_view name) {
  const PackedAttribute* const packed = find(name);
  return packed == nullptr ? "" : packed->name;
}

void setAttribute(Dictionary& attributes, std::string_view name, const Value& value) {
  unpackFor(name, attributes);
  attributes.set(name, value);
}

bool removeAttribute(Dictionary& attributes, std::string_view name) {
  unpackFor(name, attributes);
  return attributes.erase(name);
}

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

void ValueChange::applyTo(Dictionary& attributes, Dictionary& sources) const {
  if (operand.source) {
    const Dictionary* const known = sources.findDictionary(*operand.source);
    Dictionary source = known == nullptr ? Dictionary() : *known;
    source.setOrRemove(operand.name, value ? &*value : nullptr);
    sources.set(*operand.source, source);
  } else if (value) {
    setAttribute(attributes, operand.name, *value);
  } else {
    removeAttribute(attributes, operand.name);
  }
}

Device::Device(Dictionary attributes, Dictionary sources, std::shared_ptr<const DeviceRules> rules)
    : attributes_(std::move(attributes)),
      sources_(std::move(sources)),
      rules_(std::move(rules)),
      evaluator_(silentKernel(), attributes_, sources_) {}

const Value* Device::find(const RuleOperand& operand) const {
  if (!operand.source) return evaluator_.attributes().find(operand.name);
  const Dictionary* const source = sources_.findDictionary(*operand.source);
  return source == nullptr ? nullptr : source->find(operand.name);
}

std::optional<Dictionary> Device::record(const RuleOrigin& rule) const {
  const RuleEvaluation evaluation = evaluate(rule);
  return evaluation.record ? std::optional(*evaluation.record->ifDictionary()) : std::nullopt;
}

std::optional<Dictionary> Device::recordAfter(const ValueChange& change, const RuleOrigin& rule,
                                              const std::vector<RuleOperand>& operands) const {
  Dictionary attributes;  // only what the rule reads: a dictionary that changes is copied
  for (const RuleOperand& operand : operands) {
    const Value* const value = operand.source ? nullptr : find(operand);
    if (value != nullptr) attributes.set(operand.name, *value);
  }
  Dictionary sources = sources_;
  change.applyTo(attributes, sources);
  return Device(std::move(attributes), std::move(sources), rules_).record(rule);
}

std::optional<Device> Device::after(const ValueChange& change, DeviceRulesCache& cache) const {
  Dictionary attributes = attributes_;
  Dictionary sources = sources_;
  change.applyTo(attributes, sources);
  std::shared_ptr<const DeviceRules> rules = cache.of(attributes);
  if (!rules || !rules->hasSameRules(*rules_)) return std::nullopt;
  return Device(std::move(attributes), std::move(sources), std::move(rules));
}

}  // namespace tavik::tool
