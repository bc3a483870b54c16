/// @file
/// A rule as a check will see it: a definition of the library and, where there is one, the local entry that brings it
/// to devices.
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

namespace tavik::tool::lint {

class Rule {
 public:
  /// A predicate of the rule.
  struct Operand {
    std::string_view word;
    const PredicateFacts* facts;  ///< null: nobody knows the word
  };
  struct Reference {
    std::string_view name;
    Place place;
  };
  using Operator = PredicateExpression::Operator;
  /// What becomes of a predicate, or of the rule, for every device.
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
  /// Of the text that the expression is, else of the definition.
  [[nodiscard]] Place expressionPlace() const;
  /// Where to find fault with what is missing: the local entry, else the definition.
  [[nodiscard]] Place ownPlace() const { return entry_ == nullptr ? definition_ : entry_->place(); }

  [[nodiscard]] bool wantsAbsence() const noexcept { return name_.starts_with("No Attribute"); }
  [[nodiscard]] std::optional<std::string_view> expression() const { return keys().findString("predicate"); }
  [[nodiscard]] bool isMalformed() const noexcept { return malformed_; }
  /// None of a rule that calls no predicate.
  [[nodiscard]] const std::vector<Operand>& operands() const noexcept { return operands_; }
  [[nodiscard]] Operator combination() const noexcept { return operator_; }

  /// The expected value that stands in a document.
  [[nodiscard]] const std::optional<Place>& value() const noexcept { return value_; }
  [[nodiscard]] bool valueIsLocal() const noexcept { return entry_ != nullptr && entry_->expected() != nullptr; }
  /// The definition has none, but a local entry may have one.
  [[nodiscard]] bool valueIsOpen() const noexcept { return entry_ == nullptr && !value_; }

  /// Whether there are references, if none or malformed ones.
  [[nodiscard]] bool hasReferences() const noexcept { return referencesPlace_.has_value(); }
  [[nodiscard]] bool referencesAreMalformed() const noexcept { return referencesAreMalformed_; }
  [[nodiscard]] const Place& referencesPlace() const { return *referencesPlace_; }
  [[nodiscard]] const std::vector<Reference>& references() const noexcept { return references_; }
  /// Of several with one name, one.
  [[nodiscard]] const std::vector<std::string_view>& referenceNames() const noexcept { return referenceNames_; }
  [[nodiscard]] bool takesFirstReference() const noexcept { return takesFirstReference_; }
  [[nodiscard]] bool callsWithReferences() const noexcept { return hasReferences() && !takesFirstReference_; }
  /// The operand is called in a form that it has.
  [[nodiscard]] bool isCalled(const Operand& operand) const {
    return operand.facts != nullptr && operand.facts->takesReferences == callsWithReferences();
  }
  /// The operand is called without an expected value.
  [[nodiscard]] bool lacksValue(const Operand& operand) const {
    return !value_ && !valueIsOpen() && !takesFirstReference_ && isCalled(operand);
  }

  /// What follows for the rule when one of its predicates always ends so.
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
  std::optional<Place> entryPlace_;  // where the local value hangs from
  std::optional<Place> value_;
  std::optional<Place> referencesPlace_;
  bool referencesAreMalformed_ = false;
  std::vector<Reference> references_;
  std::vector<std::string_view> referenceNames_;
  bool takesFirstReference_ = false;
};

}  // namespace tavik::tool::lint

#endif
