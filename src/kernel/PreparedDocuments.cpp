// The rules of each kind of device, made when the first such device is checked.

#include "kernel/PreparedDocuments.h"

#include <algorithm>

#include "kernel/RuleMaker.h"

namespace tavik {

namespace {

// Copies values so that they are close together in memory, in the order in which a check reads them. In the documents,
// each of them shares a cache line with data that a check does not read, and the lines of thousands of rules do not fit
// into the processor's cache.
class Copies {
 public:
  Copies(std::vector<Value>& to, std::size_t most) : to_(to) { to_.reserve(most); }

  const Value* operator()(const Value* value) {
    return value == nullptr ? nullptr : &to_.emplace_back(detail::ValueAccess::copied(*value, &slabs_));
  }

 private:
  std::vector<Value>& to_;  // does not grow, because rules point to its elements
  detail::SlabCutter slabs_{detail::Slab::kMost};
};

}  // namespace

std::optional<Array> PreparedDocuments::check(const CheckCall& call, CheckProgress& progress) const {
  if (documents_.rejection) return rejected(documents_, progress);
  CheckRun run(documents_, call, progress);
  const auto rules = rulesFor(run.attributes(), call.sources);
  Records records(CheckRun::mostRecords(rules->local), &rules->records);
  for (const Records::Place& version : rules->versions) records.add(version);
  return run.over(rules->local, std::move(records),
                  [&](const auto& evaluate) { return std::ranges::all_of(rules->prepared, evaluate); });
}

CheckOutcome PreparedDocuments::run(const Dictionary& device, Dictionary& expanded, const Dictionary* sources,
                                    Dictionary station) const {
  return outcomeOf(provenance(), device, expanded, sources, std::move(station),
                   [&](const CheckCall& call, CheckProgress& progress) { return check(call, progress); });
}

std::shared_ptr<const DeviceRules> PreparedDocuments::rulesFor(const Dictionary& device,
                                                               const Dictionary* sources) const {
  std::optional<AssemblyFailure> failure;
  const auto selection = select(documents_.localRules, device, failure);
  if (!selection) return make(LocalEntries(*std::move(failure)), device, sources);
  return cache_.get(*selection, [&] { return make(LocalEntries(documents_.localRules, *selection), device, sources); });
}

std::shared_ptr<const DeviceRules> PreparedDocuments::make(LocalEntries local, const Dictionary& device,
                                                           const Dictionary* sources) const {
  auto rules = std::make_shared<DeviceRules>(DeviceRules{std::move(local)});
  for (const auto& [rule, version, expected] : versionRecords(documents_)) {
    rules->versions.push_back(Records::addTo(rules->records, rule, true, version, expected));
  }
  if (rules->local.failed()) return rules;
  RuleMaker maker(documents_.library);
  const std::size_t count = rules->local.entries().size();
  rules->prepared.reserve(count);
  Copies copies(rules->values, 2 * count);
  for (const auto& entry : rules->local.entries()) {
    PreparedRule& rule = rules->prepared.emplace_back(maker.make(entry));
    rule.readCopies(copies);
    rule.prepareForDevicesLike(device, sources, rules->records);
  }
  return rules;
}

}  // namespace tavik
