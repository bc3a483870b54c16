/// @file
/// The rules of the kinds of devices that prepared rules have checked.
#ifndef TAVIK_KERNEL_DEVICE_RULES_CACHE_H
#define TAVIK_KERNEL_DEVICE_RULES_CACHE_H

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <unordered_map>
#include <vector>

#include "kernel/PreparedRule.h"
#include "kernel_private/LocalEntries.h"

namespace tavik {

/// The rules of one kind of device.
struct DeviceRules {
  LocalEntries local;
  std::vector<PreparedRule> prepared;  ///< one per entry; none if assembly failed
};

/// Device rules by the selection from the local rules. Never shrinks, so that cached rules need no reference count,
/// which threads would contend for. Thread-safe.
class DeviceRulesCache {
 public:
  /// The rules for a selection; calls `make` if they are not cached. Keeps them if the cache is not full. The
  /// result is valid as long as the cache.
  template <class Make>
  std::shared_ptr<const DeviceRules> get(const Selection& selection, Make make) {
    if (const DeviceRules* kept = find(selection)) return unowned(kept);
    return keep(selection, make());
  }

 private:
  static constexpr std::size_t kMostRules = 262'144;

  struct Hash {
    std::size_t operator()(const Selection& selection) const noexcept {
      return std::hash<const void*>()(selection.partNumber) * 31 + std::hash<const void*>()(selection.region);
    }
  };

  static std::shared_ptr<const DeviceRules> unowned(const DeviceRules* rules) noexcept {
    return {std::shared_ptr<void>(), rules};
  }
  [[nodiscard]] const DeviceRules* find(const Selection& selection) const {
    const std::shared_lock lock(mutex_);
    const auto kept = rules_.find(selection);
    return kept == rules_.end() ? nullptr : kept->second.get();
  }
  std::shared_ptr<const DeviceRules> keep(const Selection& selection, std::shared_ptr<const DeviceRules> made) {
    const std::unique_lock lock(mutex_);
    if (ruleCount_ + made->prepared.size() > kMostRules) return made;
    const auto [kept, isNew] = rules_.try_emplace(selection, std::move(made));
    if (isNew) ruleCount_ += kept->second->prepared.size();
    return kept->second;
  }

  mutable std::shared_mutex mutex_;
  std::unordered_map<Selection, std::shared_ptr<const DeviceRules>, Hash> rules_;
  std::size_t ruleCount_ = 0;
};

}  // namespace tavik

#endif
