/// @file
/// The implementation of prepared rules.
#ifndef TAVIK_KERNEL_PREPARED_DOCUMENTS_H
#define TAVIK_KERNEL_PREPARED_DOCUMENTS_H

#include <memory>
#include <optional>
#include <utility>

#include "kernel/CheckRun.h"
#include "kernel/DeviceRulesCache.h"
#include "kernel/RuleDocuments.h"
#include "kernel/SharedByThreads.h"

namespace tavik {

/// A rule library and local rules, with the rules of each kind of device checked so far.
class PreparedDocuments {
 public:
  explicit PreparedDocuments(RuleDocuments documents)
      : documents_(std::move(documents)), provenance_(documents_.provenance()) {}

  [[nodiscard]] const RuleDocuments& documents() const noexcept { return documents_; }
  [[nodiscard]] const std::shared_ptr<const Provenance>& provenance() const noexcept { return provenance_.get(); }
  /// Checks one device; returns what `PreparedRules::check` returns.
  std::optional<Array> check(const CheckCall& call, CheckProgress& progress) const;
  /// The same with an outcome. expanded: as in `CheckCall`.
  CheckOutcome run(const Dictionary& device, Dictionary& expanded, const Dictionary* sources, Dictionary station) const;

 private:
  [[nodiscard]] std::shared_ptr<const DeviceRules> rulesFor(const Dictionary& device, const Dictionary* sources) const;
  [[nodiscard]] std::shared_ptr<const DeviceRules> make(LocalEntries local, const Dictionary& device,
                                                        const Dictionary* sources) const;

  RuleDocuments documents_;
  SharedByThreads<Provenance> provenance_;
  mutable DeviceRulesCache cache_;
};

}  // namespace tavik

#endif
