#include "lint/ValuePart.h"

#include <fmt/format.h>

#include <algorithm>

#include "rules/RuleMeaning.h"
#include "text/Text.h"

namespace tavik::tool::lint {
namespace {

using Empty = ValueFacts::Empty;
using Forecast = Rule::Forecast;

std::string nounOf(const ValuePart& part) {
  if (!part.facts.role.empty()) return fmt::format("The {}", part.facts.role);
  return part.place.name() == "value" ? "The value" : fmt::format("The entry under \"{}\"", part.place.name());
}

bool isPassedOver(const ValueFacts& facts, const Value& value) {
  return facts.otherKind == ValueFacts::OtherKind::kPassedOver && !facts.kinds.contains(value.kind());
}

ValuePart childOf(const ValuePart& part, const ValueFacts& facts, const Place& place, bool isKey = false) {
  return {part.rule, part.operand, facts, place, part.alone, isKey};
}

bool deadEntry(const ValuePart& part, std::string_view key, const Value& value) {
  const Place place = part.place.entry(key, value);
  return neverPasses(childOf(part, *part.facts.tableKeys, place, true)) ||
         neverPasses(childOf(part, *part.facts.tableEntries, place));
}

/// Whether a required entry with a fixed name is missing or can never match.
bool lacksEntry(const ValuePart& part, const Dictionary& dictionary) {
  return std::ranges::any_of(part.facts.entries, [&](const EntryFacts& entry) {
    const Value* value = dictionary.find(entry.key);
    if (value == nullptr || isPassedOver(*entry.value, *value)) return entry.without == Without::kFails;
    return entry.without != Without::kSame &&
           neverPasses(childOf(part, *entry.value, part.place.entry(entry.key, *value)));
  });
}

/// Whether a dictionary is empty or, if any one of its entries is enough, none of them can match.
bool holdsNothing(const ValuePart& part, const Dictionary& dictionary) {
  const auto willDo = [](const EntryFacts& entry) { return entry.without == Without::kSame; };
  if (dictionary.empty()) return true;
  if (part.facts.entries.empty() || !std::ranges::all_of(part.facts.entries, willDo)) return false;
  return std::ranges::all_of(part.facts.entries, [&](const EntryFacts& entry) {
    const Value* value = dictionary.find(entry.key);
    if (value == nullptr || isPassedOver(*entry.value, *value)) return true;
    const Place place = part.place.entry(entry.key, *value);
    const ValuePart child = childOf(part, *entry.value, place);
    return isEmpty(child) || neverPasses(child);
  });
}

/// Whether an entry is missing whose absence causes a fault.
bool mayFault(const ValuePart& part) {
  const Dictionary* dictionary = part.place.value().ifDictionary();
  return dictionary != nullptr && std::ranges::any_of(part.facts.entries, [&](const EntryFacts& entry) {
           return entry.without == Without::kFault && !dictionary->contains(entry.key);
         });
}

}  // namespace

std::string wrongKindOf(const ValuePart& part) {
  const Kind kind = part.place.value().kind();
  if (part.isKey || part.facts.kinds.contains(kind)) return "";
  const bool isShort = kind != Kind::kArray && kind != Kind::kDictionary;
  return fmt::format("\"{}\" takes {} here, not {}{}.", part.operand.word, textOf(part.facts.kinds, kindName),
                     kindName(kind), isShort ? " as " + shown(part.place.value()) : "");
}

bool isEmpty(const ValuePart& part) {
  if (const auto text = part.text()) return text->empty();
  const Array* array = part.place.value().ifArray();
  const Dictionary* dictionary = part.place.value().ifDictionary();
  return (array != nullptr && array->empty()) || (dictionary != nullptr && holdsNothing(part, *dictionary));
}

std::string emptinessOf(const ValuePart& part) {
  if (part.facts.empty == Empty::kOrdinary || !isEmpty(part)) return "";
  const Dictionary* dictionary = part.place.value().ifDictionary();
  const bool holdsSomething = dictionary != nullptr && !dictionary->empty();
  return fmt::format("{} of \"{}\" {}.", nounOf(part), part.operand.word,
                     holdsSomething ? "has no entry that can match" : "is empty");
}

std::string impossibilityOf(const ValuePart& part) {
  const auto text = part.text();
  if (!text || (text->empty() && part.facts.empty != Empty::kOrdinary)) return "";
  const ValueFacts& facts = part.facts;
  const std::size_t count = charactersIn(*text);
  if (facts.characters != 0 && count != facts.characters) {
    return fmt::format("{} {} has {} characters, but \"{}\" compares with {} characters.", nounOf(part), shown(*text),
                       count, part.operand.word, facts.characters);
  }
  if (!facts.onlyOf.empty() && text->find_first_not_of(facts.onlyOf) != std::string_view::npos) {
    return fmt::format("{} contains characters other than {}.", shown(*text), facts.role);
  }
  if (facts.inPairs && count % 2 != 0) return fmt::format("{} has an odd number of {}.", shown(*text), facts.role);
  if (const std::size_t found = text->find_first_of(facts.noneOf); found != std::string_view::npos) {
    return fmt::format("{} {} contains \"{}\", which is invalid in a {}.", nounOf(part), shown(*text), (*text)[found],
                       facts.role);
  }
  return "";
}

bool allDead(const ValuePart& part) {
  const Array* array = part.place.value().ifArray();
  if (array != nullptr && part.facts.elements != nullptr) {
    for (std::size_t i = 0; i < array->size(); ++i) {
      if (!neverPasses(childOf(part, *part.facts.elements, part.place.element(i, array->at(i))))) return false;
    }
    return !array->empty();
  }
  const Dictionary* dictionary = part.place.value().ifDictionary();
  if (dictionary == nullptr || part.facts.tableEntries == nullptr) return false;
  for (const auto [key, value] : *dictionary) {
    if (!deadEntry(part, key, value)) return false;
  }
  return !dictionary->empty();
}

bool neverPasses(const ValuePart& part) {
  if (!part.isKey && isPassedOver(part.facts, part.place.value())) return false;
  if (!wrongKindOf(part).empty() || !impossibilityOf(part).empty()) return true;
  if (part.facts.empty == Empty::kNeverPasses && isEmpty(part)) return true;
  if (part.isKey) return false;
  const Dictionary* dictionary = part.place.value().ifDictionary();
  return allDead(part) || (dictionary != nullptr && lacksEntry(part, *dictionary));
}

Rule::Forecast forecastOf(Without without) {
  switch (without) {
    case Without::kFails:
      return Forecast::kFails;
    case Without::kPasses:
      return Forecast::kPasses;
    case Without::kFault:
      return Forecast::kFault;
    case Without::kComparesWithZero:
    case Without::kComparesWithFalse:
    case Without::kSame:
      break;
  }
  return Forecast::kOpen;
}

Rule::Forecast forecastOf(const Rule& rule, const Rule::Operand& operand) {
  if (!rule.isCalled(operand)) return Forecast::kFails;
  const PredicateFacts& facts = *operand.facts;
  const auto isListed = [&](std::string_view name) { return std::ranges::count(rule.referenceNames(), name) != 0; };
  if (!std::ranges::all_of(facts.references, isListed)) return Forecast::kFails;
  if (rule.lacksValue(operand)) return forecastOf(facts.withoutValue);
  if (!rule.value() || facts.withoutValue == Without::kSame) return Forecast::kOpen;
  const ValuePart whole = {rule, operand, facts.value, *rule.value(), true};
  if (neverPasses(whole)) return Forecast::kFails;
  if (facts.value.empty == Empty::kPassesAlways && isEmpty(whole)) return Forecast::kPasses;
  return facts.forwards && !mayFault(whole) ? Forecast::kPasses : Forecast::kOpen;
}

}  // namespace tavik::tool::lint
