/// @file
/// What a predicate expression says, before anything is looked up, and how its operator combines records.
#ifndef TAVIK_ABSTRACT_TREE_EXPRESSION_H
#define TAVIK_ABSTRACT_TREE_EXPRESSION_H

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

#include "kernel_algorithms/RuleResult.h"

namespace tavik {

struct Expression {
  enum class Operator : std::uint8_t { kNone, kNot, kAnd, kOr };

  /// `text` is borrowed; absent counts as an expression without words.
  static Expression parse(std::optional<std::string_view> text);

  /// 0, or the error code of a malformed expression.
  std::int32_t errorCode = 0;
  Operator combination = Operator::kNone;
  /// The predicates' names, the second one empty unless two are combined.
  std::array<std::string_view, 2> words = {};
};

/// The results of NOT, AND and OR. Of a negated result everything else stays; a combined one forwards nothing.
RuleResult negated(RuleResult operand);
RuleResult both(const RuleResult& left, const RuleResult& right);
RuleResult either(const RuleResult& left, const RuleResult& right);

/// The result of an unknown predicate: `form` is ":value:" or ":references:value:".
RuleResult unknownPredicate(std::string_view word, bool withReferences);

}  // namespace tavik

#endif
