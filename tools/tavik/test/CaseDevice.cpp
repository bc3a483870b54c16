#include "test/CaseDevice.h"

#include <utility>

#include "rules/HostPlatform.h"
#include "test/AttributeChange.h"

namespace tavik::tool {
namespace {

void apply(const DeviceChange& change, Dictionary& attributes, Dictionary& sources) {
  const std::string& name = change.operand.name;
  if (change.operand.source) {
    sources.set(*change.operand.source, changedSource(change, sources));
  } else if (change.value) {
    setAttribute(attributes, name, *change.value);
  } else {
    removeAttribute(attributes, name);
  }
}

}  // namespace

Dictionary changedSource(const DeviceChange& change, const Dictionary& sources) {
  const Dictionary* const known = sources.findDictionary(*change.operand.source);
  Dictionary source = known == nullptr ? Dictionary() : *known;
  source.setOrRemove(change.operand.name, change.value ? &*change.value : nullptr);
  return source;
}

const Dictionary* recordOf(const RuleEvaluation& evaluation) {
  return evaluation.record ? evaluation.record->ifDictionary() : nullptr;
}

CaseDevice::CaseDevice(Dictionary attributes, Dictionary sources, std::shared_ptr<const IndexedRules> kind)
    : attributes_(std::move(attributes)),
      sources_(std::move(sources)),
      kind_(std::move(kind)),
      evaluator_(silentKernel(), attributes_, sources_) {}

const Value* CaseDevice::find(const RuleOperand& operand) const {
  if (!operand.source) return evaluator_.attributes().find(operand.name);
  const Dictionary* const source = sources_.findDictionary(*operand.source);
  return source == nullptr ? nullptr : source->find(operand.name);
}

std::optional<Dictionary> CaseDevice::record(const RuleOrigin& rule, const std::vector<RuleOperand>& operands,
                                             const DeviceChange* change) const {
  Dictionary attributes;
  for (const RuleOperand& operand : operands) {
    const Value* const value = operand.source ? nullptr : find(operand);
    if (value != nullptr) attributes.set(operand.name, *value);
  }
  Dictionary sources = sources_;
  if (change != nullptr) apply(*change, attributes, sources);
  const RuleEvaluation evaluation =
      RuleEvaluator(silentKernel(), std::move(attributes), std::move(sources)).evaluate(rule);
  const Dictionary* const record = recordOf(evaluation);
  return record == nullptr ? std::nullopt : std::optional(*record);
}

std::optional<CaseDevice> CaseDevice::after(const DeviceChange& change, IndexedRulesCache& kinds) const {
  Dictionary attributes = attributes_;
  Dictionary sources = sources_;
  apply(change, attributes, sources);
  std::shared_ptr<const IndexedRules> kind = kinds.of(attributes);
  if (!kind || !kind->hasSameRules(*kind_)) return std::nullopt;
  return CaseDevice(std::move(attributes), std::move(sources), std::move(kind));
}

}  // namespace tavik::tool
