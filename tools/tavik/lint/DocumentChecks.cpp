// The checks of documents: their versions and keys, and how the layers of local rules combine.

#include <fmt/format.h>

#include <algorithm>
#include <span>
#include <unordered_map>
#include <unordered_set>

#include "lint/LintedDocuments.h"
#include "lint/ValuePart.h"
#include "rules/RuleFacts.h"
#include "text/Text.h"

namespace tavik::tool::lint {
namespace {

constexpr std::string_view kDefinitionKeys[] = {"attribute",  "predicate", "value", "references",
                                                "hideResult", "domain",    "poll"};
constexpr std::string_view kReferenceKeys[] = {"attribute", "source", "description"};
constexpr std::string_view kEntryKeys[] = {"value"};
constexpr std::string_view kProvenanceKeys[] = {"comment", "owner", "ticket"};  // for people, accepted everywhere
constexpr std::string_view kExtraRules = "extra-rules";                         // has its own finding
constexpr std::string_view kTopKeys[] = {"version", "MPNRules", "GenericRules", "RuleSets", kExtraRules};

void forEachEntry(const LintedDocuments& documents, const auto& visit) {
  for (const LocalRules& rules : documents.localRules) {
    for (const Layer& layer : rules.layers) {
      if (!layer.isReached) continue;
      for (const Entry& entry : layer.entries) visit(rules, entry);
    }
  }
}

void noVersion(const LintedDocuments& documents, Reporter& reporter) {
  const auto check = [&](const Place& root) {
    if (root.value().ifDictionary()->contains("version")) return;
    reporter.at(root,
                {"The document has no \"version\".", "A fault ends the check of every device: no rule gets a record.",
                 "Add one, and change it with every edit."});
  };
  check(documents.library);
  for (const LocalRules& rules : documents.localRules) check(rules.root);
}

void malformedDefinition(const LintedDocuments& documents, Reporter& reporter) {
  for (const auto [name, value] : *documents.library.value().ifDictionary()) {
    if (name == "version" || value.ifDictionary() != nullptr) continue;
    reporter.at(documents.library.entry(name, value), name,
                {fmt::format("The definition is {}, not a dictionary.", kindName(value.kind())),
                 "It counts as missing: the rule fails for every device that gets it.", "Write a dictionary."});
  }
}

void ruleNamedLikeSet(const LintedDocuments& documents, Reporter& reporter) {
  for (const std::string_view name : documents.ruleNames) {
    if (!namesSet(name)) continue;
    reporter.atKey(documents.placeOf(name), name,
                   {"The rule's name ends in \"RuleSet\".",
                    "In local rules, the name refers to a set: no device gets the rule.", "Rename the rule."});
  }
}

void textReadAsZero(const LintedDocuments& documents, Reporter& reporter) {
  constexpr std::string_view kWord = "varnockSystemPartitionSizeCheck";
  std::unordered_map<std::string_view, Place> passing;  // attribute -> the rule that passes for 0
  std::unordered_set<std::string_view> guarded;
  documents.forEachDefinition([&](const Rule& rule) {
    const std::string_view attribute = rule.keys().findString("attribute").value_or("");
    const auto calls = [&](std::string_view word) {
      return std::ranges::count(rule.operands(), word, &Rule::Operand::word) != 0;
    };
    if (calls(kWord)) passing.try_emplace(attribute, rule.definition());
    if (calls("greaterThan")) guarded.insert(attribute);
  });
  for (const auto& [attribute, place] : passing) {
    if (guarded.contains(attribute)) continue;
    reporter.atKey(place, place.key(),
                   {fmt::format("\"{}\" reads a string without a number, such as \"N/A\", as 0 bytes.", kWord),
                    "A device that reports such a string passes.",
                    "Add a rule that requires the attribute to be \"greaterThan\" 0."});
  }
}

void unusedRule(const LintedDocuments& documents, Reporter& reporter) {
  if (documents.localRules.empty()) return;
  std::unordered_set<std::string_view> used;
  forEachEntry(documents, [&](const LocalRules&, const Entry& entry) { used.insert(entry.name); });
  for (const std::string_view name : documents.ruleNames) {
    if (used.contains(name)) continue;
    reporter.atKey(documents.placeOf(name), name,
                   {"None of the given local rules name this rule.", "None of their devices get it.", ""});
  }
}

void notADictionary(const LintedDocuments& documents, Reporter& reporter) {
  const auto report = [&](const Place& place, std::string_view rule, std::string effect) {
    reporter.at(place, rule,
                {fmt::format("{} is {}, not a dictionary.", shown(place.key()), kindName(place.value().kind())),
                 std::move(effect), "Write a dictionary; it may be empty."});
  };
  const auto noRules = [](const std::string& whom) {
    return fmt::format("No rule is checked for {}: \"failed to build device specific rule list\".", whom);
  };
  for (const LocalRules& rules : documents.localRules) {
    for (const LocalRules::Malformed& malformed : rules.malformed) report(malformed.place, "", noRules(malformed.whom));
  }
  forEachEntry(documents, [&](const LocalRules&, const Entry& entry) {
    if (entry.value->ifDictionary() != nullptr) return;
    const bool counts = entry.holds && (!namesSet(entry.name) || entry.staysRule);
    report(entry.place(), entry.name,
           counts ? noRules(entry.layer->whom()) : "It has no effect only because another entry replaces it.");
  });
}

/// What a name that the library does not define may have been meant to be.
std::string adviceFor(const LocalRules& rules, const Entry& entry) {
  if (entry.name == kRegionRules) return "\"RegionRules\" only has a meaning among the entries of a part number.";
  const Dictionary* extra = rules.root.value().ifDictionary()->findDictionary(kExtraRules);
  if (extra != nullptr && extra->contains(entry.name)) return "Define it in the library: \"extra-rules\" is ignored.";
  return "Use the library's spelling, or define the rule there.";
}

void undefinedRule(const LintedDocuments& documents, Reporter& reporter) {
  std::vector<std::string_view> known = documents.ruleNames;
  known.push_back(kRegionRules);
  forEachEntry(documents, [&](const LocalRules& rules, const Entry& entry) {
    if (!entry.holds || namesSet(entry.name) || documents.definition(entry.name) != nullptr) return;
    const bool passes = requiresAbsence(entry.name);
    reporter.atKey(
        entry.place(), entry.name,
        {fmt::format("The library defines no rule {}{}", shown(entry.name), reporter.endingFor(entry.name, known)),
         fmt::format("A rule without an attribute {} for {}.", passes ? "passes" : "fails", entry.layer->whom()),
         adviceFor(rules, entry)});
  });
}

void unknownRuleSet(const LintedDocuments& documents, Reporter& reporter) {
  for (const LocalRules& rules : documents.localRules) {
    std::vector<std::string_view> known;
    for (const Layer& layer : rules.layers) {
      if (layer.category == LocalEntry::Layer::kSet) known.push_back(layer.place.key());
    }
    const Dictionary* sets = rules.root.value().ifDictionary()->findDictionary("RuleSets");
    for (const Layer& layer : rules.layers) {
      if (layer.category == LocalEntry::Layer::kSet) continue;
      for (const Entry& entry : layer.entries) {
        if (!namesSet(entry.name)) continue;
        if (sets != nullptr && sets->contains(entry.name)) continue;  // a missing set has its own finding
        reporter.atKey(
            entry.place(),
            {fmt::format("\"RuleSets\" has no set {}{}", shown(entry.name), reporter.endingFor(entry.name, known)),
             fmt::format("No rule is checked for {}: \"failed to build device specific rule list\".", layer.whom()),
             "Define the set, or remove the name."});
      }
    }
  }
}

void nestedRuleSet(const LintedDocuments& documents, Reporter& reporter) {
  forEachEntry(documents, [&](const LocalRules&, const Entry& entry) {
    if (!entry.staysRule || documents.definition(entry.name) != nullptr) return;
    reporter.atKey(
        entry.place(),
        {fmt::format("The set {} names the set {}.", shown(entry.layer->place.key()), shown(entry.name)),
         fmt::format(
             "Sets can only contain rules: the name is taken as a rule that the library does not define, which fails "
             "for {}, and the rules of that set are not checked.",
             entry.layer->whom()),
         "Name the two sets side by side."});
  });
}

std::string nameOf(const Layer& layer) {
  switch (layer.category) {
    case LocalEntry::Layer::kGeneric:
      return "\"GenericRules\"";
    case LocalEntry::Layer::kSet:
      return "the set " + shown(layer.place.key());
    case LocalEntry::Layer::kPartNumber:
    case LocalEntry::Layer::kRegion:
      break;
  }
  return layer.whom();
}

void droppedValue(const LintedDocuments& documents, Reporter& reporter) {
  forEachEntry(documents, [&](const LocalRules&, const Entry& entry) {
    if (entry.replacedBy == nullptr) return;
    const Value& dropped = *entry.expected();
    const Value* replacement = entry.replacement;
    const Place place = entry.place();
    reporter.at(place.entry("value", dropped), entry.name,
                {fmt::format("The value {} has no effect: the entry of {} comes later and replaces this one.",
                             shown(dropped), nameOf(*entry.replacedBy->layer)),
                 fmt::format("For {} the expected value is {}.", entry.replacedFor->whom(),
                             replacement == nullptr ? std::string("none") : shown(*replacement)),
                 "Remove one of the two entries."});
  });
}

void extraRules(const LintedDocuments& documents, Reporter& reporter) {
  for (const LocalRules& rules : documents.localRules) {
    const Value* extra = rules.root.value().ifDictionary()->find(kExtraRules);
    if (extra == nullptr) continue;
    reporter.atKey(rules.root.entry(kExtraRules, *extra),
                   {"The document has \"extra-rules\".", "They are ignored: no device gets a rule from there.",
                    "Define the rules in the library."});
  }
}

/// Reports the unknown keys of a dictionary other than those for people.
void reportUnread(const Place& place, std::string_view rule, std::span<const std::string_view> known,
                  const std::string& reader, Reporter& reporter) {
  for (const auto [key, value] : *place.value().ifDictionary()) {
    if (std::ranges::count(known, key) != 0 || std::ranges::count(kProvenanceKeys, key) != 0) continue;
    reporter.atKey(place.entry(key, value), rule,
                   {fmt::format("{} has no key {}{}", reader, shown(key), reporter.endingFor(key, known)),
                    "The key is ignored.", "Fix the spelling or remove it."});
  }
}

void unreadKeyOfDefinition(const Rule& rule, Reporter& reporter) {
  reportUnread(rule.definition(), rule.name(), kDefinitionKeys, "A definition", reporter);
  for (const Rule::Reference& reference : rule.references()) {
    reportUnread(reference.place, rule.name(), kReferenceKeys, "A reference", reporter);
  }
}

void unreadKeyOfValue(const ValuePart& part, Reporter& reporter) {
  if (part.facts.entries.empty() || part.place.value().ifDictionary() == nullptr) return;
  std::vector<std::string_view> known;
  for (const EntryFacts& entry : part.facts.entries) known.push_back(entry.key);
  reportUnread(part.place, part.rule.name(), known,
               fmt::format("{} of \"{}\"", shown(part.place.name()), part.operand.word), reporter);
}

void unreadKeyOfEntry(const LintedDocuments& documents, const Entry& entry, Reporter& reporter) {
  const bool isSet = namesSet(entry.name);
  if (entry.value->ifDictionary() == nullptr || (!isSet && documents.definition(entry.name) == nullptr)) return;
  if (isSet) {
    reportUnread(entry.place(), "", {}, "The name of a set", reporter);
  } else {
    reportUnread(entry.place(), entry.name, kEntryKeys, "A local entry", reporter);
  }
}

void unreadKeyOfLocalRules(const LintedDocuments& documents, Reporter& reporter) {
  for (const LocalRules& rules : documents.localRules) {
    reportUnread(rules.root, "", kTopKeys, "A local rules document", reporter);
  }
  forEachEntry(documents, [&](const LocalRules&, const Entry& entry) { unreadKeyOfEntry(documents, entry, reporter); });
}

void unusedRuleSet(const LintedDocuments& documents, Reporter& reporter) {
  for (const LocalRules& rules : documents.localRules) {
    for (const Layer& layer : rules.layers) {
      if (layer.category != LocalEntry::Layer::kSet || layer.isReached) continue;
      reporter.atKey(layer.place,
                     {namesSet(layer.place.key())
                          ? fmt::format("The set {} is not used.", shown(layer.place.key()))
                          : fmt::format("The name {} does not end in \"RuleSet\".", shown(layer.place.key())),
                      "No device gets its rules, and they were not checked.", ""});
    }
  }
}

void noRules(const LintedDocuments& documents, Reporter& reporter) {
  for (const LocalRules& rules : documents.localRules) {
    for (const Place& place : rules.withoutRules) {
      const bool isTable = place.key() == "MPNRules" || place.key() == kRegionRules;
      reporter.at(place,
                  {isTable ? fmt::format("\"{}\" is empty.", place.key()) : std::string("These devices have no rules."),
                   isTable ? "No rule is checked for any device: every device is unknown."
                           : "They fail: \"no rules specified\".",
                   "Fill it in or remove it."});
    }
  }
}

constexpr Check kChecks[] = {
    {.name = "dropped-value", .severity = Severity::kWarning, .ofDocuments = droppedValue},
    {.name = "extra-rules", .severity = Severity::kWarning, .ofDocuments = extraRules},
    {.name = "malformed-definition", .severity = Severity::kError, .ofDocuments = malformedDefinition},
    {.name = "nested-rule-set", .severity = Severity::kWarning, .ofDocuments = nestedRuleSet},
    {.name = "no-rules", .severity = Severity::kError, .ofDocuments = noRules},
    {.name = "no-version", .severity = Severity::kError, .ofDocuments = noVersion},
    {.name = "not-a-dictionary", .severity = Severity::kError, .ofDocuments = notADictionary},
    {.name = "rule-named-like-set", .severity = Severity::kWarning, .ofDocuments = ruleNamedLikeSet},
    {.name = "text-read-as-zero", .severity = Severity::kInformation, .ofDocuments = textReadAsZero},
    {.name = "undefined-rule", .severity = Severity::kError, .ofDocuments = undefinedRule},
    {.name = "unknown-rule-set", .severity = Severity::kError, .ofDocuments = unknownRuleSet},
    {.name = "unread-key",
     .severity = Severity::kWarning,
     .ofDefinition = unreadKeyOfDefinition,
     .ofPart = unreadKeyOfValue,
     .ofDocuments = unreadKeyOfLocalRules},
    {.name = "unused-rule", .severity = Severity::kInformation, .ofDocuments = unusedRule},
    {.name = "unused-rule-set", .severity = Severity::kInformation, .ofDocuments = unusedRuleSet},
};

}  // namespace

std::span<const Check> documentChecks() { return kChecks; }

}  // namespace tavik::tool::lint
