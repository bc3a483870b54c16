/// @file
/// A rule as a check will see it: a definition of the library, with the local entry that assigns it to devices, if any.
#ifndef TAVIK_TOOL_LINT_RULE_H
#define TAVIK_TOOL_LINT_RULE_H

#include <tavik/PredicateExpression.h>
#include <tavik/PredicateFacts.h>
#include <tavik/Value.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "lint/LocalRules.h"
#include "rules/RuleFacts.h"

namespace tavik::tool::lint {

class Rule {
 public:
  /// A predicate of the rule.
  struct Operand {
    std::string_view word;
    const PredicateFacts* facts;  ///< null for an unknown predicate
  };
  struct Reference {
    std::string_view name;
    Place place;
  };
  using Operator = PredicateExpression::Operator;
  /// The result of a predicate, or of the rule, for every device.
  enum class Forecast : std::uint8_t { kFails, kPasses, kFault, kOpen };

  /// `entry`: null for the definition by itself.
  Rule(const Place& definition, std::string_view name, const Entry* entry);
  Rule(const Rule&) = delete;
  Rule& operator=(const Rule&) = delete;

  [[nodiscard]] std::string_view name() const noexcept { return name_; }
  [[nodiscard]] const Place& definition() const noexcept { return definition_; }
  [[nodiscard]] const Entry* entry() const noexcept { return entry_; }
  [[nodiscard]] const Dictionary& keys() const noexcept { return *definition_.value().ifDictionary(); }
  /// The place of a key of the definition.
  [[nodiscard]] std::optional<Place> key(std::string_view key) const;
  /// The place of the expression if it is a string, otherwise of the definition.
  [[nodiscard]] Place expressionPlace() const;
  /// Where to report something missing: the local entry, otherwise the definition.
  [[nodiscard]] Place ownPlace() const { return entry_ == nullptr ? definition_ : entry_->place(); }

  [[nodiscard]] bool wantsAbsence() const noexcept { return requiresAbsence(name_); }
  [[nodiscard]] std::optional<std::string_view> expression() const { return keys().findString("predicate"); }
  [[nodiscard]] bool isMalformed() const noexcept { return malformed_; }
  /// Empty for a rule that calls no predicate.
  [[nodiscard]] const std::vector<Operand>& operands() const noexcept { return operands_; }
  [[nodiscard]] Operator combination() const noexcept { return operator_; }

  /// The expected value in a document.
  [[nodiscard]] const std::optional<Place>& value() const noexcept { return value_; }
  [[nodiscard]] bool valueIsLocal() const noexcept { return entry_ != nullptr && entry_->expected() != nullptr; }
  /// The definition has no value, but a local entry may have one.
  [[nodiscard]] bool valueIsOpen() const noexcept { return entry_ == nullptr && !value_; }

  /// Whether there are references, even if empty or malformed.
  [[nodiscard]] bool hasReferences() const noexcept { return referencesPlace_.has_value(); }
  [[nodiscard]] bool referencesAreMalformed() const noexcept { return referencesAreMalformed_; }
  [[nodiscard]] const Place& referencesPlace() const { return *referencesPlace_; }
  [[nodiscard]] const std::vector<Reference>& references() const noexcept { return references_; }
  /// One of several with the same name.
  [[nodiscard]] const std::vector<std::string_view>& referenceNames() const noexcept { return referenceNames_; }
  [[nodiscard]] bool takesFirstReference() const noexcept { return takesFirstReference_; }
  [[nodiscard]] bool callsWithReferences() const noexcept { return hasReferences() && !takesFirstReference_; }
  /// The operand is called in a form that it supports.
  [[nodiscard]] bool isCalled(const Operand& operand) const {
    return operand.facts != nullptr && operand.facts->takesReferences == callsWithReferences();
  }
  /// The operand is called without an expected value.
  [[nodiscard]] bool lacksValue(const Operand& operand) const {
    return !value_ && !valueIsOpen() && !takesFirstReference_ && isCalled(operand);
  }

  /// The consequence for the rule if one of its predicates always has this result.
  [[nodiscard]] std::string consequence(const Operand& operand, Forecast forecast) const;
  /// "The rule fails for every device."
  [[nodiscard]] std::string sentence(Forecast forecast) const;

 private:
  void readReferences();
  void readExpression();

  std::string_view name_;
  Place definition_;
  const Entry* entry_;
  bool malformed_ = false;
  Operator operator_ = Operator::kNone;
  std::vector<Operand> operands_;
  std::optional<Place> entryPlace_;  // the parent of the local value
  std::optional<Place> value_;
  std::optional<Place> referencesPlace_;
  bool referencesAreMalformed_ = false;
  std::vector<Reference> references_;
  std::vector<std::string_view> referenceNames_;
  bool takesFirstReference_ = false;
};

}  // namespace tavik::tool::lint

#endif
