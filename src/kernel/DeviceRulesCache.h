/// @file
/// The rules of the kinds of devices that prepared rules have checked.
#ifndef TAVIK_KERNEL_DEVICE_RULES_CACHE_H
#define TAVIK_KERNEL_DEVICE_RULES_CACHE_H

#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "kernel/PreparedRule.h"
#include "kernel_private/LocalEntries.h"

namespace tavik {

/// The rules of one kind of device.
struct DeviceRules {
  LocalEntries local;
  std::vector<PreparedRule> prepared;  ///< one per entry; none if assembly failed
};

/// Device rules by the selection from the local rules. Never shrinks, so that lookups need no locks and no reference
/// counts, which threads would contend for. Thread-safe.
class DeviceRulesCache {
 public:
  /// The rules for a selection; calls `make` if they are not cached. Keeps them if the cache is not full. The result is
  /// valid as long as the cache.
  template <class Make>
  std::shared_ptr<const DeviceRules> get(const Selection& selection, Make make) {
    const Table* table = table_.load(std::memory_order_acquire);
    if (const Kept* kept = table == nullptr ? nullptr : table->find(selection)) return rulesOf(*kept);
    return keep(selection, make());
  }

 private:
  static constexpr std::size_t kMostRules = 262'144;

  struct Kept {
    Selection selection;
    std::shared_ptr<const DeviceRules> rules;
  };

  /// Open addressing with linear probing; at most half of the slots are used. Entries are added by one thread at a
  /// time, while others search.
  class Table {
   public:
    explicit Table(int bits) : shift_(64 - bits), slots_(std::size_t{1} << bits) {}

    [[nodiscard]] std::size_t size() const noexcept { return slots_.size(); }
    [[nodiscard]] const Kept* find(const Selection& selection) const noexcept {
      for (std::size_t slot = first(selection);; slot = next(slot)) {
        const Kept* kept = slots_[slot].load(std::memory_order_acquire);
        if (kept == nullptr || kept->selection == selection) return kept;
      }
    }
    void add(const Kept& kept) noexcept {
      std::size_t slot = first(kept.selection);
      while (slots_[slot].load(std::memory_order_relaxed) != nullptr) slot = next(slot);
      slots_[slot].store(&kept, std::memory_order_release);
    }

   private:
    [[nodiscard]] std::size_t first(const Selection& selection) const noexcept {
      constexpr std::uint64_t kOdd = 0x9E3779B97F4A7C15;
      const auto bits = [](const Dictionary* part) {
        return static_cast<std::uint64_t>(std::bit_cast<std::uintptr_t>(part));
      };
      return ((bits(selection.partNumber) * kOdd ^ bits(selection.region)) * kOdd) >> shift_;
    }
    [[nodiscard]] std::size_t next(std::size_t slot) const noexcept { return (slot + 1) & (slots_.size() - 1); }

    int shift_;
    std::vector<std::atomic<const Kept*>> slots_;
  };

  static std::shared_ptr<const DeviceRules> rulesOf(const Kept& kept) noexcept {
    return {std::shared_ptr<void>(), kept.rules.get()};
  }

  std::shared_ptr<const DeviceRules> keep(const Selection& selection, std::shared_ptr<const DeviceRules> made) {
    const std::lock_guard lock(mutex_);
    const Kept* other = tables_.empty() ? nullptr : tables_.back()->find(selection);
    if (other != nullptr) return rulesOf(*other);
    if (ruleCount_ + made->prepared.size() > kMostRules) return made;
    if (tables_.empty() || 2 * (kept_.size() + 1) > tables_.back()->size()) grow();
    kept_.push_back({selection, std::move(made)});
    const Kept& kept = kept_.back();
    tables_.back()->add(kept);
    ruleCount_ += kept.rules->prepared.size();
    return rulesOf(kept);
  }

  void grow() {
    constexpr int kFirstBits = 6;
    auto larger = std::make_unique<Table>(kFirstBits + static_cast<int>(tables_.size()));
    for (const Kept& kept : kept_) larger->add(kept);
    tables_.push_back(std::move(larger));
    table_.store(tables_.back().get(), std::memory_order_release);
  }

  std::atomic<const Table*> table_ = nullptr;  // the last one
  std::mutex mutex_;                           // for what follows
  std::deque<Kept> kept_;
  std::vector<std::unique_ptr<Table>>
      tables_;  // each twice as large as the one before; threads may search earlier ones
  std::size_t ruleCount_ = 0;
};

}  // namespace tavik

#endif
