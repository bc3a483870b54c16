// Predicate expressions: splitting them, and combining results.

#include "AbstractTree/Expression.h"

#include "values/Format.h"
#include "values/Text.h"

namespace tavik {

namespace {

constexpr std::int32_t kBadOperator = -100006;
constexpr std::int32_t kBadWordCount = -100007;

// The words of an expression, as many as it can have; each blank separates two words, which may be empty.
struct Words {
  static constexpr std::size_t kMost = 3;

  explicit Words(std::string_view expression) {
    for (;;) {
      const std::size_t blank = expression.find(' ');
      if (count < kMost) word[count] = expression.substr(0, blank);
      ++count;
      if (blank == std::string_view::npos || count > kMost) return;
      expression.remove_prefix(blank + 1);
    }
  }

  std::string_view word[kMost];
  std::size_t count = 0;
};

}  // namespace

Expression Expression::parse(std::optional<std::string_view> text) {
  if (!text) return {.errorCode = kBadWordCount};
  const Words words(*text);
  const auto& [first, second, third] = words.word;
  switch (words.count) {
    case 1:
      return {.words = {first}};
    case 2:
      if (equalIgnoringCase(first, "NOT")) return {.combination = Operator::kNot, .words = {second}};
      return {.errorCode = kBadOperator};
    case 3:
      if (equalIgnoringCase(second, "AND")) return {.combination = Operator::kAnd, .words = {first, third}};
      if (equalIgnoringCase(second, "OR")) return {.combination = Operator::kOr, .words = {first, third}};
      return {.errorCode = kBadOperator};
    default:
      return {.errorCode = kBadWordCount};
  }
}

RuleResult negated(RuleResult operand) {
  operand.result = !operand.result;
  operand.expected = formattedValue("not %@", {operand.expected});
  return operand;
}

RuleResult both(const RuleResult& left, const RuleResult& right) {
  return {left.result && right.result, formattedValue("%@ and %@", {left.actual, right.actual}),
          formattedValue("%@ and %@", {left.expected, right.expected})};
}

RuleResult either(const RuleResult& left, const RuleResult& right) {
  // The right "actual" is never shown, by design.
  return {left.result || right.result, descriptionValue(&left.actual),
          formattedValue("%@ or %@", {left.expected, right.expected})};
}

RuleResult unknownPredicate(std::string_view word, bool withReferences) {
  const std::string_view form = withReferences ? ":references:value:" : ":value:";
  return {false, formattedValue("unknown predicate %@%@", {word, form}), "valid predicate name"};
}

}  // namespace tavik
