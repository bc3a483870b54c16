/// @file
/// The contents that values share: reference-counted blocks of memory.
#ifndef TAVIK_VALUES_SHARED_CONTENTS_H
#define TAVIK_VALUES_SHARED_CONTENTS_H

#include <tavik/Value.h>

#include <algorithm>
#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <span>
#include <string_view>
#include <utility>

#include "values/Slab.h"
#include "values/ValueAccess.h"

namespace tavik::detail {

/// The header of every shared block.
class Shared {
 public:
  Shared() noexcept = default;
  /// For a block cut from a slab.
  explicit Shared(std::size_t offset) noexcept : owners_(offset << kOwnerBits | 1) {}

  void addOwner() noexcept { owners_.fetch_add(1, std::memory_order_relaxed); }
  /// The same if no other thread can see the block.
  void addOwnerUnseen() noexcept {
    owners_.store(owners_.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
  }
  /// Removes one of several owners if no other thread can see the block.
  void dropOwnerUnseen() noexcept {
    owners_.store(owners_.load(std::memory_order_relaxed) - 1, std::memory_order_relaxed);
  }
  /// Removes an owner; returns whether it was the last one. A sole owner is detected without an atomic write.
  bool dropOwner() noexcept {
    return hasOneOwner() || (owners_.fetch_sub(1, std::memory_order_acq_rel) & kOwnerMask) == 1;
  }
  /// Acquire: reads by former owners must happen before the caller's writes.
  [[nodiscard]] bool hasOneOwner() const noexcept {
    return (owners_.load(std::memory_order_acquire) & kOwnerMask) == 1;
  }

  /// The slab that the block was cut from; for a separate allocation, the block's own address.
  [[nodiscard]] Slab* slab() noexcept {
    const std::uint64_t offset = owners_.load(std::memory_order_relaxed) >> kOwnerBits;
    return reinterpret_cast<Slab*>(reinterpret_cast<std::byte*>(this) - offset);
  }

  /// Releases the memory of a block without owners, whose contents are destroyed.
  void giveBack(SlabRelease& release) noexcept {
    if (owners_.load(std::memory_order_relaxed) >> kOwnerBits == 0) [[unlikely]]
      return ::operator delete(this);
    release.add(slab());
  }

 private:
  static constexpr int kOwnerBits = 40;
  static constexpr std::uint64_t kOwnerMask = (std::uint64_t{1} << kOwnerBits) - 1;

  // The number of owners; in the upper bits, the block's offset in its slab, or 0 for a separate allocation.
  std::atomic<std::uint64_t> owners_{1};
};

/// Immutable text or data; the bytes follow.
struct Bytes : Shared {
  using Shared::Shared;

  std::size_t size = 0;

  /// The caller must write the bytes.
  static Bytes* make(std::size_t size);
  static Bytes* make(std::size_t size, SlabCutter& slabs);
  /// Cut from `slabs` unless it is null or the block is large.
  static Bytes* make(std::size_t size, SlabCutter* slabs);
  [[nodiscard]] const unsigned char* begin() const noexcept { return reinterpret_cast<const unsigned char*>(this + 1); }
  [[nodiscard]] std::string_view text() const noexcept { return {reinterpret_cast<const char*>(this + 1), size}; }
};

/// The header of blocks that contain values.
struct Container : Shared {
  Container(bool dictionary, std::size_t room, std::size_t offset) noexcept
      : Shared(offset), capacity(static_cast<std::uint32_t>(room)), isDictionary(dictionary) {}

  /// The maximum number of elements or entries.
  static constexpr std::size_t kMost = std::numeric_limits<std::uint32_t>::max() / 4;

  Container* nextDead = nullptr;  // links containers being destroyed
  std::uint32_t size = 0;
  std::uint32_t capacity;
  bool isDictionary;
  bool keysAreShort = false;  // all keys of a dictionary are known to be short, and need not be destroyed
};

/// The elements of an array; they follow.
struct Elements : Container {
  explicit Elements(std::size_t room, std::size_t offset = 0) noexcept : Container(false, room, offset) {}

