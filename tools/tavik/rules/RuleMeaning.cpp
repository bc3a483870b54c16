#include "rules/RuleMeaning.h"

#include <tavik/PredicateExpression.h>
#include <tavik/PredicateFacts.h>

#include <vector>

namespace tavik::tool {

std::string meaningOf(std::string_view predicateExpression) {
  using Operator = PredicateExpression::Operator;
  const PredicateExpression expression = PredicateExpression::parse(predicateExpression);
  if (expression.isMalformed()) return "";
  std::string meaning;
  for (const std::string_view name : expression.predicates()) {
    const PredicateFacts* const facts = PredicateFacts::find(name);
    if (facts == nullptr) return "";
    if (!meaning.empty()) meaning += expression.combination() == Operator::kAnd ? ", and when " : ", or when ";
    meaning += facts->meaning;
  }
  return (expression.combination() == Operator::kNot ? "Fails when " : "Passes when ") + meaning + ".";
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
