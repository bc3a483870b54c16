/// @file
/// A rule with everything about it that a device has no say in.
#ifndef TAVIK_KERNEL_PREPARED_RULE_H
#define TAVIK_KERNEL_PREPARED_RULE_H

#include <tavik/Value.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

#include "AbstractTree/Expression.h"
#include "kernel_algorithms/OperationRegistry.h"
#include "kernel_private/DeviceRules.h"

namespace tavik {

/// A predicate of a rule, looked up.
struct PreparedCall {
  const Operation* operation = nullptr;    ///< null: nobody knows the word
  const Comparison* comparison = nullptr;  ///< null: the operation is none, or the rule calls with references
  std::optional<Value> expected;           ///< of a comparison, where it is worth making beforehand
};

/// Borrows from the rule library and the local rules.
struct PreparedRule {
  /// `forMany`: the rule is for many devices, so that what records say of the expected value is made once.
  PreparedRule(const EntryList::Entry& local, const Dictionary& library, bool forMany);

  /// The names of its predicates, which only say something when none of them is known.
  [[nodiscard]] Expression expression() const noexcept;

  const Value& name;
  const Value* attribute = nullptr;   ///< a string; null: the rule names none
  std::uint64_t attributeHash = 0;    ///< of the attribute as a key
  const Value* value = nullptr;       ///< the expected value, may be null
  const Value* references = nullptr;  ///< as the rule has them, may be null
  const Value* predicate = nullptr;   ///< a string; null: the rule names none
  PreparedCall call;
  std::unique_ptr<const PreparedCall> secondCall;  ///< of the second predicate, where two are combined
  std::int32_t errorCode = 0;                      ///< 0, or that of a malformed expression
  Expression::Operator combination = Expression::Operator::kNone;
  bool wantsAbsence = false;
  bool hidesResult = false;
  bool takesValueFromReference = false;

 private:
  void read(const Dictionary& definition);
  [[nodiscard]] PreparedCall prepared(std::string_view word, bool forMany) const;
};

}  // namespace tavik

#endif