  static Elements* make(std::size_t capacity);
  /// Cut from `slabs` unless it is null or the block is large.
  static Elements* make(std::size_t capacity, SlabCutter* slabs);
  [[nodiscard]] Value* begin() noexcept { return reinterpret_cast<Value*>(this + 1); }
  [[nodiscard]] Value* end() noexcept { return begin() + size; }
};

/// The entries of a dictionary; they follow. In large dictionaries, an index from hash to position follows the entries.
/// An erased entry remains until the next compaction, with a special key and an empty value.
struct Entries : Container {
  explicit Entries(std::size_t room, std::size_t offset = 0) noexcept
      : Container(true, room, offset), slotMask(static_cast<std::uint32_t>(slotCount(room) - 1)) {}

  /// Up to this many entries, a scan is faster than an index.
  static constexpr std::size_t kScanned = 16;

  static Entries* make(std::size_t capacity);
  /// For at most kScanned entries.
  static Entries* make(std::size_t capacity, SlabCutter& slabs);
  /// Cut from `slabs` unless it is null or the block is large.
  static Entries* make(std::size_t capacity, SlabCutter* slabs);
  [[nodiscard]] Entry* begin() noexcept { return reinterpret_cast<Entry*>(this + 1); }
  [[nodiscard]] Entry* end() noexcept { return begin() + size; }
  struct Slot {
    std::uint32_t place = 0;  // the position plus one; 0 if free
    std::uint32_t hash = 0;   // the upper half of the key's hash, which distinguishes most keys
  };
  /// Open addressing with linear probing; at least twice as many slots as entries.
  [[nodiscard]] std::span<Slot> slots() noexcept {
    return {reinterpret_cast<Slot*>(begin() + capacity), isIndexed() ? slotMask + std::size_t{1} : 0};
  }
  [[nodiscard]] bool isIndexed() const noexcept { return capacity > kScanned; }
  static std::size_t slotCount(std::size_t capacity) noexcept {
    return capacity <= kScanned ? 0 : std::bit_ceil(2 * capacity);
  }

  std::uint32_t erased = 0;
  std::uint32_t slotMask;  // the number of slots, a power of two or none, minus one
};

/// An array under construction, with memory for all its elements.
class FixedArray {
 public:
  explicit FixedArray(std::size_t room, SlabCutter* slabs = nullptr)
      : array_(ValueAccess::array(Elements::make(room, slabs))) {}

  void add(Value&& value) noexcept {
    Elements* elements = ValueAccess::block(array_);
    new (elements->end()) Value(std::move(value));
    ++elements->size;
  }
  [[nodiscard]] Value& last() noexcept { return ValueAccess::block(array_)->end()[-1]; }
  Array take() && noexcept { return std::move(array_); }

 private:
  Array array_;
};

/// A dictionary under construction, with memory for all its entries. Keys are compared only after all are added.
class FixedDictionary {
 public:
  explicit FixedDictionary(std::size_t room, SlabCutter* slabs = nullptr)
      : dictionary_(ValueAccess::dictionary(Entries::make(room, slabs))) {}

  /// key: any string.
  void add(Value&& key, Value&& value) noexcept {
    Entries* entries = ValueAccess::block(dictionary_);
    Entry* end = entries->end();
    new (&end->key) Value(std::move(key));
    new (&end->value) Value(std::move(value));
    ++entries->size;
  }

  /// A duplicate key and the positions of its entries.
  struct Repetition {
    std::string_view key;
    std::uint32_t first;
    std::uint32_t second;
  };
  /// Makes the index. Call once, after the last entry. Call `take` only if no key is repeated.
  [[nodiscard]] std::optional<Repetition> makeIndex() noexcept;
  Dictionary take() && noexcept { return std::move(dictionary_); }

