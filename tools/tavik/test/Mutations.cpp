// The kinds of changes that `tavik test --mutate` makes. To add one, add a function and a row to the table at the end.

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <set>
#include <string>
#include <tuple>
#include <utility>

#include "io/Json.h"
#include "rules/NearbyValues.h"
#include "test/Mutant.h"

namespace tavik::tool {
namespace {

using Entries = std::vector<EffectiveEntry>;  ///< of one rule or rule set
using Operator = PredicateExpression::Operator;

// ---- Changes in words ---------------------------------------------------------------------------------------------

std::string brief(const Value& value) { return shortJson(value, 60); }

/// `without "sand"`, `with "sane"`, `"sane" instead of "sand"`.
std::string stepText(const Value* removed, const Value* added) {
  if (added == nullptr) return "without " + brief(*removed);
  if (removed == nullptr) return "with " + brief(*added);
  return fmt::format("{} instead of {}", brief(*added), brief(*removed));
}

/// The elements of a list, or the keys of a table.
std::vector<Value> membersOf(const Value& value) {
  std::vector<Value> members;
  if (const Array* const array = value.ifArray()) members.assign(array->begin(), array->end());
  if (value.ifDictionary() == nullptr) return members;
  for (const auto& item : *value.ifDictionary()) members.emplace_back(item.key);
  return members;
}

/// `65 instead of 64`, `without "sand"`, `"Mask": {...} instead of {...}`.
std::string changeText(const Value& before, const Value& after) {
  const std::vector<Value> old = membersOf(before);
  const std::vector<Value> now = membersOf(after);
  const auto [oldBegin, nowBegin] = std::ranges::mismatch(old, now);
  auto oldEnd = old.end();
  auto nowEnd = now.end();
  for (; oldEnd != oldBegin && nowEnd != nowBegin && oldEnd[-1] == nowEnd[-1]; --oldEnd) --nowEnd;
  const auto removed = oldEnd - oldBegin;
  const auto added = nowEnd - nowBegin;
  if (before.kind() != after.kind() || removed > 1 || added > 1) return stepText(&before, &after);
  if (removed != 0 && added != 0) return changeText(*oldBegin, *nowBegin);
  if (removed != 0 || added != 0)
    return stepText(removed != 0 ? &*oldBegin : nullptr, added != 0 ? &*nowBegin : nullptr);
  if (before.ifDictionary() == nullptr) return stepText(&before, &after);
  for (const auto [key, value] : *before.ifDictionary()) {
    const Value& other = *after.ifDictionary()->find(key);
    if (other != value) return brief(Value(key)) + ": " + changeText(value, other);
  }
  return stepText(&before, &after);
}

// ---- Rules --------------------------------------------------------------------------------------------------------

RuleFacts factsOf(const EffectiveEntry& entry, const Value* value) { return {entry.name, entry.definition, value}; }

/// Whether the rule passes for every device, whatever its value is.
bool checksNothing(const RuleFacts& facts) { return facts.cannotFail() && !facts.forwards(); }

/// Whether the rule depends on its value.
bool readsValue(const RuleFacts& facts) { return !facts.valueReaders().empty() && !checksNothing(facts); }

/// Whether all predicates that read the value read both as the same.
bool readTheSame(const RuleFacts& facts, const Value& first, const Value& second) {
  return std::ranges::all_of(facts.valueReaders(),
                             [&](const PredicateFacts* reader) { return readsTheSame(reader->value, first, second); });
}

Dictionary with(Dictionary dictionary, std::string_view key, const Value& value) {
  dictionary.set(key, value);
  return dictionary;
}

class Maker {
 public:
  using Visit = std::function<void(const Mutant&)>;
  Maker(std::string_view mutation, const Visit& visit) : mutation_(mutation), visit_(visit) {}

