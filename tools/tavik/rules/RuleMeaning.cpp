#include "rules/RuleMeaning.h"

#include <tavik/PredicateFacts.h>

#include <algorithm>

namespace tavik::tool {
namespace {

/// Takes the next word of an expression; empty at its end.
std::string_view takeWord(std::string_view& expression) {
  expression.remove_prefix(std::min(expression.find_first_not_of(' '), expression.size()));
  const std::string_view word = expression.substr(0, expression.find(' '));
  expression.remove_prefix(word.size());
  return word;
}

}  // namespace

std::string meaningOf(std::string_view predicateExpression) {
  std::string meaning;
  const bool onlyNegated = predicateExpression.starts_with("NOT ") && std::ranges::count(predicateExpression, ' ') == 1;
  for (std::string_view word = takeWord(predicateExpression); !word.empty(); word = takeWord(predicateExpression)) {
    if (word == "NOT") {
      if (!onlyNegated) meaning += "it is not so that ";
    } else if (word == "AND") {
      meaning += ", and when ";
    } else if (word == "OR") {
      meaning += ", or when ";
    } else {
      const PredicateFacts* const facts = PredicateFacts::find(word);
      if (facts == nullptr) return "";
      meaning += facts->meaning;
    }
  }
  return meaning.empty() ? "" : (onlyNegated ? "Fails when " : "Passes when ") + meaning + ".";
}

}  // namespace tavik::tool
