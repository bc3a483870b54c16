/// @file
/// The meaning of a rule as a sentence for people who do not know its predicates.
#ifndef TAVIK_TOOL_RULES_RULE_MEANING_H
#define TAVIK_TOOL_RULES_RULE_MEANING_H

#include <tavik/PredicateExpression.h>
#include <tavik/PredicateFacts.h>
#include <tavik/RuleEvaluation.h>

#include <span>
#include <string>
#include <string_view>

namespace tavik::tool {

/// "Passes when it begins with the expected text, and when it contains no lowercase letters." or "Fails when it is
/// greater than the expected number." Empty if the rule calls no predicate or an unknown one.
std::string meaningOf(const RuleEvaluation& evaluation);
/// The same for an expression.
std::string meaningOf(const PredicateExpression& expression);

/// "a string or a number". `nameOf`: how each kind is named.
std::string textOf(Kinds kinds, std::string_view (*nameOf)(Kind kind));

/// The names of all predicates.
std::span<const std::string_view> predicateNames();

}  // namespace tavik::tool

#endif
