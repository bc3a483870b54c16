#include "rules/RuleMeaning.h"

#include <tavik/PredicateFacts.h>

#include <vector>

namespace tavik::tool {

std::string meaningOf(const RuleEvaluation& evaluation) {
  using Operator = PredicateExpression::Operator;
  std::string meaning;
  for (const RuleEvaluation::Call& call : evaluation.calls) {
    const PredicateFacts* const facts = PredicateFacts::find(call.word);
    if (facts == nullptr) return "";
    if (!meaning.empty()) meaning += evaluation.combination == Operator::kAnd ? ", and when " : ", or when ";
    meaning += facts->meaning;
  }
  if (meaning.empty()) return "";
  return (evaluation.combination == Operator::kNot ? "Fails when " : "Passes when ") + meaning + ".";
}

std::span<const std::string_view> predicateNames() {
  static const std::vector<std::string_view> names = [] {
    std::vector<std::string_view> all;
    for (const PredicateFacts& facts : PredicateFacts::all()) all.push_back(facts.word);
    return all;
  }();
  return names;
}

}  // namespace tavik::tool
