#include "test/Mutations.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <set>
#include <span>
#include <string>
#include <unordered_map>
#include <utility>

#include "rules/RuleFacts.h"
#include "test/Variations.h"
#include "text/Text.h"

namespace tavik::tool {
namespace {

using Operator = PredicateExpression::Operator;
using Target = Mutant::Target;
using Visit = std::function<void(const Mutant&)>;

constexpr std::string_view kLibrary = "rule library";

/// A rule with its entries that are in effect.
struct RuleSite {
  std::string_view name;
  const Dictionary* definition;  ///< null if the rule library has none
  std::vector<const EffectiveEntry*> entries = {};

  /// An entry that leaves the value to the definition; null if there is none.
  [[nodiscard]] const EffectiveEntry* withoutValue() const {
    const auto found =
        std::ranges::find_if(entries, [](const EffectiveEntry* entry) { return entry->entry.value() == nullptr; });
    return found == entries.end() ? nullptr : *found;
  }
  [[nodiscard]] RuleFacts facts(const Value* value) const { return {name, definition, value}; }
};

/// Whether all predicates that read the value read both as the same.
bool readTheSame(const RuleFacts& facts, const Value& first, const Value& second) {
  return std::ranges::all_of(facts.valueReaders(),
                             [&](const PredicateFacts* reader) { return readsTheSame(reader->value, first, second); });
}

/// Whether the rule passes for every device, whatever its value is.
bool checksNothing(const RuleFacts& facts) { return facts.cannotFail() && !facts.forwards(); }

class Maker {
 public:
  Maker(std::string_view mutation, const Visit& visit) : mutation_(mutation), visit_(visit) {}

  void definition(Target target, const RuleSite& site, std::string change, Dictionary changed,
                  const DeviceKind& kind) const {
    visit_({.mutation = mutation_,
            .target = target,
            .subject = std::string(site.name),
            .change = std::move(change),
            .location = std::string(kLibrary),
            .kind = kind,
            .definition = std::move(changed)});
  }
  void entry(Target target, const EffectiveEntry& entry, std::string change, std::optional<Value> content) const {
    visit_({.mutation = mutation_,
            .target = target,
            .subject = std::string(entry.name),
            .change = std::move(change),
            .location = entry.layerText(),
            .kind = entry.kind,
            .entry = &entry,
            .content = std::move(content)});
  }
  void kind(const DeviceKind& kind) const {
    visit_({.mutation = mutation_,
            .target = Target::kKind,
            .subject = kindText(kind),
            .change = "removed",
            .location = "MPNRules",
            .kind = kind});
  }

