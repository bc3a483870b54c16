// An explanation as JSON. Entries without a value are left out.

#include <string_view>
#include <utility>

#include "check/Outcome.h"
#include "explain/Explanation.h"
#include "io/JsonObject.h"

namespace tavik::tool {
namespace {

void setMaybe(Dictionary& object, std::string_view key, const std::optional<Value>& value) {
  if (value) object.set(key, *value);
}

void setMaybe(Dictionary& object, std::string_view key, const std::optional<std::string>& text) {
  if (text) object.set(key, *text);
}

/// The name of the layer: the part number, the region or the set.
std::optional<Value> ownNameOf(const LocalEntry& entry, const Explanation& all) {
  switch (entry.layer) {
    case LocalEntry::Layer::kPartNumber:
      return *all.partNumber;
    case LocalEntry::Layer::kRegion:
      return *all.region;
    case LocalEntry::Layer::kGeneric:
      return std::nullopt;
    case LocalEntry::Layer::kSet:
      break;
  }
  return Value(entry.set);
}

Array entriesOf(const std::vector<LocalEntry>& entries, const Explanation& all) {
  Array array;
  for (const LocalEntry& entry : entries) {
    Dictionary object{{"layer", nameOf(entry.layer)}};
    setMaybe(object, "name", ownNameOf(entry, all));
    object.set("entry", *entry.content);
    array.append(std::move(object));
  }
  return array;
}

Array referencesOf(const RuleEvaluation& evaluation) {
  Array array;
  for (const RuleEvaluation::Operand& reference : evaluation.references) {
    Dictionary object;
    setMaybe(object, "name", reference.name);
    setMaybe(object, "source", reference.source);
    setMaybe(object, "value", reference.value);
    array.append(std::move(object));
  }
  return array;
}

Array callsOf(const RuleEvaluation& evaluation) {
  Array array;
  for (const RuleEvaluation::Call& call : evaluation.calls) {
    Dictionary object{{"predicate", call.word}, {"operation", call.operation()}, {"known", Value(call.isKnown)}};
    if (!call.isKnown) object.set("trouble", troubleOf(call));
    setMaybe(object, "record", call.record);
    array.append(std::move(object));
  }
  return array;
}

Dictionary ruleObject(const RuleNote& rule, const Explanation& all) {
  const RuleEvaluation& evaluation = rule.evaluation;
  Dictionary object{{"rule", rule.rule->name}, {"entries", entriesOf(rule.rule->entries, all)}};
  if (rule.rule->definition != nullptr) object.set("definition", *rule.rule->definition);
  if (const Value* value = rule.rule->value()) {
    object.set("value", *value);
    object.set("value_from", rule.rule->entries.back().value() != nullptr ? "entry" : "library");
  } else if (evaluation.firstReferenceIsValue) {
    setMaybe(object, "value", evaluation.value);
    object.set("value_from", "reference");
  }
  Dictionary attribute;
  setMaybe(attribute, "name", evaluation.attribute.name);
  setMaybe(attribute, "value", evaluation.attribute.value);
  object.set("attribute", attribute);
  object.set("references", referencesOf(evaluation));
  object.set("combination", PredicateExpression::word(evaluation.combination));
  object.set("calls", callsOf(evaluation));
  setMaybe(object, "record", evaluation.record);
  setMaybe(object, "error", valueOf(evaluation.error));
  if (evaluation.fault) object.set("fault", valueOf(*evaluation.fault));
  return object;
}

Dictionary notThereObject(const RuleNotThere& rule, const Explanation& all) {
  Dictionary object{{"rule", rule.name}, {"defined", Value(rule.defined)}, {"devices", all.kinds.value(rule.devices)}};
  setMaybe(object, "nearest", rule.nearest);
  return object;
}

}  // namespace

Value deviceValue(const Value* partNumber, const Value* region) {
  Dictionary device;
  if (partNumber != nullptr) device.set("part_number", *partNumber);
  if (region != nullptr) device.set("region", *region);
  return device;
}

std::string explanationJson(const Explanation& explanation) {
  Array rules;
  for (const RuleNote* rule : explanation.rules) rules.append(ruleObject(*rule, explanation));
  Array sets;
  for (const RuleSetOrigin& set : explanation.notes.device().sets) {
    sets.append(Dictionary{{"name", set.name}, {"entries", entriesOf(set.entries, explanation)}});
  }
  Array notThere;
  for (const RuleNotThere& rule : explanation.notThere) notThere.append(notThereObject(rule, explanation));
  return objectLine({{"device", deviceValue(explanation.partNumber, explanation.region)},
                     {"rules", rules},
                     {"sets", sets},
                     {"not_there", notThere},
                     {"error", std::nullopt}});
}

}  // namespace tavik::tool
