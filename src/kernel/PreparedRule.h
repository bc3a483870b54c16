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
#include "values/DictionarySheet.h"
#include "values/MaybeAbsent.h"

namespace tavik {

/// A predicate of a rule, looked up in the form that the rule calls.
struct PreparedCall {
  std::string_view word;
  const Operation* operation = nullptr;  ///< null: unknown
};

/// The name of an attribute, to be looked up in dictionaries that are alike.
class PreparedName {
 public:
  PreparedName() = default;
  /// name: a string; may be null.
  explicit PreparedName(const Value* name);

  /// Notes the position of the attribute.
  void expectLike(const Dictionary& attributes) noexcept;
  [[nodiscard]] const Value* find(const Dictionary& attributes) const noexcept {
    return name_ == nullptr ? nullptr : key_.find(attributes, guess_);
  }
  [[nodiscard]] bool isSame(const PreparedName& other) const noexcept {
    return name_ != nullptr && other.name_ != nullptr && key_.is(*other.name_);
  }
  /// Null: none.
  [[nodiscard]] const Value* value() const noexcept { return name_; }

 private:
  const Value* name_ = nullptr;
  detail::KnownKey key_{std::string_view()};
  std::uint32_t guess_ = std::numeric_limits<std::uint32_t>::max();  // the likely position of the attribute
};

/// A reference of a rule.
struct PreparedReference {
  PreparedName name;        ///< none if neither the reference nor the rule names an attribute
  const Value* source;      ///< null: the device
  PreparedName sourceName;  ///< none if the source is not a string

  /// The attributes that it refers to; null if the source does not exist. sources: may be null.
  [[nodiscard]] const Dictionary* from(const Dictionary& device, const Dictionary* sources) const noexcept {
    if (source == nullptr) return &device;
    return sources == nullptr ? nullptr : dictionaryOf(sourceName.find(*sources));
  }
};

/// Borrows from the rule library and the local rules.
struct PreparedRule {
  /// local: the local entry. definition: that of the rule library; null if it has none.
  PreparedRule(const Value& name, const Dictionary& local, const Dictionary* definition);

  /// Replaces what it reads for every device. copy: returns a copy of a value, or null for null.
  template <class Copy>
  void readCopies(Copy& copy) {
    value = copy(value);
    attribute = PreparedName(copy(attribute.value()));
  }

  /// Prepares for checking many devices like this one: adds the rule's record to the sheet, and notes the positions of
  /// attributes.
  void prepareForDevicesLike(const Dictionary& device, const Dictionary* sources, detail::DictionarySheet& sheet);

  [[nodiscard]] bool callsWithReferences() const noexcept { return references != nullptr && !takesValueFromReference; }

  const Value& name;
  PreparedName attribute;                 ///< of the device; none if the rule names none
  const Value* value = nullptr;           ///< the expected value; may be null
  const Value* references = nullptr;      ///< the rule's "references"; may be null
  std::vector<PreparedReference> listed;  ///< the references up to the first malformed one
  bool referencesAreMalformed = false;
  const Value* predicate = nullptr;  ///< a string; null if the rule names none
  PreparedCall call;
  std::unique_ptr<PreparedCall> secondCall;              ///< of the second predicate if two are combined
  std::optional<detail::DictionarySheet::Place> record;  ///< if prepared for many devices
  bool recordHasExpected = false;                        ///< whether it has the expected text
  std::int32_t errorCode = 0;                            ///< not 0 if the expression is malformed
  PredicateExpression::Operator combination = PredicateExpression::Operator::kNone;
  bool wantsAbsence = false;
  bool hidesResult = false;
  bool takesValueFromReference = false;

 private:
  void readDefinition(const Dictionary& definition);
  void readReferences();
  void readExpression();
  [[nodiscard]] PreparedCall callOf(std::string_view word) const noexcept;
  [[nodiscard]] const Phrase* phraseOf(const PreparedCall& call) const noexcept;
  void prepareRecord(detail::DictionarySheet& sheet);
};

}  // namespace tavik

#endif
