// Rules made ready for many devices, and kept.

#include <tavik/PreparedRules.h>
#include <tavik/ZRTTavikKernel.h>

#include <algorithm>

#include "kernel/CheckRun.h"
#include "kernel/DeviceRulesCache.h"
#include "kernel/RuleMaker.h"

namespace tavik {

class PreparedDocuments {
 public:
  explicit PreparedDocuments(RuleDocuments documents) : documents_(std::move(documents)) {}

  [[nodiscard]] const RuleDocuments& documents() const noexcept { return documents_; }
  std::optional<Array> check(const CheckCall& call, CheckProgress& progress) const;

 private:
  [[nodiscard]] std::shared_ptr<const DeviceRules> rulesFor(const Dictionary& attributes) const;
  [[nodiscard]] std::shared_ptr<const DeviceRules> make(const Selection& selection, const Dictionary& device) const;

  RuleDocuments documents_;
  mutable DeviceRulesCache cache_;
};

std::optional<Array> PreparedDocuments::check(const CheckCall& call, CheckProgress& progress) const {
  if (documents_.rejection) return rejected(documents_, progress);
  CheckRun run(documents_, call, progress);
  const auto rules = rulesFor(run.attributes());
  return run.over(rules->local, [&](const auto& evaluate) { return std::ranges::all_of(rules->prepared, evaluate); });
}

std::shared_ptr<const DeviceRules> PreparedDocuments::rulesFor(const Dictionary& attributes) const {
  std::optional<AssemblyFailure> failure;
  const auto selection =
      select(documents_.localRules, attributes.find("ModelNumber"), attributes.find("RegionInfo"), failure);
  if (!selection) return std::make_shared<const DeviceRules>(DeviceRules{LocalEntries(*std::move(failure)), {}});
  return cache_.get(*selection, [&] { return make(*selection, attributes); });
}

std::shared_ptr<const DeviceRules> PreparedDocuments::make(const Selection& selection, const Dictionary& device) const {
  auto rules = std::make_shared<DeviceRules>(DeviceRules{LocalEntries(documents_.localRules, selection), {}});
  if (rules->local.failed()) return rules;
  RuleMaker maker(documents_.library);
  rules->prepared.reserve(rules->local.entries().size());
  for (const auto& entry : rules->local.entries()) {
    rules->prepared.push_back(maker.make(entry));
    rules->prepared.back().prepareForDevicesLike(device);
  }
  return rules;
}

PreparedRules::PreparedRules(std::unique_ptr<const PreparedDocuments> documents) : documents_(std::move(documents)) {}

PreparedRules::~PreparedRules() = default;

std::optional<Array> PreparedRules::check(const Dictionary& deviceAttributes,
                                          const Dictionary* sourcesForReferenceValues, Dictionary* attributesForSfc,
                                          std::optional<Error>& error) const {
  CheckProgress progress;
  return documents_->check({deviceAttributes, sourcesForReferenceValues, attributesForSfc, error}, progress);
}

CheckOutcome PreparedRules::run(const Dictionary& deviceAttributes, const Dictionary* sourcesForReferenceValues,
                                Dictionary station) const {
  return outcomeOf(deviceAttributes, sourcesForReferenceValues, std::move(station),
                   [&](const CheckCall& call, CheckProgress& progress) { return documents_->check(call, progress); });
}

const Reason* PreparedRules::rejection() const noexcept {
  const auto& rejection = documents_->documents().rejection;
  return rejection ? &rejection->reason : nullptr;
}

const Dictionary& PreparedRules::localRules() const noexcept { return documents_->documents().localRules; }

std::unique_ptr<const PreparedRules> ZRTTavikKernel::prepare(const Dictionary* rules) const {
  return std::unique_ptr<const PreparedRules>(
      new PreparedRules(std::make_unique<const PreparedDocuments>(RuleDocuments(*this, rules_, rules))));
}

}  // namespace tavik