  void definition(const EffectiveEntry& entry, std::string change, std::string_view key, const Value& value) const {
    Mutant mutant{mutation_, std::string(entry.name), std::move(change), "rule library", entry.kind};
    mutant.definition = with(*entry.definition, key, value);
    visit_(mutant);
  }
  void expression(const EffectiveEntry& entry, const std::string& expression) const {
    definition(entry, fmt::format("predicate \"{}\"", expression), "predicate", Value(expression));
  }
  void entry(const EffectiveEntry& entry, std::string change, std::optional<Value> content) const {
    Mutant mutant{mutation_, std::string(entry.name), std::move(change), entry.layerText(), entry.kind};
    mutant.entry = &entry;
    mutant.content = std::move(content);
    visit_(mutant);
  }
  void value(const EffectiveEntry& one, std::string change, const Value& value) const {
    entry(one, std::move(change), Value(with(*one.entry.content->ifDictionary(), "value", value)));
  }
  void withoutKind(const DeviceKind& kind) const { visit_({mutation_, kindText(kind), "removed", "MPNRules", kind}); }

 private:
  std::string_view mutation_;
  const Visit& visit_;
};

// ---- Mutations ----------------------------------------------------------------------------------------------------

void dropRule(const Entries& entries, const Maker& make) {
  for (const EffectiveEntry& entry : entries) {
    if (!entry.isRedundant && !checksNothing(factsOf(entry, entry.value())))
      make.entry(entry, "rule removed", std::nullopt);
  }
}

void negate(const Entries& entries, const Maker& make) {
  const EffectiveEntry& entry = entries.front();
  const RuleFacts facts = factsOf(entry, nullptr);
  const std::vector<std::string_view>& words = facts.predicates();
  if (words.size() == 1) {
    const bool isNegated = facts.combination() == Operator::kNot;
    make.expression(entry, fmt::format("{}{}", isNegated ? "" : "NOT ", words[0]));
  } else if (words.size() == 2) {
    const bool isAnd = facts.combination() == Operator::kAnd;
    make.expression(entry, fmt::format("{} {} {}", words[0], isAnd ? "OR" : "AND", words[1]));
    for (const std::string_view word : words) make.expression(entry, std::string(word));
  }
}

void changeValue(const Entries& entries, const Maker& make) {
  bool hasChangedDefinition = false;
  for (const EffectiveEntry& entry : entries) {
    const Value* const value = entry.value();
    const bool isDefined = entry.entry.value() == nullptr;
    if (value == nullptr || (isDefined && std::exchange(hasChangedDefinition, true))) continue;
    const RuleFacts facts = factsOf(entry, value);
    if (!readsValue(facts)) continue;
    anyNearby(*value, &facts.valueReaders().front()->value, Density::kSparse, [&](const Value& other) {
      const std::string change = "value " + changeText(*value, other);
      isDefined ? make.definition(entry, change, "value", other) : make.value(entry, change, other);
      return false;
    });
  }
}

auto shapeOf(const ValueFacts& facts) {
  return std::tuple(facts.kinds, facts.role, facts.characters, facts.readAs == ValueFacts::ReadAs::kItself,
                    facts.isMask, facts.entries.size(), facts.tableEntries == nullptr);
}

/// Predicates of the same shape are easily written for each other.
auto shapeOf(const PredicateFacts& facts) {
  return std::tuple(facts.takesReferences, facts.forwards, facts.readsAttribute, facts.readsTheOnlyReference,
                    facts.withoutValue == Without::kSame, shapeOf(facts.attribute), shapeOf(facts.value));
}

/// Whether both compare for equality and have the same result for every attribute. `equal` reads numbers beyond 32 bits
/// as the first or last of these; with other expected numbers, it is the same as `equalLong`.
bool areTheSame(const PredicateFacts& first, const PredicateFacts& second, const Entries& entries) {
  using Limits = std::numeric_limits<std::int32_t>;
  const auto isEquality = [](const PredicateFacts& facts) {
    return facts.word == "equal" || facts.word == "equalLong";
  };
  const auto isInside32Bits = [](const EffectiveEntry& entry) {
    const Value* const value = entry.value();
    return value != nullptr && longValue(value) > Limits::min() && longValue(value) < Limits::max();
  };
  return isEquality(first) && isEquality(second) && std::ranges::all_of(entries, isInside32Bits);
}

void changePredicate(const Entries& entries, const Maker& make) {
  const EffectiveEntry& entry = entries.front();
  const RuleFacts facts = factsOf(entry, entry.value());
  if (facts.predicates().empty() || checksNothing(facts)) return;
  const std::string_view expression = *entry.definition->findString("predicate");
  for (const std::string_view word : facts.predicates()) {
    const PredicateFacts* const own = PredicateFacts::find(word);
    if (own == nullptr) continue;
    for (const PredicateFacts& other : PredicateFacts::all()) {
      if (other.word == word || shapeOf(*own) != shapeOf(other) || areTheSame(*own, other, entries)) continue;
      const auto place = static_cast<std::size_t>(word.data() - expression.data());
      make.expression(entry, std::string(expression).replace(place, word.size(), other.word));
    }
  }
}

void dropOverride(const Entries& entries, const Maker& make) {
  for (const EffectiveEntry& entry : entries) {
    const Value* const own = entry.entry.value();
    if (own == nullptr || checksNothing(factsOf(entry, own))) continue;
    const Value* const defined = entry.definition == nullptr ? nullptr : entry.definition->find("value");
    if (defined != nullptr && readTheSame(factsOf(entry, own), *own, *defined)) continue;
    Dictionary rest = *entry.entry.content->ifDictionary();
    rest.erase("value");
    make.entry(entry, defined == nullptr ? "value removed" : "value removed: " + changeText(*own, *defined),
               Value(rest));
  }
}

/// The entries with different values, as far as needed.
std::vector<const EffectiveEntry*> overridesIn(const Entries& entries) {
  constexpr std::size_t kMost = 4;
  std::vector<const EffectiveEntry*> overrides;
  for (const EffectiveEntry& entry : entries) {
    const Value* const value = entry.entry.value();
    if (value == nullptr || overrides.size() == kMost) continue;
    const auto isSame = [&](const EffectiveEntry* other) { return *other->entry.value() == *value; };
    if (std::ranges::none_of(overrides, isSame)) overrides.push_back(&entry);
  }
  return overrides;
}

void takeOtherValue(const Entries& entries, const Maker& make) {
  const std::vector<const EffectiveEntry*> overrides = overridesIn(entries);
  for (const EffectiveEntry& entry : entries) {
    const Value* const own = entry.value();
    const RuleFacts facts = factsOf(entry, own);
    if (own == nullptr || !readsValue(facts)) continue;
    for (const EffectiveEntry* other : overrides) {
      const Value& value = *other->entry.value();
      if (readTheSame(facts, *own, value)) continue;
      make.value(entry, fmt::format("value of {}: {}", other->layerText(), changeText(*own, value)), value);
    }
  }
}

void dropKind(const EffectiveEntries& all, const Maker& make) {
  std::set<const Value*> partNumbers;
  for (const DeviceKind& kind : all.kinds) {
    if (kind.partNumber == nullptr) continue;
    if (partNumbers.insert(kind.partNumber).second) make.withoutKind({kind.partNumber, nullptr});
    if (kind.region != nullptr) make.withoutKind(kind);
  }
}

void dropRuleSet(const EffectiveEntries& all, const Maker& make) {
  for (const Entries& entries : all.sets) {
    for (const EffectiveEntry& entry : entries) {
      if (!entry.isRedundant) make.entry(entry, "rule set removed", std::nullopt);
    }
  }
}

struct Mutation {
  std::string_view name;
  void (*ofRule)(const Entries& entries, const Maker& make) = nullptr;
  void (*ofDocuments)(const EffectiveEntries& all, const Maker& make) = nullptr;
};

constexpr Mutation kMutations[] = {
    {.name = "rule", .ofRule = dropRule},         {.name = "negation", .ofRule = negate},
    {.name = "value", .ofRule = changeValue},     {.name = "predicate", .ofRule = changePredicate},
    {.name = "override", .ofRule = dropOverride}, {.name = "swap", .ofRule = takeOtherValue},
    {.name = "kind", .ofDocuments = dropKind},    {.name = "rule set", .ofDocuments = dropRuleSet},
};

}  // namespace

void forEachMutant(const EffectiveEntries& all, const std::function<void(const Mutant&)>& visit) {
  for (const Entries& entries : all.rules) {
    for (const Mutation& mutation : kMutations) {
      if (mutation.ofRule != nullptr) mutation.ofRule(entries, Maker(mutation.name, visit));
    }
  }
  for (const Mutation& mutation : kMutations) {
    if (mutation.ofDocuments != nullptr) mutation.ofDocuments(all, Maker(mutation.name, visit));
  }
}

}  // namespace tavik::tool
