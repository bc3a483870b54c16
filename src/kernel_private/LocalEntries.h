/// @file
/// The local entries for one kind of device.
#ifndef TAVIK_KERNEL_PRIVATE_LOCAL_ENTRIES_H
#define TAVIK_KERNEL_PRIVATE_LOCAL_ENTRIES_H

#include <tavik/Error.h>
#include <tavik/PredicateKernel.h>
#include <tavik/Value.h>

#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "kernel_private/EntryList.h"
#include "kernel_private/Selection.h"

namespace tavik {

class LocalEntries {
 public:
  LocalEntries(const Dictionary& rules, const Selection& selection);
  /// For a selection that failed.
  explicit LocalEntries(AssemblyFailure failure) : failure_(std::move(failure)) {}
  LocalEntries(const Dictionary& rules, const Dictionary& device);

  /// Logs the entries, from which rules are made. If they could not be assembled, also logs and returns the error.
  std::optional<Error> report(const PredicateKernel& kernel) const;

  [[nodiscard]] bool failed() const noexcept { return failure_.has_value(); }
  [[nodiscard]] std::span<const EntryList::Entry> entries() const noexcept { return entries_; }

 private:
  void assemble(const Dictionary& rules, const Selection& selection);

  std::vector<EntryList::Entry> entries_;  // up to the first one that is not a dictionary
  std::optional<AssemblyFailure> failure_;
};

/// The library's definition, with the "value" of the local entry if it has one.
Dictionary completedRule(const Dictionary* definition, const Dictionary& localEntry);

}  // namespace tavik

#endif