 private:
  Dictionary dictionary_;
};

/// A dictionary under construction, with distinct keys and few enough entries to be scanned. Nothing between its
/// construction and `take` may throw.
class SmallDictionary {
 public:
  /// block: empty.
  explicit SmallDictionary(Entries* block) noexcept : entries_(block), end_(block->begin()) {}

  void add(ValueAccess::Literal key, Value&& value) noexcept {
    new (&end_->key) Value(ValueAccess::literal(key));
    new (&end_->value) Value(std::move(value));
    ++end_;
  }
  Entries* take() noexcept {
    entries_->size = static_cast<std::uint32_t>(end_ - entries_->begin());
    entries_->keysAreShort = true;
    return entries_;
  }

 private:
  Entries* entries_;
  Entry* end_;
};

inline Bytes* Bytes::make(std::size_t size, SlabCutter& slabs) {
  const auto [memory, offset] = slabs.cut(sizeof(Bytes) + size);
  auto* block = new (memory) Bytes(offset);
  block->size = size;
  return block;
}

inline Bytes* Bytes::make(std::size_t size, SlabCutter* slabs) {
  const bool isCut = slabs != nullptr && SlabCutter::takes(sizeof(Bytes) + size);
  return isCut ? make(size, *slabs) : make(size);
}

inline Entries* Entries::make(std::size_t capacity, SlabCutter& slabs) {
  const auto [memory, offset] = slabs.cut(sizeof(Entries) + capacity * sizeof(Entry));
  return new (memory) Entries(capacity, offset);
}

inline Elements* Elements::make(std::size_t capacity, SlabCutter* slabs) {
  const std::size_t size = sizeof(Elements) + capacity * sizeof(Value);
  if (slabs == nullptr || !SlabCutter::takes(size)) return make(capacity);
  const auto [memory, offset] = slabs->cut(size);
  return new (memory) Elements(capacity, offset);
}

inline Entries* Entries::make(std::size_t capacity, SlabCutter* slabs) {
  const bool isCut = slabs != nullptr && SlabCutter::takes(sizeof(Entries) + capacity * sizeof(Entry));
  return isCut ? make(capacity, *slabs) : make(capacity);
}

inline std::optional<std::string_view> ValueAccess::text(const Value& value) noexcept {
  return isLong(value) ? (*value.contents<Bytes*>())->text() : value.ifString();
}

inline char* ValueAccess::makeString(Value& value, std::size_t size, SlabCutter* slabs) {
  if (size <= kLongestShort) {
    value.storage_[kLongestShort] = static_cast<unsigned char>(size);
    return reinterpret_cast<char*>(value.storage_);
  }
  Bytes* bytes = Bytes::make(size, slabs);
  value = Value(Value::kLongString, bytes);
  return reinterpret_cast<char*>(bytes + 1);
}

inline Value ValueAccess::string(std::string_view wellFormed, SlabCutter* slabs) {
  const bool isShort = wellFormed.size() <= kLongestShort;
  if (isShort && std::endian::native == std::endian::little) return shortString(bitsOf(wellFormed));
  Value value;
  std::copy_n(wellFormed.data(), wellFormed.size(), makeString(value, wellFormed.size(), slabs));
  return value;
}

inline ValueAccess::Bits ValueAccess::bitsOf(std::string_view text) noexcept {
  const std::size_t size = text.size();
  const auto part = [&]<class Word>(Word word, std::size_t offset) -> std::uint64_t {
    std::memcpy(&word, text.data() + offset, sizeof word);
    return word;
  };
  Bits bits = {0, std::uint64_t{size} << 56};
  if (size > 8) {
    bits.low = part(std::uint64_t{}, 0);
    bits.high |= part(std::uint64_t{}, size - 8) >> 8 * (16 - size);
  } else if (size >= 4) {
    bits.low = part(std::uint32_t{}, 0) | part(std::uint32_t{}, size - 4) << 8 * (size - 4);
  } else {
    for (std::size_t i = 0; i < size; ++i) bits.low |= part(std::uint8_t{}, i) << 8 * i;
  }
  return bits;
}

inline Value ValueAccess::joined(std::initializer_list<std::string_view> texts, SlabCutter* slabs) {
  std::size_t size = 0;
  for (const std::string_view text : texts) size += text.size();
  Value value;
  char* to = makeString(value, size, slabs);
  for (const std::string_view text : texts) to = std::copy_n(text.data(), text.size(), to);
  return value;
}

inline Shared* ValueAccess::contentsOf(const Value& value) noexcept {
  static_assert(std::is_base_of_v<Shared, Bytes> && std::is_base_of_v<Shared, Container>);
  // Every shared value contains a pointer to a block, and every block begins with its header.
  Shared* contents = nullptr;
  if (isShared(value)) std::memcpy(&contents, value.storage_, sizeof contents);
  return contents;
}

inline Container* ValueAccess::dropContents(const Value& value, SlabRelease& release) noexcept {
  Shared* contents = contentsOf(value);
  if (contents == nullptr) return nullptr;
  // The same as below in fewer steps, for most texts of records: saves 5 % of a check.
  if (isLong(value) && contents->hasOneOwner() && release.addKnown(contents->slab())) return nullptr;
  if (!contents->dropOwner()) return nullptr;
  if (isContainer(value)) return static_cast<Container*>(contents);
  contents->giveBack(release);
  return nullptr;
}

inline Value ValueAccess::copiedUnseen(const Value& value) noexcept {
  if (Shared* contents = contentsOf(value)) contents->addOwnerUnseen();
  Value copy;
  copy.setWords(value.words());
  return copy;
}

inline void ValueAccess::releaseUnseen(Value& value) noexcept {
  Shared* contents = contentsOf(value);
  if (contents == nullptr || contents->hasOneOwner()) return;
  contents->dropOwnerUnseen();
  value.setWords({});
}

/// The entries, including erased ones, whose keys are not equal to any text.
inline std::span<const Entry> entriesOf(const Dictionary& dictionary) noexcept {
  Entries* block = ValueAccess::block(dictionary);
  return block == nullptr ? std::span<const Entry>() : std::span<const Entry>(block->begin(), block->size);
}

inline void ValueAccess::prefetch(const Dictionary& dictionary, std::uint64_t hash) noexcept {
  Entries* entries = block(dictionary);
  if (entries != nullptr && entries->isIndexed()) __builtin_prefetch(&entries->slots()[hash & entries->slotMask]);
}

inline std::uint32_t ValueAccess::positionOf(const Dictionary& dictionary, const Value& found) noexcept {
  const auto* entry = reinterpret_cast<const Entry*>(&found - 1);
  return static_cast<std::uint32_t>(entry - block(dictionary)->begin());
}

/// Destroys a container without owners, and everything that only it owns, at any depth. Dead containers form a linked
/// list, so this needs neither stack nor memory.
void destroy(Container* last) noexcept;

/// Copy on write: ensures that `block` has one owner and room for a total of `needed` elements. Returns whether it
/// copied the block; copies omit erased entries. Changes nothing if it throws `std::bad_alloc`.
template <class Block>
bool makeWritable(Block*& block, std::size_t needed);

inline void dropOwner(Bytes* bytes, SlabRelease& release) noexcept {
  if (bytes != nullptr && bytes->dropOwner()) bytes->giveBack(release);
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
  const std::size_t grown = std::max<std::size_t>(needed, 2 * std::size_t{block->capacity});
  Block* writable = Block::make(needed <= block->capacity ? block->capacity : grown);
  auto* end = writable->begin();
  for (auto& element : *block) {
    if constexpr (std::is_same_v<Block, Entries>) {
      if (ValueAccess::isErased(element.key)) continue;
    }
    only ? std::construct_at(end++, std::move(element)) : std::construct_at(end++, element);
  }
  writable->size = static_cast<std::uint32_t>(end - writable->begin());
  dropOwner(static_cast<Container*>(std::exchange(block, writable)));
  return true;
}

}  // namespace tavik::detail

#endif
