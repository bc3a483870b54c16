#ifndef TAVIK_PREDICATE_EXPRESSION_H
#define TAVIK_PREDICATE_EXPRESSION_H

#include <tavik/Export.h>

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace tavik {

/// A predicate expression: `NAME`, `NOT NAME`, `NAME AND NAME` or `NAME OR NAME`. Words are separated by exactly one
/// blank; operators may be in any case. There are no parentheses and no nesting.
///
///     const auto expression = PredicateExpression::parse("hasPrefix and isUppercase");
///     if (!expression.isMalformed()) for (std::string_view name : expression.predicates()) { /* two names */ }
///
/// Borrows the text that it was parsed from. Thread-safe.
class TAVIK_EXPORT PredicateExpression {
 public:
  enum class Operator : std::uint8_t { kNone, kNot, kAnd, kOr };

  /// Parses an expression; absent counts as an expression without words. Predicate names are not looked up.
  static PredicateExpression parse(std::optional<std::string_view> text) noexcept;

  [[nodiscard]] bool isMalformed() const noexcept { return errorCode_ != 0; }
  /// The code of the error that a malformed expression causes: -100006 for an unknown operator in two or three words,
  /// -100007 for a wrong number of words. 0 if the expression is well formed.
  [[nodiscard]] std::int32_t errorCode() const noexcept { return errorCode_; }

  [[nodiscard]] Operator combination() const noexcept { return operator_; }
  /// The one or two predicate names, which may be empty strings; none if the expression is malformed.
  [[nodiscard]] std::span<const std::string_view> predicates() const noexcept { return {names_.data(), count_}; }

  /// The expression with its operator in upper case; expressions that differ only in the case of the operator have the
  /// same text. Empty if the expression is malformed.
  [[nodiscard]] std::string text() const;

  /// "NOT", "AND" or "OR"; empty for kNone.
  static std::string_view word(Operator combination) noexcept;

 private:
  std::int32_t errorCode_ = 0;
  Operator operator_ = Operator::kNone;
  std::size_t count_ = 0;
  std::array<std::string_view, 2> names_ = {};
};

}  // namespace tavik

#endif