 private:
  std::string_view mutation_;
  const Visit& visit_;
};

void dropRule(const RuleSite& site, const Maker& make) {
  for (const EffectiveEntry* entry : site.entries) {
    if (entry->isRedundant || checksNothing(site.facts(entry->value()))) continue;
    make.entry(Target::kEntry, *entry, "rule removed", std::nullopt);
  }
}

void changeExpression(const RuleSite& site, const Maker& make, const std::string& expression) {
  Dictionary changed = *site.definition;
  changed.set("predicate", expression);
  make.definition(Target::kDefinition, site, fmt::format("predicate \"{}\"", expression), std::move(changed),
                  site.entries.front()->kind);
}

void negate(const RuleSite& site, const Maker& make) {
  const RuleFacts facts = site.facts(nullptr);
  const std::vector<std::string_view>& words = facts.predicates();
  if (words.empty()) return;
  switch (facts.combination()) {
    case Operator::kNone:
      return changeExpression(site, make, fmt::format("NOT {}", words[0]));
    case Operator::kNot:
      return changeExpression(site, make, std::string(words[0]));
    case Operator::kAnd:
    case Operator::kOr:
      break;
  }
  const bool isAnd = facts.combination() == Operator::kAnd;
  changeExpression(site, make, fmt::format("{} {} {}", words[0], isAnd ? "OR" : "AND", words[1]));
  for (const std::string_view word : words) changeExpression(site, make, std::string(word));
}

/// Visits the variations of a value of the rule, unless no predicate reads it.
void forEachOther(const RuleSite& site, const Value& value, const std::function<void(const Value&)>& visit) {
  const RuleFacts facts = site.facts(&value);
  const auto readers = facts.valueReaders();
  if (!readers.empty() && !checksNothing(facts)) forEachVariation(value, &readers.front()->value, visit);
}

void changeDefinedValue(const RuleSite& site, const Maker& make) {
  const EffectiveEntry* const entry = site.withoutValue();
  const Value* const value = entry == nullptr ? nullptr : entry->value();
  if (value == nullptr) return;
  forEachOther(site, *value, [&](const Value& other) {
    Dictionary changed = *site.definition;
    changed.set("value", other);
    make.definition(Target::kDefinedValue, site, "value " + changeText(*value, other), std::move(changed), entry->kind);
  });
}

Value withValue(const EffectiveEntry& entry, const Value& value) {
  Dictionary changed = *entry.entry.content->ifDictionary();
  changed.set("value", value);
  return changed;
}

void changeValue(const RuleSite& site, const Maker& make) {
  changeDefinedValue(site, make);
  for (const EffectiveEntry* entry : site.entries) {
    const Value* const value = entry->entry.value();
    if (value == nullptr) continue;
    forEachOther(site, *value, [&](const Value& other) {
      make.entry(Target::kEntry, *entry, "value " + changeText(*value, other), withValue(*entry, other));
    });
  }
}

bool readAlike(const ValueFacts& first, const ValueFacts& second) {
  const auto isNumber = [](const ValueFacts& facts) { return facts.readAs != ValueFacts::ReadAs::kItself; };
  return first.kinds == second.kinds && first.role == second.role && first.characters == second.characters &&
         isNumber(first) == isNumber(second) && first.isMask == second.isMask &&
         first.entries.size() == second.entries.size() &&
         (first.tableEntries == nullptr) == (second.tableEntries == nullptr);
}

/// Whether one predicate is easily written for the other.
bool areSimilar(const PredicateFacts& first, const PredicateFacts& second) {
  return first.takesReferences == second.takesReferences && first.forwards == second.forwards &&
         first.readsAttribute == second.readsAttribute && first.readsTheOnlyReference == second.readsTheOnlyReference &&
         (first.withoutValue == Without::kSame) == (second.withoutValue == Without::kSame) &&
         readAlike(first.attribute, second.attribute) && readAlike(first.value, second.value);
}

/// Whether `equal` and `equalLong` have the same result for every attribute, because the expected number is not the
/// first or last of 32 bits, as which `equal` reads all numbers beyond them.
bool isInside32Bits(const Value& value) {
  using Limits = std::numeric_limits<std::int32_t>;
  const std::int64_t number = longValue(&value);
  return number > Limits::min() && number < Limits::max();
}

bool areTheSame(const PredicateFacts& first, const PredicateFacts& second, const RuleSite& site) {
  const auto isEquality = [](const PredicateFacts& facts) {
    return facts.word == "equal" || facts.word == "equalLong";
  };
  if (!isEquality(first) || !isEquality(second)) return false;
  return std::ranges::all_of(site.entries, [&](const EffectiveEntry* entry) {
    return entry->value() != nullptr && isInside32Bits(*entry->value());
  });
}

void changePredicate(const RuleSite& site, const Maker& make) {
  const RuleFacts facts = site.facts(site.entries.front()->value());
  if (facts.predicates().empty() || checksNothing(facts)) return;
  const std::string_view expression = *site.definition->findString("predicate");
  for (const std::string_view word : facts.predicates()) {
    const PredicateFacts* const own = PredicateFacts::find(word);
    if (own == nullptr) continue;
    for (const PredicateFacts& other : PredicateFacts::all()) {
      if (other.word == word || !areSimilar(*own, other) || areTheSame(*own, other, site)) continue;
      std::string changed(expression);
      const auto place = static_cast<std::size_t>(word.data() - expression.data());
      changeExpression(site, make, changed.replace(place, word.size(), other.word));
    }
  }
}

void dropOverride(const RuleSite& site, const Maker& make) {
  const Value* const defined = site.definition == nullptr ? nullptr : site.definition->find("value");
  for (const EffectiveEntry* entry : site.entries) {
    const Value* const own = entry->entry.value();
    if (own == nullptr || checksNothing(site.facts(own))) continue;
    if (defined != nullptr && readTheSame(site.facts(own), *own, *defined)) continue;
    Dictionary rest = *entry->entry.content->ifDictionary();
    rest.erase("value");
    make.entry(Target::kEntry, *entry,
               defined == nullptr ? "value removed" : "value removed: " + changeText(*own, *defined), Value(rest));
  }
}

/// The different values that entries of the rule have, as far as needed.
std::vector<const EffectiveEntry*> overridesOf(const RuleSite& site) {
  constexpr std::size_t kMost = 4;
  std::vector<const EffectiveEntry*> overrides;
  for (const EffectiveEntry* entry : site.entries) {
    const Value* const value = entry->entry.value();
    if (value == nullptr || overrides.size() == kMost) continue;
    const auto isSame = [&](const EffectiveEntry* other) { return *other->entry.value() == *value; };
    if (std::ranges::none_of(overrides, isSame)) overrides.push_back(entry);
  }
  return overrides;
}

void takeOtherValue(const RuleSite& site, const Maker& make) {
  const auto overrides = overridesOf(site);
  for (const EffectiveEntry* entry : site.entries) {
    const Value* const own = entry->value();
    const RuleFacts facts = site.facts(own);
    if (own == nullptr || facts.valueReaders().empty() || checksNothing(facts)) continue;
    for (const EffectiveEntry* other : overrides) {
      if (readTheSame(facts, *own, *other->entry.value())) continue;
      make.entry(Target::kEntry, *entry,
                 fmt::format("value of {}: {}", other->layerText(), changeText(*own, *other->entry.value())),
                 withValue(*entry, *other->entry.value()));
    }
  }
}

void dropKind(const EffectiveEntries& entries, const Maker& make) {
  std::set<const Value*> partNumbers;
  for (const DeviceKind& kind : entries.kinds) {
    if (kind.partNumber == nullptr) continue;
    if (partNumbers.insert(kind.partNumber).second) make.kind({kind.partNumber, nullptr});
    if (kind.region != nullptr) make.kind(kind);
  }
}

void dropRuleSet(const EffectiveEntries& entries, const Maker& make) {
  for (const EffectiveEntry& set : entries.sets) {
    if (!set.isRedundant) make.entry(Target::kSet, set, "rule set removed", std::nullopt);
  }
}

struct Mutation {
  std::string_view name;
  void (*ofRule)(const RuleSite& site, const Maker& make) = nullptr;
  void (*ofDocuments)(const EffectiveEntries& entries, const Maker& make) = nullptr;
};

constexpr Mutation kMutations[] = {
    {.name = "rule", .ofRule = dropRule},         {.name = "negation", .ofRule = negate},
    {.name = "value", .ofRule = changeValue},     {.name = "predicate", .ofRule = changePredicate},
    {.name = "override", .ofRule = dropOverride}, {.name = "swap", .ofRule = takeOtherValue},
    {.name = "kind", .ofDocuments = dropKind},    {.name = "rule set", .ofDocuments = dropRuleSet},
};

std::vector<RuleSite> sitesOf(const EffectiveEntries& entries) {
  std::vector<RuleSite> sites;
  std::unordered_map<std::string_view, std::size_t> places;
  for (const EffectiveEntry& entry : entries.rules) {
    const auto [place, isNew] = places.emplace(entry.name, sites.size());
    if (isNew) sites.push_back({entry.name, entry.definition});
    sites[place->second].entries.push_back(&entry);
  }
  return sites;
}

}  // namespace

void forEachMutant(const EffectiveEntries& entries, const Visit& visit) {
  for (const RuleSite& site : sitesOf(entries)) {
    for (const Mutation& mutation : kMutations) {
      if (mutation.ofRule != nullptr) mutation.ofRule(site, Maker(mutation.name, visit));
    }
  }
  for (const Mutation& mutation : kMutations) {
    if (mutation.ofDocuments != nullptr) mutation.ofDocuments(entries, Maker(mutation.name, visit));
  }
}

}  // namespace tavik::tool
