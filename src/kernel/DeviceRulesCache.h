/// @file
/// The rules of the kinds of devices that prepared rules have checked.
#ifndef TAVIK_KERNEL_DEVICE_RULES_CACHE_H
#define TAVIK_KERNEL_DEVICE_RULES_CACHE_H

#include <array>
#include <atomic>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "kernel/PreparedRule.h"
#include "kernel/Records.h"
#include "kernel_private/LocalEntries.h"

namespace tavik {

/// The rules of one kind of device.
struct DeviceRules {
  LocalEntries local;
  std::vector<PreparedRule> prepared = {};    ///< one per entry; none if assembly failed
  std::vector<Value> values = {};             ///< that the prepared rules read for every device
  std::vector<Records::Place> versions = {};  ///< of the records before those of rules
  detail::DictionarySheet records = {};       ///< of the versions and of the prepared rules
};

/// Device rules by the selection from the local rules. Never shrinks, so that readers need neither a lock nor a
/// reference count, which threads would contend for. Thread-safe.
class DeviceRulesCache {
 public:
  /// The rules for a selection; calls `make` if they are not cached. Keeps them if the cache is not full. The
  /// result is valid as long as the cache.
  template <class Make>
  std::shared_ptr<const DeviceRules> get(const Selection& selection, Make make) {
    List& list = listFor(selection);
    if (const DeviceRules* kept = find(list, selection)) return unowned(kept);
    return keep(list, selection, make());
  }

 private:
  static constexpr std::size_t kMostRules = 262'144;
  static constexpr std::size_t kLists = 1024;

  struct Kept {
    Selection selection;
    std::shared_ptr<const DeviceRules> rules;
    const Kept* next;  // in its list
  };
  using List = std::atomic<const Kept*>;

  static std::shared_ptr<const DeviceRules> unowned(const DeviceRules* rules) noexcept {
    return {std::shared_ptr<void>(), rules};
  }
  [[nodiscard]] List& listFor(const Selection& selection) noexcept {
    const std::hash<const void*> hash;
    return lists_[(hash(selection.partNumber) * 31 + hash(selection.region)) / alignof(Dictionary) % kLists];
  }
  static const DeviceRules* find(const List& list, const Selection& selection) noexcept {
    const Kept* kept = list.load(std::memory_order_acquire);
    while (kept != nullptr && kept->selection != selection) kept = kept->next;
    return kept == nullptr ? nullptr : kept->rules.get();
  }
  std::shared_ptr<const DeviceRules> keep(List& list, const Selection& selection,
                                          std::shared_ptr<const DeviceRules> made) {
    const std::lock_guard lock(mutex_);
    if (const DeviceRules* kept = find(list, selection)) return unowned(kept);  // made by another thread meanwhile
    if (ruleCount_ + made->prepared.size() > kMostRules) return made;
    kept_.push_back({selection, made, list.load(std::memory_order_relaxed)});
    list.store(&kept_.back(), std::memory_order_release);
    ruleCount_ += made->prepared.size();
    return made;
  }

  std::array<List, kLists> lists_ = {};  // by hash; read without the lock
  std::mutex mutex_;
  std::deque<Kept> kept_;
  std::size_t ruleCount_ = 0;
};

}  // namespace tavik

#endif
