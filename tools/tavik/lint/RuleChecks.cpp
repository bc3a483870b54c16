// The checks of a rule as a whole: its expression, its attribute, its references.

#include <fmt/format.h>

#include <algorithm>
#include <set>
#include <span>

#include "lint/Check.h"
#include "lint/ValuePart.h"
#include "rules/RuleMeaning.h"
#include "text/Text.h"

namespace tavik::tool::lint {
namespace {

using Forecast = Rule::Forecast;
using Operator = Rule::Operator;

std::string whyMalformed(std::string_view expression) {
  if (expression.starts_with(' ') || expression.ends_with(' ') || expression.find("  ") != std::string_view::npos) {
    return "Remove the extra space: each space separates two words.";
  }
  if (expression.find_first_of("()") != std::string_view::npos)
    return "Parentheses are not supported: split it into several rules.";
  if (std::ranges::count(expression, ' ') > 2)
    return "An expression has at most two predicates: split it into several rules.";
  return "Use NAME, NOT NAME, NAME AND NAME or NAME OR NAME.";
}

void malformedExpression(const Rule& rule, Reporter& reporter) {
  if (rule.wantsAbsence() || !rule.isMalformed()) return;
  const auto expression = rule.expression();
  constexpr std::string_view kEffect =
      "The whole check of every device that has the rule's attribute ends without records.";
  if (expression) {
    reporter.at(rule.expressionPlace(), {fmt::format("The expression {} is malformed.", shown(*expression)),
                                         std::string(kEffect), whyMalformed(*expression)});
  } else {
    const bool isThere = rule.keys().contains("predicate");
    reporter.at(
        rule.expressionPlace(),
        {isThere ? "The \"predicate\" is not a string and counts as missing." : "The rule has no \"predicate\".",
         std::string(kEffect),
         "Add one, or begin the rule's name with \"No Attribute\" if the attribute must be missing."});
  }
}

void unknownPredicate(const Rule& rule, Reporter& reporter) {
  for (const Rule::Operand& operand : rule.operands()) {
    if (operand.facts != nullptr) continue;
    reporter.at(
        rule.expressionPlace(),
        {fmt::format("Unknown predicate {}{}", shown(operand.word), reporter.endingFor(operand.word, predicateNames())),
         rule.consequence(operand, Forecast::kFails), "Use a predicate from docs/predicates.md."});
  }
}

/// Why a predicate that has no form with references is called with them.
std::string whyCalledWithReferences(const Rule& rule, const PredicateFacts& facts) {
  if (!facts.firstReferenceMayBeValue) return "it has no form with references";
  if (rule.operands().size() > 1 || rule.combination() == Operator::kNot) {
    return "it can take its value from a reference only without NOT, AND and OR";
  }
  return rule.valueIsLocal() ? "the local entry has a value, so it does not take one from a reference"
                             : "the rule has a \"value\", so it does not take one from a reference";
}

void wrongForm(const Rule& rule, Reporter& reporter) {
  for (const Rule::Operand& operand : rule.operands()) {
    if (operand.facts == nullptr || rule.isCalled(operand)) continue;
    if (operand.facts->takesReferences) {
      reporter.at(rule.expressionPlace(),
                  {fmt::format("\"{}\" needs references, and the rule has no \"references\".", operand.word),
                   rule.consequence(operand, Forecast::kFails), "Add those that docs/predicates.md lists for it."});
      continue;
    }
    const bool byLocalValue =
        rule.valueIsLocal() && operand.facts->firstReferenceMayBeValue && rule.combination() == Operator::kNone;
    reporter.at(byLocalValue ? *rule.value() : rule.referencesPlace(),
                {fmt::format("\"{}\" is called with references, which makes it an unknown predicate: {}.", operand.word,
                             whyCalledWithReferences(rule, *operand.facts)),
                 rule.consequence(operand, Forecast::kFails), "Remove the references or the value."});
  }
}

void nothingToTake(const Rule& rule, Reporter& reporter) {
  if (!rule.takesFirstReference() || rule.referencesAreMalformed() || !rule.references().empty()) return;
  reporter.at(rule.referencesPlace(), {"The list of references is empty, and there is no \"value\".",
                                       rule.sentence(Forecast::kFault), "Give the rule a reference or a \"value\"."});
}

void missingReference(const Rule& rule, Reporter& reporter) {
  if (rule.referencesAreMalformed()) return;
  for (const Rule::Operand& operand : rule.operands()) {
    if (!rule.isCalled(operand)) continue;
    for (const std::string_view name : operand.facts->references) {
      if (std::ranges::count(rule.referenceNames(), name) != 0) continue;
      reporter.at(rule.referencesPlace(),
                  {fmt::format("\"{}\" reads the reference \"{}\", which is missing from \"references\"{}",
                               operand.word, name, reporter.endingFor(name, rule.referenceNames())),
                   rule.consequence(operand, Forecast::kFails), "Add it."});
    }
  }
}

void wrongReferenceCount(const Rule& rule, Reporter& reporter) {
  if (rule.referencesAreMalformed()) return;
  for (const Rule::Operand& operand : rule.operands()) {
    const std::size_t count = rule.referenceNames().size();
    if (!rule.isCalled(operand) || !operand.facts->readsTheOnlyReference || count == 1) continue;
    reporter.at(rule.referencesPlace(),
                {fmt::format("\"{}\" takes exactly one reference, but there are {}.", operand.word, count),
                 rule.consequence(operand, count == 0 ? Forecast::kFault : Forecast::kFails), "List exactly one."});
  }
}

/// Whether a predicate of the rule reads the reference with this number among the names.
bool isRead(const Rule& rule, std::size_t number) {
  if (rule.takesFirstReference()) return number == 0;
  return std::ranges::any_of(rule.operands(), [&](const Rule::Operand& operand) {
    if (!rule.isCalled(operand) || operand.facts->readsTheOnlyReference) return true;  // has its own finding
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
    reporter.at(place->place, {isFirst ? fmt::format("The first reference is the value; \"{}\" is not used.", name)
                                       : fmt::format("No predicate of the rule reads the reference \"{}\".", name),
                               "The rule fails if the reference is not found, but never compares it.",
                               "Remove it, or move it to its own rule."});
  }
}

void duplicateReference(const Rule& rule, Reporter& reporter) {
  if (rule.references().size() == rule.referenceNames().size()) return;
  std::set<std::string_view> names;
  for (const Rule::Reference& reference : rule.references()) {
    if (names.insert(reference.name).second) continue;
    reporter.at(reference.place, {fmt::format("Two references have the name \"{}\".", reference.name),
                                  "Only the later one counts; the earlier one is ignored.",
                                  "Remove one; values to compare with each other need different names."});
  }
}

void malformedReferences(const Rule& rule, Reporter& reporter) {
  if (rule.wantsAbsence() || !rule.hasReferences()) return;
  if (rule.referencesAreMalformed()) {
    return reporter.at(rule.referencesPlace(),
                       {"The \"references\" are not an array of dictionaries.",
                        "The rule fails for every device, as if its attribute were missing.",
                        "Write an array with one dictionary per reference, even for a single one."});
  }
  for (const Rule::Reference& reference : rule.references()) {
    const Dictionary& keys = *reference.place.value().ifDictionary();
    for (const std::string_view key : {"attribute", "source"}) {
      const Value* value = keys.find(key);
      if (value == nullptr || value->isString()) continue;
      reporter.at(reference.place.entry(key, *value),
                  {fmt::format("The \"{}\" of a reference is {}, not a string.", key, kindName(value->kind())),
                   key == "source" ? rule.sentence(Forecast::kFails)
                                   : "It counts as missing: the rule's own attribute is used instead.",
                   "Write a string."});
    }
  }
}

void missingAttribute(const Rule& rule, Reporter& reporter) {
  if (rule.keys().findString("attribute")) return;
  const auto place = rule.key("attribute");
  reporter.at(place ? *place : rule.definition(),
              {place ? "The \"attribute\" is not a string and counts as missing." : "The rule has no \"attribute\".",
               rule.sentence(rule.wantsAbsence() ? Forecast::kPasses : Forecast::kFails),
               "Add the name of the device attribute to check."});
}

void predicateNotCalled(const Rule& rule, Reporter& reporter) {
  if (!rule.wantsAbsence()) return;
  for (const std::string_view key : {"predicate", "references"}) {
    const auto place = rule.key(key);
    if (!place) continue;
    reporter.atKey(*place,
                   {fmt::format("A rule whose name begins with \"No Attribute\" has a \"{}\".", key),
                    "It is ignored: the rule passes if the device lacks the attribute, and fails if the device has it.",
                    "Remove it, or rename the rule."});
  }
}

void lostForwarding(const Rule& rule, Reporter& reporter) {
  if (rule.operands().size() < 2) return;
  for (const Rule::Operand& operand : rule.operands()) {
    if (!rule.isCalled(operand) || !operand.facts->forwards) continue;
    reporter.at(rule.expressionPlace(),
                {fmt::format("\"{}\" is used in an expression with AND or OR.", operand.word),
                 "The attributes that it forwards to the station are lost.", "Move it to its own rule."});
  }
}

void alwaysPasses(const Rule& rule, Reporter& reporter) {
  if (rule.combination() != Operator::kNot && rule.combination() != Operator::kOr) return;
  for (const Rule::Operand& operand : rule.operands()) {
    if (!rule.isCalled(operand) || !operand.facts->forwards || forecastOf(rule, operand) != Forecast::kPasses) continue;
    reporter.at(rule.expressionPlace(),
                {fmt::format("\"{}\" only forwards attributes and passes for every device.", operand.word),
                 rule.consequence(operand, Forecast::kPasses), "Move it to its own rule, without NOT or OR."});
  }
}

void comparedWithItself(const Rule& rule, Reporter& reporter) {
  if (!rule.takesFirstReference() || rule.references().empty()) return;
  const std::string_view name = rule.references().front().name;
  // Of several with the same name, the last one counts.
  const auto last = std::find_if(rule.references().rbegin(), rule.references().rend(),
                                 [&](const Rule::Reference& reference) { return reference.name == name; });
  const bool isOfDevice = !last->place.value().ifDictionary()->contains("source");
  const bool isRead = rule.operands()[0].facts->withoutValue != Without::kSame;
  if (!isOfDevice || !isRead || rule.keys().findString("attribute") != name) return;
  reporter.at(last->place, {fmt::format("The reference is the attribute {} itself, as the device has it.", shown(name)),
                            "It is compared with itself, so the rule checks nothing.",
                            "Give the reference a \"source\" or another \"attribute\"."});
}

void narrowReference(const Rule& rule, Reporter& reporter) {
  if (!rule.takesFirstReference() || rule.operands()[0].word != "equal") return;
  reporter.at(rule.expressionPlace(),
              {"\"equal\" compares the reference as a 32-bit number.",
               "Different numbers above 2147483647 count as equal.", "Use \"equalLong\", which compares 64 bits."});
}

void shownAfterAll(const Rule& rule, Reporter& reporter) {
  const auto place = rule.key("hideResult");
  if (!place || place->value().ifBoolean() != false) return;
  reporter.at(*place, {"\"hideResult\" is false.", "Only its presence counts: the result is hidden anyway.",
                       "Remove it to show the result."});
}

void attributeOfTwoKinds(const Rule& rule, Reporter& reporter) {
  if (rule.combination() != Operator::kAnd) return;
  const Rule::Operand& left = rule.operands()[0];
  const Rule::Operand& right = rule.operands()[1];
  if (!rule.isCalled(left) || !rule.isCalled(right)) return;
  if (left.facts->attribute.kinds.meets(right.facts->attribute.kinds)) return;
  reporter.at(rule.expressionPlace(),
              {fmt::format("No kind of attribute is accepted by both \"{}\" and \"{}\".", left.word, right.word),
               rule.sentence(Forecast::kFails), "Write two rules about two attributes."});
}

constexpr Check kChecks[] = {
    {.name = "always-passes", .severity = Severity::kError, .ofRule = alwaysPasses},
    {.name = "attribute-of-two-kinds", .severity = Severity::kError, .ofDefinition = attributeOfTwoKinds},
    {.name = "compared-with-itself", .severity = Severity::kError, .ofRule = comparedWithItself},
    {.name = "duplicate-reference", .severity = Severity::kWarning, .ofDefinition = duplicateReference},
    {.name = "hidden-by-false", .severity = Severity::kWarning, .ofDefinition = shownAfterAll},
    {.name = "lost-forwarding", .severity = Severity::kWarning, .ofDefinition = lostForwarding},
    {.name = "malformed-expression", .severity = Severity::kError, .ofDefinition = malformedExpression},
    {.name = "malformed-references", .severity = Severity::kError, .ofDefinition = malformedReferences},
    {.name = "missing-attribute", .severity = Severity::kError, .ofDefinition = missingAttribute},
    {.name = "missing-reference", .severity = Severity::kError, .ofDefinition = missingReference},
    {.name = "nothing-to-take", .severity = Severity::kError, .ofRule = nothingToTake},
    {.name = "predicate-not-called", .severity = Severity::kWarning, .ofDefinition = predicateNotCalled},
    {.name = "narrow-reference", .severity = Severity::kWarning, .ofDefinition = narrowReference},
    {.name = "unknown-predicate", .severity = Severity::kError, .ofDefinition = unknownPredicate},
    {.name = "unread-reference", .severity = Severity::kWarning, .ofRule = unreadReference},
    {.name = "wrong-form", .severity = Severity::kError, .ofRule = wrongForm},
    {.name = "wrong-reference-count", .severity = Severity::kError, .ofDefinition = wrongReferenceCount},
};

}  // namespace

std::span<const Check> ruleChecks() { return kChecks; }

}  // namespace tavik::tool::lint
