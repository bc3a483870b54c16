/// @file
/// What values share: blocks of memory with a count of their owners, each one allocation.
#ifndef TAVIK_VALUES_SHARED_CONTENTS_H
#define TAVIK_VALUES_SHARED_CONTENTS_H

#include <tavik/Value.h>

#include <algorithm>
#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <utility>

#include "values/ValueAccess.h"

namespace tavik::detail {

/// The head of every shared block.
struct Shared {
  std::atomic<std::size_t> owners{1};

  void addOwner() noexcept { owners.fetch_add(1, std::memory_order_relaxed); }
  /// Whether that was the last owner.
  bool dropOwner() noexcept { return owners.fetch_sub(1, std::memory_order_acq_rel) == 1; }
  /// Acquire: what other owners read before they let go happened before what the caller writes now.
  [[nodiscard]] bool hasOneOwner() const noexcept { return owners.load(std::memory_order_acquire) == 1; }
};

/// Text or data that never changes; the bytes follow.
struct Bytes : Shared {
  std::size_t size;

  static Bytes* make(const void* bytes, std::size_t size);
  [[nodiscard]] const unsigned char* begin() const noexcept { return reinterpret_cast<const unsigned char*>(this + 1); }
  [[nodiscard]] std::string_view text() const noexcept { return {reinterpret_cast<const char*>(this + 1), size}; }
};

/// The head of the blocks that hold values.
struct Container : Shared {
  explicit Container(bool dictionary, std::size_t room) noexcept : capacity(room), isDictionary(dictionary) {}

  std::size_t size = 0;
  std::size_t capacity;
  Container* nextDead = nullptr;  // links the containers that are being destroyed
  bool isDictionary;
};

/// The elements of an array; they follow.
struct Elements : Container {
  explicit Elements(std::size_t room) noexcept : Container(false, room) {}

  static Elements* make(std::size_t capacity);
  [[nodiscard]] Value* begin() noexcept { return reinterpret_cast<Value*>(this + 1); }
  [[nodiscard]] Value* end() noexcept { return begin() + size; }
};

struct Entry {
  Value key;
  Value value;
};

/// The entries of a dictionary; they follow, and behind them, from a certain size on, an index from hash to position.
/// An erased entry stays until the next compaction, with a mark for a key and an empty value.
struct Entries : Container {
  explicit Entries(std::size_t room) noexcept : Container(true, room) {}

  /// Up to this many entries a scan is quicker than an index.
  static constexpr std::size_t kScanned = 16;

  static Entries* make(std::size_t capacity);
  [[nodiscard]] Entry* begin() noexcept { return reinterpret_cast<Entry*>(this + 1); }
  [[nodiscard]] Entry* end() noexcept { return begin() + size; }
  /// Positions plus one, 0 where free, probed linearly. At least twice as many as entries.
  [[nodiscard]] std::span<std::uint32_t> slots() noexcept {
    return {reinterpret_cast<std::uint32_t*>(begin() + capacity), slotCount(capacity)};
  }
  static std::size_t slotCount(std::size_t capacity) noexcept {
    return capacity <= kScanned ? 0 : std::bit_ceil(2 * capacity);
  }

  std::size_t erased = 0;
};

/// Destroys a container that has lost its last owner, and whatever it alone owned, at any depth: dead containers wait
/// in a list of their own links, so neither stack nor memory is needed.
void destroy(Container* last) noexcept;

/// Copy on write: makes `block` writable by its one owner, with room for `needed` elements in all. Erased entries stay
/// behind when the block becomes another one; returns whether it did. Leaves everything as it was when memory runs out.
template <class Block>
bool makeWritable(Block*& block, std::size_t needed);

inline void dropOwner(Bytes* bytes) noexcept {
  if (bytes != nullptr && bytes->dropOwner()) ::operator delete(bytes);
}
inline void dropOwner(Container* container) noexcept {
  if (container != nullptr && container->dropOwner()) destroy(container);
}

template <class Block>
bool makeWritable(Block*& block, std::size_t needed) {
  if (block == nullptr) {
    block = Block::make(needed);
    return true;
  }
  const bool only = block->hasOneOwner();
  if (only && needed <= block->capacity) return false;
  Block* writable = Block::make(needed <= block->capacity ? block->capacity : std::max(needed, 2 * block->capacity));
  auto* end = writable->begin();
  for (auto& element : *block) {
    if constexpr (std::is_same_v<Block, Entries>) {
      if (ValueAccess::isErased(element.key)) continue;
    }
    only ? std::construct_at(end++, std::move(element)) : std::construct_at(end++, element);
  }
  writable->size = static_cast<std::size_t>(end - writable->begin());
  dropOwner(static_cast<Container*>(std::exchange(block, writable)));
  return true;
}

}  // namespace tavik::detail

#endif
