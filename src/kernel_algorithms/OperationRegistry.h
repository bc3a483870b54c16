/// @file
/// The operations that rules may name, one row each. Adding a predicate is one function and one row.
#ifndef TAVIK_KERNEL_ALGORITHMS_OPERATION_REGISTRY_H
#define TAVIK_KERNEL_ALGORITHMS_OPERATION_REGISTRY_H

#include <tavik/Value.h>

#include <span>
#include <string_view>
#include <variant>

namespace tavik {

/// The operation "WORD:value:".
using Predicate = Dictionary (*)(const Value* attribute, const Value* value);
/// The operation "WORD:references:value:".
using ReferencePredicate = Dictionary (*)(const Value* attribute, const Dictionary* references, const Value* value);

/// A predicate, which has one of the two forms.
struct Operation {
  std::string_view word;  // as rule data spells it
  std::variant<Predicate, ReferencePredicate> call;
  /// A rule with references but no "value" takes its first reference value as the expected value.
  bool referenceMayBeValue = false;
  /// A call that lacks one of these references is logged, with the references that it has.
  std::span<const std::string_view> loggedWithout = {};
};

/// The row of `word`, null when there is none. Allocates nothing.
const Operation* findOperation(std::string_view word) noexcept;

}  // namespace tavik

#endif
