/// @file
/// The operations that rules may name, one row each. Adding a predicate is one function and one row, which also holds
/// what is to be known of it (PredicateFacts.h).
#ifndef TAVIK_KERNEL_ALGORITHMS_OPERATION_REGISTRY_H
#define TAVIK_KERNEL_ALGORITHMS_OPERATION_REGISTRY_H

#include <tavik/Platform.h>
#include <tavik/Value.h>

#include <optional>
#include <span>
#include <string_view>
#include <variant>

#include "kernel_algorithms/Comparison.h"

namespace tavik {

/// The operation "WORD:value:".
using Predicate = Dictionary (*)(const Value* attribute, const Value* value);
/// The operation "WORD:references:value:".
using ReferencePredicate = Dictionary (*)(const Value* attribute, const Dictionary* references, const Value* value);

/// A predicate, which has one of the two forms; a comparison has the first.
struct Operation {
  std::string_view word;  // as rule data spells it
  std::variant<const Comparison*, Predicate, ReferencePredicate> call;
  /// A rule with references but no "value" takes its first reference value as the expected value.
  bool referenceMayBeValue = false;
  /// A call that lacks one of these references is logged, with the references that it has.
  std::span<const std::string_view> loggedWithout = {};
};

/// The row of `word`, null when there is none. Allocates nothing.
const Operation* findOperation(std::string_view word) noexcept;

/// Calls the operation in its form with references when there are any (not null), else in the other; absent when it
/// does not have that form.
std::optional<Dictionary> call(const Operation& operation, const Platform& platform, const Value* attribute,
                               const Dictionary* references, const Value* value);

}  // namespace tavik

#endif
