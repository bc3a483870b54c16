// The checks of a rule as a whole: its expression, its attribute, its references.

#include <fmt/format.h>

#include <algorithm>
#include <set>
#include <span>

#include "lint/Check.h"
#include "lint/ValuePart.h"
#include "rules/RuleMeaning.h"

namespace tavik::tool::lint {
namespace {

using Forecast = Rule::Forecast;
using Operator = Rule::Operator;

std::string whyMalformed(std::string_view expression) {
  if (expression.starts_with(' ') || expression.ends_with(' ') || expression.find("  ") != std::string_view::npos) {
    return "Leave out the blank that is too many: each blank separates two words.";
  }
  if (expression.find_first_of("()") != std::string_view::npos)
    return "Write it without parentheses, as several rules.";
  if (std::ranges::count(expression, ' ') > 2) return "Write no more than two predicates, and several rules instead.";
  return "Write NAME, NOT NAME, NAME AND NAME or NAME OR NAME.";
}

void malformedExpression(const Rule& rule, Reporter& reporter) {
  if (rule.wantsAbsence() || !rule.isMalformed()) return;
  const auto expression = rule.expression();
  constexpr std::string_view kEffect =
      "The whole check of every device that has the rule's attribute ends without records.";
  if (expression) {
    reporter.at(rule.expressionPlace(), rule.name(),
                {fmt::format("The expression {} is malformed.", shown(*expression)), std::string(kEffect),
                 whyMalformed(*expression)});
  } else {
    const bool isThere = rule.keys().contains("predicate");
    reporter.at(
        rule.expressionPlace(), rule.name(),
        {isThere ? "The \"predicate\" is no string, which counts as none." : "The rule has no \"predicate\".",
         std::string(kEffect), "Give it one, or begin its name with \"No Attribute\" if that is what it checks."});
  }
}

void unknownPredicate(const Rule& rule, Reporter& reporter) {
  for (const Rule::Operand& operand : rule.operands()) {
    if (operand.facts != nullptr) continue;
    reporter.at(rule.expressionPlace(), rule.name(),
                {fmt::format("There is no predicate {}{}", shown(operand.word),
                             reporter.endingFor(operand.word, predicateNames())),
                 rule.consequence(operand, Forecast::kFails), "Name one that docs/predicates.md lists."});
  }
}

/// Why a predicate without a form with references is called in it.
std::string whyCalledWithReferences(const Rule& rule, const PredicateFacts& facts) {
  if (!facts.firstReferenceMayBeValue) return "it has no form with references";
  if (rule.operands().size() > 1 || rule.combination() == Operator::kNot) {
    return "only alone, without NOT, AND or OR, can it take its value from a reference";
  }
  return rule.valueIsLocal() ? "with the value of the local entry it takes none from a reference"
                             : "with a \"value\" it takes none from a reference";
}

void wrongForm(const Rule& rule, Reporter& reporter) {
  for (const Rule::Operand& operand : rule.operands()) {
    if (operand.facts == nullptr || rule.isCalled(operand)) continue;
    if (operand.facts->takesReferences) {
      reporter.at(rule.expressionPlace(), rule.name(),
                  {fmt::format("\"{}\" needs references, and the rule has no \"references\".", operand.word),
                   rule.consequence(operand, Forecast::kFails), "List those that docs/predicates.md names for it."});
      continue;
    }
    const bool byLocalValue =
        rule.valueIsLocal() && operand.facts->firstReferenceMayBeValue && rule.combination() == Operator::kNone;
    reporter.at(byLocalValue ? *rule.value() : rule.referencesPlace(), rule.name(),
                {fmt::format("\"{}\" is called with references, which makes it an unknown predicate: {}.", operand.word,
                             whyCalledWithReferences(rule, *operand.facts)),
                 rule.consequence(operand, Forecast::kFails), "Leave out the references, or the value."});
  }
}

void nothingToTake(const Rule& rule, Reporter& reporter) {
  if (!rule.takesFirstReference() || rule.referencesAreMalformed() || !rule.references().empty()) return;
  reporter.at(rule.referencesPlace(), rule.name(),
              {"The list of references is empty, and there is no \"value\" either.", rule.sentence(Forecast::kFault),
               "Give the rule a reference or a \"value\"."});
}

void missingReference(const Rule& rule, Reporter& reporter) {
  if (rule.referencesAreMalformed()) return;
  for (const Rule::Operand& operand : rule.operands()) {
    if (!rule.isCalled(operand)) continue;
    for (const std::string_view name : operand.facts->references) {
      if (std::ranges::count(rule.referenceNames(), name) != 0) continue;
      reporter.at(rule.referencesPlace(), rule.name(),
                  {fmt::format("\"{}\" reads the reference \"{}\", which is not listed{}", operand.word, name,
                               reporter.endingFor(name, rule.referenceNames())),
                   rule.consequence(operand, Forecast::kFails), "List it."});
    }
  }
}

void wrongReferenceCount(const Rule& rule, Reporter& reporter) {
  if (rule.referencesAreMalformed()) return;
  for (const Rule::Operand& operand : rule.operands()) {
    const std::size_t count = rule.referenceNames().size();
    if (!rule.isCalled(operand) || !operand.facts->readsTheOnlyReference || count == 1) continue;
    reporter.at(rule.referencesPlace(), rule.name(),
                {fmt::format("\"{}\" takes exactly one reference, and there are {}.", operand.word, count),
                 rule.consequence(operand, count == 0 ? Forecast::kFault : Forecast::kFails), "List one."});
  }
}

/// Whether some predicate of the rule reads the reference with this number among the names.
bool isRead(const Rule& rule, std::size_t number) {
  if (rule.takesFirstReference()) return number == 0;
  return std::ranges::any_of(rule.operands(), [&](const Rule::Operand& operand) {
    if (!rule.isCalled(operand) || operand.facts->readsTheOnlyReference) return true;  // that is another finding
    return std::ranges::count(operand.facts->references, rule.referenceNames()[number]) != 0;
  });
}

void unreadReference(const Rule& rule, Reporter& reporter) {
  if (rule.operands().empty()) return;
  for (std::size_t number = 0; number < rule.referenceNames().size(); ++number) {
    if (isRead(rule, number)) continue;
    const std::string_view name = rule.referenceNames()[number];
    const auto place = std::ranges::find(rule.references(), name, &Rule::Reference::name);
    const bool isFirst = rule.takesFirstReference();
    reporter.at(place->place, rule.name(),
                {isFirst ? fmt::format("The value is the first reference; \"{}\" is another one.", name)
                         : fmt::format("No predicate of the rule reads the reference \"{}\".", name),
                 "It is fetched, and the rule fails where it is not found, but is compared with nothing.",
                 "Leave it out, or make it a rule of its own."});
  }
}

void duplicateReference(const Rule& rule, Reporter& reporter) {
  if (rule.references().size() == rule.referenceNames().size()) return;
  std::set<std::string_view> names;
  for (const Rule::Reference& reference : rule.references()) {
    if (names.insert(reference.name).second) continue;
    reporter.at(reference.place, rule.name(),
                {fmt::format("Two references have the name \"{}\".", reference.name),
                 "They are one value, the later one's: the earlier one is fetched for nothing.",
                 "Leave one out; values to compare with each other need different names."});
  }
}

void malformedReferences(const Rule& rule, Reporter& reporter) {
  if (rule.wantsAbsence() || !rule.hasReferences()) return;
  if (rule.referencesAreMalformed()) {
    return reporter.at(rule.referencesPlace(), rule.name(),
                       {"The \"references\" are no array of dictionaries.",
                        "The rule fails for every device, as if its attribute were missing.",
                        "Write an array with a dictionary for each reference, even for one."});
  }
  for (const Rule::Reference& reference : rule.references()) {
    const Dictionary& keys = *reference.place.value().ifDictionary();
    for (const std::string_view key : {"attribute", "source"}) {
      const Value* value = keys.find(key);
      if (value == nullptr || value->isString()) continue;
      reporter.at(reference.place.entry(key, *value), rule.name(),
                  {fmt::format("The \"{}\" of a reference is {}, not a string.", key, kindName(value->kind())),
                   key == "source" ? rule.sentence(Forecast::kFails)
                                   : "It counts as none: the rule's own attribute is looked up instead.",
                   "Write a string."});
    }
  }
}

void missingAttribute(const Rule& rule, Reporter& reporter) {
  if (rule.keys().findString("attribute")) return;
  const auto place = rule.key("attribute");
  reporter.at(place ? *place : rule.definition(), rule.name(),
              {place ? "The \"attribute\" is no string, which counts as none." : "The rule has no \"attribute\".",
               rule.sentence(rule.wantsAbsence() ? Forecast::kPasses : Forecast::kFails),
               "Name the device attribute that it is about."});
}

void predicateNotCalled(const Rule& rule, Reporter& reporter) {
  if (!rule.wantsAbsence()) return;
  for (const std::string_view key : {"predicate", "references"}) {
    const auto place = rule.key(key);
    if (!place) continue;
    reporter.atKey(*place, rule.name(),
                   {fmt::format("A rule whose name begins with \"No Attribute\" has a \"{}\".", key),
                    "It is not read: the rule passes when the device lacks the attribute, and fails when it has it.",
                    "Leave it out, or give the rule another name."});
  }
}

void lostForwarding(const Rule& rule, Reporter& reporter) {
  if (rule.operands().size() < 2) return;
  for (const Rule::Operand& operand : rule.operands()) {
    if (!rule.isCalled(operand) || !operand.facts->forwards) continue;
    reporter.at(rule.expressionPlace(), rule.name(),
                {fmt::format("\"{}\" stands in an expression with AND or OR.", operand.word),
                 "What it forwards to the station is lost.", "Make it a rule of its own."});
  }
}

void alwaysPasses(const Rule& rule, Reporter& reporter) {
  if (rule.combination() != Operator::kNot && rule.combination() != Operator::kOr) return;
  for (const Rule::Operand& operand : rule.operands()) {
    if (!rule.isCalled(operand) || !operand.facts->forwards || forecastOf(rule, operand) != Forecast::kPasses) continue;
    reporter.at(rule.expressionPlace(), rule.name(),
                {fmt::format("\"{}\" only forwards attributes: it passes for every device.", operand.word),
                 rule.consequence(operand, Forecast::kPasses), "Make it a rule of its own, without NOT or OR."});
  }
}

void comparedWithItself(const Rule& rule, Reporter& reporter) {
  if (!rule.takesFirstReference() || rule.references().empty()) return;
  const std::string_view name = rule.references().front().name;
  // Of several with this name the last one stays.
  const auto last = std::find_if(rule.references().rbegin(), rule.references().rend(),
                                 [&](const Rule::Reference& reference) { return reference.name == name; });
  const bool isOfDevice = !last->place.value().ifDictionary()->contains("source");
  const bool isRead = rule.operands()[0].facts->withoutValue != Without::kSame;
  if (!isOfDevice || !isRead || rule.keys().findString("attribute") != name) return;
  reporter.at(last->place, rule.name(),
              {fmt::format("The reference is the attribute {} itself, as the device has it.", shown(name)),
               "It is compared with itself, which says nothing about the device.",
               "Give the reference a \"source\", or another \"attribute\"."});
}

void shownAfterAll(const Rule& rule, Reporter& reporter) {
  const auto place = rule.key("hideResult");
  if (!place || place->value().ifBoolean() != false) return;
  reporter.at(*place, rule.name(),
              {"\"hideResult\" is false.", "Its presence alone counts: the result is hidden all the same.",
               "Leave it out to have the result shown."});
}

void attributeOfTwoKinds(const Rule& rule, Reporter& reporter) {
  if (rule.combination() != Operator::kAnd) return;
  const Rule::Operand& left = rule.operands()[0];
  const Rule::Operand& right = rule.operands()[1];
  if (!rule.isCalled(left) || !rule.isCalled(right)) return;
  if (left.facts->attribute.kinds.meets(right.facts->attribute.kinds)) return;
  reporter.at(rule.expressionPlace(), rule.name(),
              {fmt::format("No attribute is of a kind that both \"{}\" and \"{}\" take.", left.word, right.word),
               rule.sentence(Forecast::kFails), "Make them two rules about two attributes."});
}

constexpr Check kChecks[] = {
    {.name = "always-passes",
     .severity = Severity::kError,
     .what = "A predicate that forwards attributes to the station stands under NOT or in an OR.",
     .why = "It passes for every device, as it is there to forward alone. So a rule with OR passes for every device, "
            "whatever the other predicate finds, and one with NOT fails for every device.",
     .before = R"("Send": {"attribute": "Model", "predicate": "NOT sendStaticAttribute", "value": {"OnPass": "PACK"}})",
     .after = R"("Send": {"attribute": "Model", "predicate": "sendStaticAttribute", "value": {"OnPass": "PACK"}})",
     .ofRule = alwaysPasses},
    {.name = "attribute-of-two-kinds",
     .severity = Severity::kError,
     .what = "The two predicates of an AND take attributes of different kinds.",
     .why = "An attribute has one kind, say string or data. One of the two predicates always gets a wrong kind and "
            "fails, and with it the rule, for every device.",
     .before = R"("Board": {"attribute": "BoardKey", "predicate": "hasPrefix AND dataNotNull", "value": "B"})",
     .after = R"("Board": {"attribute": "BoardKey", "predicate": "dataNotNull"})",
     .ofDefinition = attributeOfTwoKinds},
    {.name = "compared-with-itself",
     .severity = Severity::kError,
     .what = "A rule takes its own attribute as the expected value.",
     .why = "A reference without a \"source\" is read from the device, and without an \"attribute\" it is the rule's "
            "own. Every number or text equals itself and begins with itself, so the rule passes for every device; "
            "none is greater than itself, so with `greaterThan` it fails.",
     .before = R"("Build": {"attribute": "Build", "predicate": "equalLong", "references": [{"description": "Build"}]})",
     .after = R"("Build": {"attribute": "Build", "predicate": "equalLong",
           "references": [{"source": "sfc", "description": "Build"}]})",
     .ofRule = comparedWithItself},
    {.name = "duplicate-reference",
     .severity = Severity::kWarning,
     .what = "Two references of a rule have the same name.",
     .why = "References are known by name, whatever their sources: of two with one name the later one stays. The "
            "other is fetched, and fails the rule when it is missing, but nothing is ever compared with it.",
     .before =
         R"("Color": {"attribute": "Color", "predicate": "equal", "references": [{"source": "sfc"}, {"source": "gui"}]})",
     .after = R"("Color": {"attribute": "Color", "predicate": "equal", "references": [{"source": "sfc"}]})",
     .ofDefinition = duplicateReference},
    {.name = "hidden-by-false",
     .severity = Severity::kWarning,
     .what = "\"hideResult\" is false.",
     .why = "The key hides the result by being there, whatever stands under it. Whoever writes false wants to see the "
            "result, and does not.",
     .before = R"("Key": {"attribute": "Key", "predicate": "dataNotNull", "hideResult": false})",
     .after = R"("Key": {"attribute": "Key", "predicate": "dataNotNull"})",
     .ofDefinition = shownAfterAll},
    {.name = "lost-forwarding",
     .severity = Severity::kWarning,
     .what = "A predicate that forwards attributes to the station stands in an AND or OR.",
     .why = "A combined record has a result and two texts, nothing else. The station is not told where the device "
            "goes, and sends it where an earlier rule said, or nowhere.",
     .before =
         R"("Send": {"attribute": "Model", "predicate": "dataNotNull AND sendStaticAttribute", "value": {"OnPass": "PACK"}})",
     .after = R"("Send": {"attribute": "Model", "predicate": "sendStaticAttribute", "value": {"OnPass": "PACK"}})",
     .ofDefinition = lostForwarding},
    {.name = "malformed-expression",
     .severity = Severity::kError,
     .what = "A rule has no expression, or one that cannot be parsed.",
     .why = "The check of a device ends at such a rule without any records, not even of the rules before it. Each "
            "blank separates two words, so that a blank at the end or a second one between words is enough.",
     .before = R"("Lot": {"attribute": "Lot", "predicate": "hasPrefix  AND isUppercase", "value": "L"})",
     .after = R"("Lot": {"attribute": "Lot", "predicate": "hasPrefix AND isUppercase", "value": "L"})",
     .ofDefinition = malformedExpression},
    {.name = "malformed-references",
     .severity = Severity::kError,
     .what = "The references of a rule are no array of dictionaries, or a name in one is no string.",
     .why = "The rule fails for every device and says that its attribute is missing, which it is not. An \"attribute\" "
            "of another kind counts as none, and another value than the one meant is compared.",
     .before = R"("Build": {"attribute": "Build", "predicate": "equal", "references": {"source": "sfc"}})",
     .after = R"("Build": {"attribute": "Build", "predicate": "equal", "references": [{"source": "sfc"}]})",
     .ofDefinition = malformedReferences},
    {.name = "missing-attribute",
     .severity = Severity::kError,
     .what = "A rule does not say which attribute it is about.",
     .why = "No device has an attribute without a name, so the rule fails for every device; and one whose name begins "
            "with \"No Attribute\" passes for every device.",
     .before = R"("Model": {"predicate": "hasPrefix", "value": "M"})",
     .after = R"("Model": {"attribute": "ModelNumber", "predicate": "hasPrefix", "value": "M"})",
     .ofDefinition = missingAttribute},
    {.name = "missing-reference",
     .severity = Severity::kError,
     .what = "A predicate reads a reference that the rule does not list.",
     .why = "The predicate finds no value under the name, and fails for every device.",
     .before = R"("Size": {"attribute": "Bytes", "predicate": "cccNandSizeCheck", "value": {"BCD": 64},
          "references": [{"attribute": "Serial"}]})",
     .after = R"("Size": {"attribute": "Bytes", "predicate": "cccNandSizeCheck", "value": {"BCD": 64},
          "references": [{"attribute": "SerialNumber"}]})",
     .ofDefinition = missingReference},
    {.name = "nothing-to-take",
     .severity = Severity::kError,
     .what = "A rule takes its value from an empty list of references.",
     .why = "There is no first reference, which is a fault: the check of every device ends without any records.",
     .before = R"("Build": {"attribute": "Build", "predicate": "equal", "references": []})",
     .after = R"("Build": {"attribute": "Build", "predicate": "equal", "references": [{"source": "sfc"}]})",
     .ofRule = nothingToTake},
    {.name = "predicate-not-called",
     .severity = Severity::kWarning,
     .what = "A \"No Attribute\" rule has a predicate or references.",
     .why = "A rule whose name begins so checks that the device lacks the attribute, and reads nothing else. What the "
            "predicate asks for is never checked.",
     .before = R"("No Attribute token": {"attribute": "Token", "predicate": "dataNotNull"})",
     .after = R"("No Attribute token": {"attribute": "Token"})",
     .ofDefinition = predicateNotCalled},
    {.name = "unknown-predicate",
     .severity = Severity::kError,
     .what = "An expression names a predicate that there is not.",
     .why = "An unknown predicate gives a failing record. So the rule fails for every device; but under NOT it passes "
            "for every device, and in an AND or OR one half of it says nothing.",
     .before = R"("Label": {"attribute": "BuildLabel", "predicate": "NOT contain", "value": "-eng"})",
     .after = R"("Label": {"attribute": "BuildLabel", "predicate": "NOT contains", "value": "-eng"})",
     .ofDefinition = unknownPredicate},
    {.name = "unread-reference",
     .severity = Severity::kWarning,
     .what = "A rule lists a reference that no predicate of it reads.",
     .why = "The rule fails for devices for which the reference is not found, but says nothing about its value. A "
            "comparison that takes its value from the references takes the first one alone.",
     .before = R"("Build": {"attribute": "Build", "predicate": "equal",
           "references": [{"source": "sfc", "attribute": "build"}, {"source": "sfc", "attribute": "next"}]})",
     .after =
         R"("Build": {"attribute": "Build", "predicate": "equal", "references": [{"source": "sfc", "attribute": "build"}]})",
     .ofRule = unreadReference},
    {.name = "wrong-form",
     .severity = Severity::kError,
     .what = "A predicate is called with references that takes none, or without those that it needs.",
     .why = "References choose the form of a predicate, and each has one form: called in the other it is unknown, and "
            "fails for every device, or passes under NOT. A reference stands in for a value only where the predicate "
            "allows it, stands alone, and no \"value\" is there, neither in the library nor in the local entry.",
     .before = R"("Model": {"attribute": "Model", "predicate": "NOT equal", "references": [{"source": "sfc"}]})",
     .after = R"("Model": {"attribute": "Model", "predicate": "equal", "references": [{"source": "sfc"}]})",
     .ofRule = wrongForm},
    {.name = "wrong-reference-count",
     .severity = Severity::kError,
     .what = "A predicate that takes exactly one reference has none, or several.",
     .why = "With none, a fault ends the check of every device; with several, the rule is invalid and fails.",
     .before = R"("Housing": {"attribute": "Model", "predicate": "staticTextGUIEquals", "value": "ok",
             "references": [{"source": "gui", "attribute": "front"}, {"source": "gui", "attribute": "back"}]})",
     .after = R"("Housing": {"attribute": "Model", "predicate": "staticTextGUIEquals", "value": "ok",
             "references": [{"source": "gui", "attribute": "housing"}]})",
     .ofDefinition = wrongReferenceCount},
};

}  // namespace

std::span<const Check> ruleChecks() { return kChecks; }

}  // namespace tavik::tool::lint
