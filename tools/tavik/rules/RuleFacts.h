/// @file
/// The properties of a rule that follow from the documents alone, without a device.
#ifndef TAVIK_TOOL_RULES_RULE_FACTS_H
#define TAVIK_TOOL_RULES_RULE_FACTS_H

#include <tavik/PredicateExpression.h>
#include <tavik/PredicateFacts.h>
#include <tavik/Value.h>

#include <compare>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tavik::tool {

/// Whether a rule with this name requires that the device lacks its attribute.
inline bool requiresAbsence(std::string_view rule) { return rule.starts_with("No Attribute"); }

/// A value that a rule reads.
struct RuleOperand {
  std::optional<std::string> source;  ///< absent: the device
  std::string name;
  friend auto operator<=>(const RuleOperand&, const RuleOperand&) = default;
};

/// Borrows the rule's definition and value.
class RuleFacts {
 public:
  using Operator = PredicateExpression::Operator;

  /// definition, value: as in `RuleOrigin`; may be null.
  RuleFacts(std::string_view name, const Dictionary* definition, const Value* value);

  /// The attribute and the references, in order.
  [[nodiscard]] const std::vector<RuleOperand>& operands() const noexcept { return operands_; }
  /// kNone if the rule calls no predicate.
  [[nodiscard]] Operator combination() const noexcept { return combination_; }
  /// The predicates of the expression, unknown ones included; none if it is malformed or not read.
  [[nodiscard]] const std::vector<std::string_view>& predicates() const noexcept { return predicates_; }
  /// The predicates that read the expected value.
  [[nodiscard]] std::vector<const PredicateFacts*> valueReaders() const;
  /// Whether the rule passes for every device that has the values that it reads.
  [[nodiscard]] bool cannotFail() const;
  /// Whether it forwards attributes to the station.
  [[nodiscard]] bool forwards() const;

 private:
  void readReferences(const Value& references, const std::optional<std::string>& attribute);
  [[nodiscard]] const PredicateFacts* called(std::string_view word) const;
  [[nodiscard]] bool alwaysPasses(std::string_view word) const;

  bool wantsAbsence_;
  bool hasReferences_ = false;
  const Value* value_;
  Operator combination_ = Operator::kNone;
  std::vector<RuleOperand> operands_;
  std::vector<std::string_view> predicates_;
};

}  // namespace tavik::tool

#endif
