// Predicate expressions: parsing.

#include <tavik/PredicateExpression.h>

#include "values/Text.h"

namespace tavik {

namespace {

constexpr std::int32_t kBadOperator = -100006;
constexpr std::int32_t kBadWordCount = -100007;

// The words of an expression, up to the maximum number. Each blank separates two words, which may be empty.
struct Words {
  static constexpr std::size_t kMost = 3;

  explicit Words(std::string_view expression) noexcept {
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

PredicateExpression PredicateExpression::parse(std::optional<std::string_view> text) noexcept {
  PredicateExpression expression;
  const auto fail = [&](std::int32_t code) {
    expression.errorCode_ = code;
    return expression;
  };
  const auto succeed = [&](Operator combination, std::size_t count, std::string_view first, std::string_view second) {
    expression.operator_ = combination;
    expression.count_ = count;
    expression.names_ = {first, second};
    return expression;
  };
  if (!text) return fail(kBadWordCount);
  const Words words(*text);
  const auto& [first, second, third] = words.word;
  switch (words.count) {
    case 1:
      return succeed(Operator::kNone, 1, first, {});
    case 2:
      return equalIgnoringCase(first, "NOT") ? succeed(Operator::kNot, 1, second, {}) : fail(kBadOperator);
    case 3:
      if (equalIgnoringCase(second, "AND")) return succeed(Operator::kAnd, 2, first, third);
      return equalIgnoringCase(second, "OR") ? succeed(Operator::kOr, 2, first, third) : fail(kBadOperator);
    default:
      return fail(kBadWordCount);
  }
}

std::string PredicateExpression::text() const {
  std::string text(operator_ == Operator::kNot ? "NOT " : "");
  text += names_[0];
  if (count_ == 2) text.append(" ").append(word(operator_)).append(" ").append(names_[1]);
  return text;
}

std::string_view PredicateExpression::word(Operator combination) noexcept {
  constexpr std::string_view kWords[] = {"", "NOT", "AND", "OR"};
  return kWords[static_cast<std::size_t>(combination)];
}

}  // namespace tavik
