/// @file
/// How rules about one attribute relate to each other, found by evaluating them on sample values.
#ifndef TAVIK_TOOL_LINT_RULE_FORMS_H
#define TAVIK_TOOL_LINT_RULE_FORMS_H

#include <tavik/AbstractTree.h>
#include <tavik/Value.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "lint/Samples.h"

namespace tavik::tool::lint {

/// What a rule requires of its attribute: rules with the same expression and value have the same form.
class RuleForm {
 public:
  /// `expression`: borrowed. `value`: null if there is none.
  RuleForm(std::string_view expression, const Value* value);

  /// Whether samples tell when the rule passes.
  [[nodiscard]] bool isUnderstood() const noexcept { return !patterns_.isUnknown; }
  [[nodiscard]] const Patterns& patterns() const noexcept { return patterns_; }
  [[nodiscard]] const Value* value() const noexcept { return value_; }
  /// The length of the codes that the rule compares; 0 if it does not compare codes.
  [[nodiscard]] std::size_t codeLength() const noexcept { return codeLength_; }
  /// A fault counts as failing.
  [[nodiscard]] bool passes(const Value& attribute) const;

 private:
  const Value* value_;
  std::size_t codeLength_ = 0;
  Patterns patterns_;
  std::unique_ptr<AbstractTreeNode> tree_;
};

enum class Relation : std::uint8_t {
  kNone,           ///< or unknown
  kContradiction,  ///< no attribute passes both
  kSame,           ///< each attribute that passes one of them passes the other
  /// Each attribute that passes the first one passes the other. Codes of different lengths overlap but identify
  /// different things; their relation is kNone.
  kFirstImpliesOther,
  kOtherImpliesFirst,
};

/// The forms of many rules, each evaluated with each other at most once. The number of evaluations is limited; after
/// that, relations are unknown.
class RuleForms {
 public:
  /// `expression`, `value`: borrowed.
  const RuleForm& of(std::string_view expression, const Value* value);
  Relation between(const RuleForm& first, const RuleForm& other);
  /// Whether no attribute passes; false if unknown.
  bool isImpossible(const RuleForm& form);

 private:
  Relation evaluate(const RuleForm& first, const RuleForm& other);

  std::deque<RuleForm> all_;
  std::unordered_map<std::string_view, std::vector<const RuleForm*>> byExpression_;
  std::unordered_map<std::uint64_t, Relation> relations_;
  std::unordered_map<const RuleForm*, std::uint32_t> numbers_;
  std::size_t evaluations_ = 0;
};

}  // namespace tavik::tool::lint

#endif
