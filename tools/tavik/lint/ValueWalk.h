/// @file
/// Walks an expected value in the way its predicate reads it.
#ifndef TAVIK_TOOL_LINT_VALUE_WALK_H
#define TAVIK_TOOL_LINT_VALUE_WALK_H

#include "lint/ValuePart.h"

namespace tavik::tool::lint {

/// Calls `visit` with the value and its parts, as far as they have the right kind.
template <class Visit>
void walkValue(const ValuePart& part, const Visit& visit) {
  const auto child = [&](const ValueFacts& facts, const Place& place, bool alone) {
    walkValue<Visit>({part.rule, part.operand, facts, place, alone}, visit);
  };
  visit(part);
  if (!part.facts.kinds.contains(part.place.value().kind())) return;
  if (const Array* array = part.place.value().ifArray(); array != nullptr && part.facts.elements != nullptr) {
    const bool everyOne =
        part.facts.elementsNeeded == ValueFacts::Elements::kEvery || array->size() == 1 || allDead(part);
    for (std::size_t i = 0; i < array->size(); ++i) {
      child(*part.facts.elements, part.place.element(i, array->at(i)), part.alone && everyOne);
    }
  }
  const Dictionary* dictionary = part.place.value().ifDictionary();
  if (dictionary == nullptr) return;
  if (part.facts.tableEntries != nullptr) {
    const bool alone = part.alone && (dictionary->size() == 1 || allDead(part));
    for (const auto [key, value] : *dictionary) {
      const Place place = part.place.entry(key, value);
      visit({part.rule, part.operand, *part.facts.tableKeys, place, alone, true});
      child(*part.facts.tableEntries, place, alone);
    }
  }
  for (const EntryFacts& entry : part.facts.entries) {
    const Value* value = dictionary->find(entry.key);
    if (value == nullptr) continue;
    child(*entry.value, part.place.entry(entry.key, *value), part.alone && entry.without != Without::kSame);
  }
}

/// The same for the rule's value, once per predicate that reads it.
template <class Visit>
void walkValues(const Rule& rule, const Visit& visit) {
  if (!rule.value()) return;
  for (const Rule::Operand& operand : rule.operands()) {
    if (!rule.isCalled(operand) || operand.facts->withoutValue == Without::kSame) continue;
    walkValue({rule, operand, operand.facts->value, *rule.value(), true}, visit);
  }
}

}  // namespace tavik::tool::lint

#endif
