/// @file
/// A rule with everything about it that a device has no say in.
#ifndef TAVIK_KERNEL_PREPARED_RULE_H
#define TAVIK_KERNEL_PREPARED_RULE_H

#include <tavik/Value.h>

#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string_view>

#include "AbstractTree/Expression.h"
#include "kernel_algorithms/OperationRegistry.h"
#include "kernel_private/DeviceRules.h"
#include "values/DictionaryKey.h"

namespace tavik {

/// A predicate of a rule, looked up.
struct PreparedCall {
  const Operation* operation = nullptr;    ///< null: nobody knows the word
  const Comparison* comparison = nullptr;  ///< null: the operation is none, or the rule calls with references
  std::optional<Value> expected;           ///< of a comparison, where it is worth making beforehand
};

/// Borrows from the rule library and the local rules.
struct PreparedRule {
  /// `definition`: the rule library's, null when it has none.
  /// `device`: the attributes of the first device with the rule, which others of its station list alike.
  /// `forMany`: the rule is for many devices, so that what records say of the expected value is made once.
  PreparedRule(const EntryList::Entry& local, const Dictionary* definition, const Dictionary& device, bool forMany);

  /// The names of its predicates, which only say something when none of them is known.
  [[nodiscard]] Expression expression() const noexcept;

  static constexpr std::uint32_t kUnguessed = std::numeric_limits<std::uint32_t>::max();

  const Value& name;
  const Value* attribute = nullptr;  ///< a string; null: the rule names none
  detail::Sought attributeKey{std::string_view()};
  std::uint64_t attributeHash = 0;            ///< of that key
  std::uint32_t attributeGuess = kUnguessed;  ///< where the attribute was among those of `device`
  const Value* value = nullptr;               ///< the expected value, may be null
  const Value* references = nullptr;          ///< as the rule has them, may be null
  const Value* predicate = nullptr;           ///< a string; null: the rule names none
  PreparedCall call;
  std::unique_ptr<PreparedCall> secondCall;  ///< of the second predicate, where two are combined
  std::int32_t errorCode = 0;                ///< 0, or that of a malformed expression
  Expression::Operator combination = Expression::Operator::kNone;
  bool wantsAbsence = false;
  bool hidesResult = false;
  bool takesValueFromReference = false;

 private:
  void read(const Dictionary& definition);
  void prepare(PreparedCall& call, std::string_view word, bool forMany) const;
};

}  // namespace tavik

#endif
