/// @file
/// An expected value of a rule and its parts, as its predicate reads them, and whether anything can match them.
#ifndef TAVIK_TOOL_LINT_VALUE_PART_H
#define TAVIK_TOOL_LINT_VALUE_PART_H

#include "lint/Rule.h"

namespace tavik::tool::lint {

/// A value, or a part of one, and how it is used.
struct ValuePart {
  const Rule& rule;
  const Rule::Operand& operand;
  const ValueFacts& facts;
  const Place& place;
  /// Nothing passes unless this part matches; otherwise other parts may still match.
  bool alone;
  /// The part is the key of a table.
  bool isKey = false;

  /// The string, if the part may be one.
  [[nodiscard]] std::optional<std::string_view> text() const {
    return isKey ? std::optional(place.key()) : place.value().ifString();
  }
};

/// Why the kind of a part is not accepted; empty if it is.
std::string wrongKindOf(const ValuePart& part);
/// Why an empty part never passes, or always does.
std::string emptinessOf(const ValuePart& part);
/// Why a string can never match.
std::string impossibilityOf(const ValuePart& part);

[[nodiscard]] bool isEmpty(const ValuePart& part);
/// A nonempty list or table none of whose elements can match.
[[nodiscard]] bool allDead(const ValuePart& part);
/// Nothing can match the part.
[[nodiscard]] bool neverPasses(const ValuePart& part);

[[nodiscard]] Rule::Forecast forecastOf(Without without);
/// The result of a predicate, as far as the documents determine it.
[[nodiscard]] Rule::Forecast forecastOf(const Rule& rule, const Rule::Operand& operand);

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
