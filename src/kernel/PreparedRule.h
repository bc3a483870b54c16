/// @file
/// A rule with everything that does not depend on the device.
#ifndef TAVIK_KERNEL_PREPARED_RULE_H
#define TAVIK_KERNEL_PREPARED_RULE_H

#include <tavik/PredicateExpression.h>
#include <tavik/Value.h>

#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "kernel_algorithms/OperationRegistry.h"
#include "values/DictionaryKey.h"

namespace tavik {

/// A predicate of a rule, looked up in the form that the rule calls.
struct PreparedCall {
  std::string_view word;
  const Operation* operation = nullptr;  ///< null: unknown
  std::optional<Value> expectedText;     ///< the record text for the rule's value, if made in advance
};

/// A reference of a rule.
struct PreparedReference {
  const Value* name;    ///< a string; null if neither the reference nor the rule names an attribute
  const Value* source;  ///< null: the device
};

/// Borrows from the rule library and the local rules.
struct PreparedRule {
  /// local: the local entry. definition: that of the rule library; null if it has none.
  PreparedRule(const Value& name, const Dictionary& local, const Dictionary* definition);

  /// Prepares for checking many devices like this one: makes record texts, and notes the position of the attribute.
  void prepareForDevicesLike(const Dictionary& device);

  [[nodiscard]] bool callsWithReferences() const noexcept { return references != nullptr && !takesValueFromReference; }

  static constexpr std::uint32_t kUnguessed = std::numeric_limits<std::uint32_t>::max();

  const Value& name;
  const Value* attribute = nullptr;  ///< a string; null if the rule names none
  detail::Sought attributeKey{std::string_view()};
  std::uint64_t attributeHash = 0;            ///< of that key
  std::uint32_t attributeGuess = kUnguessed;  ///< the likely position of the attribute
  const Value* value = nullptr;               ///< the expected value; may be null
  const Value* references = nullptr;          ///< the rule's "references"; may be null
  std::vector<PreparedReference> listed;      ///< the references up to the first malformed one
  bool referencesAreMalformed = false;
  const Value* predicate = nullptr;  ///< a string; null if the rule names none
  PreparedCall call;
  std::unique_ptr<PreparedCall> secondCall;  ///< of the second predicate if two are combined
  std::int32_t errorCode = 0;                ///< not 0 if the expression is malformed
  PredicateExpression::Operator combination = PredicateExpression::Operator::kNone;
  bool wantsAbsence = false;
  bool hidesResult = false;
  bool takesValueFromReference = false;

 private:
  void readDefinition(const Dictionary& definition);
  void readReferences();
  void readExpression();
  [[nodiscard]] PreparedCall callOf(std::string_view word) const noexcept;
  void makeText(PreparedCall& made) const;
};

}  // namespace tavik

#endif
