#include "test/Device.h"

#include <tavik/ZRTTavikKernel.h>

#include <utility>

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
