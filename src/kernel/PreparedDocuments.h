/// @file
/// A rule library and validated local rules, with the rules of every kind of device that has come by made ready. What a
/// check and prepared rules have in common: a check makes one for itself.
#ifndef TAVIK_KERNEL_PREPARED_DOCUMENTS_H
#define TAVIK_KERNEL_PREPARED_DOCUMENTS_H

#include <tavik/PredicateKernel.h>
#include <tavik/Value.h>

#include <array>
#include <atomic>
#include <memory>
#include <optional>
#include <vector>

#include "kernel/PreparedRule.h"
#include "kernel_private/DeviceRules.h"

namespace tavik {

/// Makes the rules of one device ready, one after the other.
class RuleMaker {
 public:
  /// `device`, `forMany`: as for `PreparedRule`.
  RuleMaker(const Dictionary& library, const Dictionary& device, bool forMany) noexcept
      : library_(library), device_(device), forMany_(forMany) {}

  PreparedRule make(const EntryList::Entry& local);

 private:
  const Dictionary& library_;
  const Dictionary& device_;
  bool forMany_;
  std::uint32_t guess_ = 0;  // where the next definition may be: documents often list their rules in the same order
};

/// The rules of one kind of device.
struct DeviceRules {
  explicit DeviceRules(LocalEntries entries) : local(std::move(entries)) {}

  [[nodiscard]] std::size_t count() const noexcept { return local.failed() ? 0 : local.entries().size(); }

  LocalEntries local;
  std::vector<PreparedRule> prepared;  ///< one for each entry, where they are for more than one device
};

/// The rules that were made ready, by what a device selects of the local rules. Grows only, and whoever looks something
/// up waits for nobody.
class DeviceRulesCache {
 public:
  DeviceRulesCache() = default;
  DeviceRulesCache(const DeviceRulesCache&) = delete;
  DeviceRulesCache& operator=(const DeviceRulesCache&) = delete;
  ~DeviceRulesCache();

  /// Null when they are not there.
  [[nodiscard]] const DeviceRules* find(const Selection& selection) const noexcept;
  /// Keeps `rules`, beside the same ones where two threads made them at once, and returns them. When there is no more
  /// room they stay with the caller.
  const DeviceRules& keep(const Selection& selection, std::unique_ptr<const DeviceRules>& rules);

 private:
  static constexpr std::size_t kMostRules = 262'144;

  struct Kept {
    Selection selection;
    std::unique_ptr<const DeviceRules> rules;
    const Kept* next;
  };
  using Bucket = std::atomic<const Kept*>;

  [[nodiscard]] Bucket& bucketOf(const Selection& selection) const noexcept;

  mutable std::array<Bucket, 64> buckets_ = {};
  std::atomic<std::size_t> ruleCount_ = 0;
};

class PreparedDocuments {
 public:
  /// Has `rules`, which may be null, validated by the kernel's platform.
  /// `forMany`: they are for the check of more than one device.
  PreparedDocuments(const PredicateKernel& kernel, const Dictionary& library, const Dictionary* rules, bool forMany);

  [[nodiscard]] std::optional<Array> check(const Dictionary& deviceAttributes, const Dictionary* sources,
                                           Dictionary* station, std::optional<Error>& error) const;

 private:
  [[nodiscard]] std::optional<Dictionary> validate(const Dictionary* rules);
  /// The rules for a device; `unkept` owns them where they are for this device alone.
  [[nodiscard]] const DeviceRules& rulesFor(const Dictionary& attributes,
                                            std::unique_ptr<const DeviceRules>& unkept) const;
  void prepareAll(DeviceRules& rules, const Dictionary& device) const;

  PredicateKernel kernel_;
  Dictionary library_;
  Dictionary localRules_;
  bool forMany_;
  std::optional<Dictionary> refusal_;  // the record instead of any others
  mutable DeviceRulesCache cache_;
};

}  // namespace tavik

#endif
