/// @file
/// What a rule asks for, in a sentence for those who do not know its predicate.
#ifndef TAVIK_TOOL_RULES_RULE_MEANING_H
#define TAVIK_TOOL_RULES_RULE_MEANING_H

#include <string>
#include <string_view>

namespace tavik::tool {

/// "Passes when it begins with the expected text, and when it has no small letters." or "Fails when it is greater than
/// the expected number." Empty for an expression with a word
/// that is no predicate.
std::string meaningOf(std::string_view predicateExpression);

}  // namespace tavik::tool

#endif
