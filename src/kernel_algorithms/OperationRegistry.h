/// @file
/// Finds and calls operations.
#ifndef TAVIK_KERNEL_ALGORITHMS_OPERATION_REGISTRY_H
#define TAVIK_KERNEL_ALGORITHMS_OPERATION_REGISTRY_H

#include <tavik/Platform.h>

#include <string_view>

#include "kernel_algorithms/OperationTable.h"

namespace tavik {

/// The row of `word`; null if there is none. Does not allocate.
const Operation* findOperation(std::string_view word) noexcept;

/// The row of `word` if it has the form with references, or without; null otherwise.
inline const Operation* findOperation(std::string_view word, bool withReferences) noexcept {
  const Operation* operation = findOperation(word);
  return operation != nullptr && operation->takesReferences == withReferences ? operation : nullptr;
}

/// Logs the references of a call if one of the operation's `loggedWithout` is missing.
void logIncompleteReferences(const Operation& operation, const Dictionary& references, const Platform& platform);

/// Calls an operation.
inline Judgement call(const Operation& operation, const Operands& operands, const Platform& platform) {
  if (!operation.loggedWithout.empty() && operands.references != nullptr) {
    logIncompleteReferences(operation, *operands.references, platform);
  }
  return operation.judge(operands);
}

}  // namespace tavik

#endif
