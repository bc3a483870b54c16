// Rules made ready, and kept.

#include <tavik/PreparedRules.h>
#include <tavik/ZRTTavikKernel.h>

#include <cstdint>

#include "kernel/PreparedDocuments.h"
#include "kernel_algorithms/RuleResult.h"
#include "values/DictionaryKey.h"
#include "values/MaybeAbsent.h"
#include "values/ValueAccess.h"

namespace tavik {

namespace {

using detail::ValueAccess;

Dictionary failure(std::string_view rule, std::string_view actual, std::string_view expected) {
  Dictionary record = ruleResult(false, actual, expected);
  record.setFirst("rule", rule);
  return record;
}

}  // namespace

PreparedRule RuleMaker::make(const EntryList::Entry& local) {
  const Value* definition = ValueAccess::find(library_, detail::Sought(*local.name), local.hash, guess_);
  if (definition != nullptr) guess_ = ValueAccess::positionOf(library_, *definition) + 1;
  return {local, dictionaryOf(definition), device_, forMany_};
}

DeviceRulesCache::~DeviceRulesCache() {
  for (Bucket& bucket : buckets_) {
    for (const Kept* kept = bucket.load(std::memory_order_relaxed); kept != nullptr;) {
      const std::unique_ptr<const Kept> last(kept);
      kept = last->next;
    }
  }
}

DeviceRulesCache::Bucket& DeviceRulesCache::bucketOf(const Selection& selection) const noexcept {
  constexpr std::uint64_t kOdd = 0x9E3779B97F4A7C15;
  const auto partNumber = reinterpret_cast<std::uintptr_t>(selection.partNumber);
  const auto region = reinterpret_cast<std::uintptr_t>(selection.region);
  const std::uint64_t hash = (partNumber * kOdd ^ region) * kOdd;
  return buckets_[hash >> 58];
}

const DeviceRules* DeviceRulesCache::find(const Selection& selection) const noexcept {
  const Kept* kept = bucketOf(selection).load(std::memory_order_acquire);
  while (kept != nullptr && kept->selection != selection) kept = kept->next;
  return kept == nullptr ? nullptr : kept->rules.get();
}

const DeviceRules& DeviceRulesCache::keep(const Selection& selection, std::unique_ptr<const DeviceRules>& rules) {
  const DeviceRules& used = *rules;
  auto kept = std::make_unique<Kept>(Kept{selection, nullptr, nullptr});
  const std::size_t count = used.count();
  if (ruleCount_.fetch_add(count, std::memory_order_relaxed) + count > kMostRules) {
    ruleCount_.fetch_sub(count, std::memory_order_relaxed);
    return used;
  }
  kept->rules = std::move(rules);
  Bucket& bucket = bucketOf(selection);
  kept->next = bucket.load(std::memory_order_relaxed);
  while (!bucket.compare_exchange_weak(kept->next, kept.get(), std::memory_order_release, std::memory_order_relaxed)) {
  }
  static_cast<void>(kept.release());
  return used;
}

PreparedDocuments::PreparedDocuments(const PredicateKernel& kernel, const Dictionary& library, const Dictionary* rules,
                                     bool forMany)
    : kernel_(kernel), library_(library), forMany_(forMany), refusal_(validate(rules)) {}

// Sets the local rules, or returns the record that says why there are none.
std::optional<Dictionary> PreparedDocuments::validate(const Dictionary* rules) {
  if (rules == nullptr) return failure("valid local rules", "null local rules", "non-null local rules");
  std::optional<std::string> invalid;
  const auto validated =
      kernel_.platform().validatedPropertyListFromSignedDictionary(*rules, ZRTTavikKernel::kPublicKeyPath, invalid);
  if (invalid) return failure("Valid Product Rules", *invalid, "valid rule lists");
  const Dictionary* content = validated ? validated->ifDictionary() : nullptr;
  if (content == nullptr || content->empty()) {
    return failure("valid local rules", "emtpy local rules", "non-empty local rules");
  }
  localRules_ = *content;
  return std::nullopt;
}

const DeviceRules& PreparedDocuments::rulesFor(const Dictionary& attributes,
                                               std::unique_ptr<const DeviceRules>& unkept) const {
  std::optional<AssemblyFailure> refusal;
  const auto selection = select(localRules_, attributes.find("ModelNumber"), attributes.find("RegionInfo"), refusal);
  if (!selection) {
    unkept = std::make_unique<const DeviceRules>(LocalEntries(*std::move(refusal)));
    return *unkept;
  }
  if (const DeviceRules* kept = cache_.find(*selection)) return *kept;
  auto rules = std::make_unique<DeviceRules>(LocalEntries(localRules_, *selection));
  if (forMany_) prepareAll(*rules, attributes);
  unkept = std::move(rules);
  return forMany_ ? cache_.keep(*selection, unkept) : *unkept;
}

void PreparedDocuments::prepareAll(DeviceRules& rules, const Dictionary& device) const {
  if (rules.local.failed()) return;
  RuleMaker maker(library_, device, /*forMany=*/true);
  rules.prepared.reserve(rules.count());
  for (const EntryList::Entry& entry : rules.local.entries()) rules.prepared.push_back(maker.make(entry));
}

PreparedRules::PreparedRules(std::unique_ptr<const PreparedDocuments> documents) : documents_(std::move(documents)) {}

PreparedRules::~PreparedRules() = default;

std::unique_ptr<const PreparedRules> ZRTTavikKernel::prepare(const Dictionary* rules) const {
  return std::unique_ptr<const PreparedRules>(
      new PreparedRules(std::make_unique<const PreparedDocuments>(*this, rules_, rules, /*forMany=*/true)));
}

}  // namespace tavik
