// The checks with example devices: what rules read must exist there, in the kind that they take, and a rule that fails
// for every example is suspect. A single device that fails several rules is not an example.

#include <fmt/format.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "lint/Check.h"
#include "lint/Experience.h"
#include "lint/Rule.h"
#include "text/Text.h"

namespace tavik::tool::lint {
namespace {

void reportMissing(const Rule& rule, const Experience& experience, const Place& place,
                   const RuleEvaluation::Operand& read, Reporter& reporter) {
  const std::string source = read.source.value_or("");
  const std::string name = read.name.value_or("");
  const auto names = experience.names->find(source);
  const auto known = names == experience.names->end() ? std::vector<std::string_view>() : names->second;
  reporter.at(place, {fmt::format("{} lacks {}{}{}", experience.whom(), shown(name),
                                  source.empty() ? "" : " from " + shown(source), reporter.endingFor(name, known)),
                      rule.sentence(Rule::Forecast::kFails), "Use a name that devices have."});
}

void unseenAttribute(const Rule& rule, const Experience& experience, Reporter& reporter) {
  if (rule.wantsAbsence()) return;
  const auto lacks = [](const Experience::Case& each) { return !each.evaluation.attribute.value; };
  if (experience.isTypical(lacks)) {
    const auto place = rule.key("attribute");
    return reportMissing(rule, experience, place ? *place : rule.definition(), experience.cases[0].evaluation.attribute,
                         reporter);
  }
  for (std::size_t i = 0; i < rule.references().size(); ++i) {
    const auto lacksIt = [&](const Experience::Case& each) {
      return i < each.evaluation.references.size() && !each.evaluation.references[i].value;
    };
    if (!experience.isTypical(lacksIt)) continue;
    reportMissing(rule, experience, rule.references()[i].place, experience.cases[0].evaluation.references[i], reporter);
  }
}

/// Whether a predicate that reads numbers gets a text without one.
bool lacksNumber(const ValueFacts& facts, const Value& value) {
  using ReadAs = ValueFacts::ReadAs;
  const auto text = value.ifString();
  const bool isNumber = facts.readAs != ReadAs::kItself && facts.readAs != ReadAs::kBoolean;
  return text && isNumber && text->find_first_of("0123456789") == std::string_view::npos;
}

void unseenKind(const Rule& rule, const Experience& experience, Reporter& reporter) {
  for (const Rule::Operand& operand : rule.operands()) {
    if (!rule.isCalled(operand) || !operand.facts->readsAttribute) continue;
    const ValueFacts& facts = operand.facts->attribute;
    const auto isOther = [&](const Experience::Case& each) {
      const auto& value = each.evaluation.attribute.value;
      return value && (!facts.kinds.contains(value->kind()) || lacksNumber(facts, *value));
    };
    if (!std::ranges::all_of(experience.cases, isOther)) continue;
    const Value& value = *experience.cases[0].evaluation.attribute.value;
    const bool isText = facts.kinds.contains(value.kind());
    reporter.at(rule.expressionPlace(),
                {fmt::format("Devices have the attribute as {}{}, which \"{}\" does not take.", kindName(value.kind()),
                             isText ? " without a number" : "", operand.word),
                 rule.consequence(operand, isText ? Rule::Forecast::kOpen : Rule::Forecast::kFails),
                 "Use another predicate or attribute."});
  }
}

void narrowAttribute(const Rule& rule, const Experience& experience, Reporter& reporter) {
  const auto isBeyond = [](const Experience::Case& each) {
    const auto& value = each.evaluation.attribute.value;
    return value && longValue(&*value) != integerValue(&*value);
  };
  const bool readsInteger = std::ranges::count(rule.operands(), "equal", &Rule::Operand::word) != 0;
  if (!readsInteger || std::ranges::none_of(experience.cases, isBeyond)) return;
  reporter.at(rule.expressionPlace(),
              {"Devices have numbers that do not fit in the 32 bits that \"equal\" compares.",
               "All numbers above 2147483647 count as equal.", "Use \"equalLong\", which compares 64 bits."});
}

void failsForExamples(const Rule& rule, const Experience& experience, Reporter& reporter) {
  const auto fails = [](const Experience::Case& each) {
    const RuleEvaluation& evaluation = each.evaluation;
    const auto isThere = [](const RuleEvaluation::Operand& read) { return read.value.has_value(); };
    const bool hasAll = evaluation.attribute.value && std::ranges::all_of(evaluation.references, isThere);
    return each.fails() && (hasAll || evaluation.wantsAbsence);
  };
  if (!experience.isTypical(fails)) return;
  const RuleEvaluation& evaluation = experience.cases[0].evaluation;
  const Dictionary* record = evaluation.record ? evaluation.record->ifDictionary() : nullptr;
  const auto read = [&](std::string_view key) { return record == nullptr ? nullptr : record->find(key); };
  reporter.atValue(
      rule, {fmt::format("{} fails the rule.", experience.whom()),
             record == nullptr ? std::string("The check ends with a fault.")
                               : fmt::format("One has {}; the rule expects {}.", shown(description(read("actual"))),
                                             shown(description(read("expected")))),
             "Correct the value, or the examples."});
}

constexpr Check kChecks[] = {
    {.name = "fails-for-examples", .severity = Severity::kWarning, .ofExamples = failsForExamples},
    {.name = "narrow-attribute", .severity = Severity::kWarning, .ofExamples = narrowAttribute},
    {.name = "unseen-attribute", .severity = Severity::kWarning, .ofExamples = unseenAttribute},
    {.name = "unseen-kind", .severity = Severity::kWarning, .ofExamples = unseenKind},
};

}  // namespace

std::span<const Check> deviceChecks() { return kChecks; }

}  // namespace tavik::tool::lint
