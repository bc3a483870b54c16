// The rules of each kind of device, made when the first such device is checked.

#include "kernel/PreparedDocuments.h"

#include <algorithm>

#include "kernel/RuleMaker.h"

namespace tavik {

std::optional<Array> PreparedDocuments::check(const CheckCall& call, CheckProgress& progress) const {
  if (documents_.rejection) return rejected(documents_, progress);
  CheckRun run(documents_, call, progress);
  const auto rules = rulesFor(call);
  return run.over(rules->local, [&](const auto& evaluate) { return std::ranges::all_of(rules->prepared, evaluate); });
}

CheckOutcome PreparedDocuments::run(Dictionary& device, const Dictionary* sources, Dictionary station) const {
  return outcomeOf(provenance(), device, sources, std::move(station),
                   [&](const CheckCall& call, CheckProgress& progress) { return check(call, progress); });
}

std::shared_ptr<const DeviceRules> PreparedDocuments::rulesFor(const CheckCall& call) const {
  std::optional<AssemblyFailure> failure;
  const auto selection =
      select(documents_.localRules, find(&call.device, "ModelNumber"), find(&call.device, "RegionInfo"), failure);
  if (!selection) return std::make_shared<const DeviceRules>(DeviceRules{LocalEntries(*std::move(failure)), {}});
  return cache_.get(*selection, [&] { return make(*selection, call); });
}

std::shared_ptr<const DeviceRules> PreparedDocuments::make(const Selection& selection, const CheckCall& call) const {
  auto rules = std::make_shared<DeviceRules>(DeviceRules{LocalEntries(documents_.localRules, selection), {}});
  if (rules->local.failed()) return rules;
  RuleMaker maker(documents_.library);
  rules->prepared.reserve(rules->local.entries().size());
  for (const auto& entry : rules->local.entries()) {
    rules->prepared.push_back(maker.make(entry));
    rules->prepared.back().prepareForDevicesLike(call.device, call.sources);
  }
  return rules;
}

}  // namespace tavik
