#include "rules/RuleMeaning.h"

#include <fmt/format.h>

#include <vector>

namespace tavik::tool {
namespace {

using Operator = PredicateExpression::Operator;

std::string meaningOf(Operator combination, std::span<const std::string_view> words) {
  std::string meaning;
  for (const std::string_view word : words) {
    const PredicateFacts* const facts = PredicateFacts::find(word);
    if (facts == nullptr) return "";
    if (!meaning.empty()) meaning += combination == Operator::kAnd ? ", and when " : ", or when ";
    meaning += facts->meaning;
  }
  if (meaning.empty()) return "";
  return (combination == Operator::kNot ? "Fails when " : "Passes when ") + meaning + ".";
}

}  // namespace

std::string meaningOf(const RuleEvaluation& evaluation) {
  std::vector<std::string_view> words;
  for (const RuleEvaluation::Call& call : evaluation.calls) words.emplace_back(call.word);
  return meaningOf(evaluation.combination, words);
}

std::string meaningOf(const PredicateExpression& expression) {
  return meaningOf(expression.combination(), expression.predicates());
}

std::string textOf(Kinds kinds, std::string_view (*nameOf)(Kind kind)) {
  std::string text;
  for (int number = 0; number <= static_cast<int>(Kind::kDictionary); ++number) {
    const auto kind = static_cast<Kind>(number);
    if (kinds.contains(kind)) text += fmt::format("{}{}", text.empty() ? "" : " or ", nameOf(kind));
  }
  return text;
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
