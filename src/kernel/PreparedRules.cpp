// The public interface of prepared rules.

#include <tavik/PreparedRules.h>
#include <tavik/ZRTTavikKernel.h>

#include "kernel/PreparedDocuments.h"

namespace tavik {

PreparedRules::PreparedRules(std::unique_ptr<const PreparedDocuments> documents) : documents_(std::move(documents)) {}

PreparedRules::~PreparedRules() = default;

std::optional<Array> PreparedRules::check(const Dictionary& deviceAttributes,
                                          const Dictionary* sourcesForReferenceValues, Dictionary* attributesForSfc,
                                          std::optional<Error>& error) const {
  Dictionary expanded;
  CheckProgress progress;
  return documents_->check({deviceAttributes, expanded, sourcesForReferenceValues, attributesForSfc, error}, progress);
}

CheckOutcome PreparedRules::run(const Dictionary& deviceAttributes, const Dictionary* sourcesForReferenceValues,
                                Dictionary station) const {
  Dictionary expanded;
  return documents_->run(deviceAttributes, expanded, sourcesForReferenceValues, std::move(station));
}

const Reason* PreparedRules::rejection() const noexcept {
  const auto& rejection = documents_->documents().rejection;
  return rejection ? &rejection->reason : nullptr;
}

const Dictionary& PreparedRules::localRules() const noexcept { return documents_->documents().localRules; }

std::shared_ptr<const Provenance> PreparedRules::provenance() const noexcept { return documents_->provenance(); }

std::unique_ptr<const PreparedRules> ZRTTavikKernel::prepare(const Dictionary* rules) const {
  return std::unique_ptr<const PreparedRules>(
      new PreparedRules(std::make_unique<const PreparedDocuments>(RuleDocuments(*this, rules_, provenance_, rules))));
}

}  // namespace tavik
