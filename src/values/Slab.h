/// @file
/// Slabs: allocations that are cut into many small blocks. The records of a check are made and usually released
/// together; slabs save an allocation and a deallocation for each.
#ifndef TAVIK_VALUES_SLAB_H
#define TAVIK_VALUES_SLAB_H

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <new>
#include <utility>

namespace tavik::detail {

/// The header of a slab; the blocks follow. The slab is freed with its last block.
class Slab {
 public:
  /// Block offsets are multiples of this.
  static constexpr std::size_t kUnit = 8;
  /// Slab sizes are multiples of this.
  static constexpr std::size_t kStep = 1024;
  /// The size of the largest slab.
  static constexpr std::size_t kMost = 16 * kStep;

  /// size: at most `kMost`.
  static Slab* make(std::size_t size) {
    const std::size_t steps = (size + kStep - 1) / kStep;
    return new (allocate(steps)) Slab(steps);
  }

  /// Releases this many blocks. The last ones are detected without an atomic write.
  void drop(std::uint64_t blocks) noexcept {
    const std::uint64_t before = state_.load(std::memory_order_acquire);
    const bool areLast =
        (before & kBlocks) == blocks || (state_.fetch_sub(blocks, std::memory_order_acq_rel) & kBlocks) == blocks;
    if (areLast) release(this, before >> kBlockBits);
  }
  /// Ends cutting. blocks: the total number of blocks cut.
  void close(std::uint64_t blocks) noexcept { drop(kOpen - blocks); }
  /// The same if no other thread can see a block yet.
  void closeUnseen(std::uint64_t blocks) noexcept {
    const std::uint64_t after = state_.load(std::memory_order_relaxed) - (kOpen - blocks);
    (after & kBlocks) == 0 ? release(this, after >> kBlockBits) : state_.store(after, std::memory_order_relaxed);
  }

 private:
  static constexpr int kBlockBits = 48;
  static constexpr std::uint64_t kBlocks = (std::uint64_t{1} << kBlockBits) - 1;
  // The count while blocks are being cut. `close` corrects it to the number of blocks.
  static constexpr std::uint64_t kOpen = std::uint64_t{1} << 40;

  explicit Slab(std::uint64_t steps) noexcept : state_(steps << kBlockBits | kOpen) {}
  static void* allocate(std::size_t steps);
  static void release(void* memory, std::size_t steps) noexcept;

  std::atomic<std::uint64_t> state_;  // the number of blocks; in the upper bits, the size in steps
};

/// Releases blocks; those of two alternating slabs are released together.
class SlabRelease {
 public:
  SlabRelease() = default;
  SlabRelease(const SlabRelease&) = delete;
  SlabRelease& operator=(const SlabRelease&) = delete;
  ~SlabRelease() {
    flush(last_);
    flush(other_);
  }

  /// Adds a block.
  void add(Slab* slab) noexcept {
    if (addKnown(slab)) return;
    flush(other_);
    other_ = std::exchange(last_, {slab, 1});
  }
  /// Adds a block if it is of one of the last two slabs; returns whether it is.
  bool addKnown(const Slab* slab) noexcept {
    if (slab == last_.slab) return ++last_.count, true;
    if (slab == other_.slab) return ++other_.count, true;
    return false;
  }

 private:
  struct Blocks {
    Slab* slab = nullptr;
    std::size_t count = 0;
  };

  static void flush(const Blocks& blocks) noexcept {
    if (blocks.slab != nullptr) blocks.slab->drop(blocks.count);
  }

  Blocks last_;
  Blocks other_;
};

/// Which threads can see a block before its slab is closed.
enum class Visibility : std::uint8_t { kOneThread, kAllThreads };

/// A slab from which blocks are given out.
class OpenSlab {
 public:
  explicit OpenSlab(Visibility visibility) noexcept : visibility_(visibility) {}
  OpenSlab(const OpenSlab&) = delete;
  OpenSlab& operator=(const OpenSlab&) = delete;
  ~OpenSlab() { close(); }

  /// Replaces the slab by one of this size.
  std::byte* open(std::size_t size) {
    Slab* slab = Slab::make(size);
    close();
    slab_ = slab;
    blocks_ = 0;
    return begin();
  }
  /// Null if none is open.
  [[nodiscard]] std::byte* begin() const noexcept { return reinterpret_cast<std::byte*>(slab_); }
  /// Counts blocks that are given out.
  void count(std::size_t blocks) noexcept { blocks_ += blocks; }
  /// Other threads can see blocks from now on.
  void show() noexcept { visibility_ = Visibility::kAllThreads; }

 private:
  void close() noexcept {
    if (slab_ == nullptr) return;
    visibility_ == Visibility::kOneThread ? slab_->closeUnseen(blocks_) : slab_->close(blocks_);
  }

  Slab* slab_ = nullptr;
  std::size_t blocks_ = 0;
  Visibility visibility_;
};

/// Cuts blocks from one slab after the other.
class SlabCutter {
 public:
  static constexpr std::size_t kLargestCut = Slab::kStep - Slab::kUnit;

  /// expected: approximate total number of bytes.
  explicit SlabCutter(std::size_t expected, Visibility visibility = Visibility::kAllThreads) noexcept
      : slabSize_(std::clamp(expected, Slab::kStep, Slab::kMost)), slab_(visibility) {}

  struct Cut {
    void* memory;
    std::size_t offset;  // in the slab
  };

  /// Whether a block of this size is cut from a slab. Large blocks are allocated separately.
  static bool takes(std::size_t size) noexcept { return size <= kLargestBlock; }
  /// size: at most kLargestCut.
  Cut cut(std::size_t size) {
    size = (size + Slab::kUnit - 1) / Slab::kUnit * Slab::kUnit;
    if (slab_.begin() == nullptr || size > slabSize_ - used_) {
      slab_.open(slabSize_);
      used_ = Slab::kUnit;
    }
    const Cut cut = {slab_.begin() + used_, used_};
    used_ += size;
    slab_.count(1);
    return cut;
  }
  /// Other threads can see blocks from now on.
  void show() noexcept { slab_.show(); }

 private:
  static constexpr std::size_t kLargestBlock = 512;

  std::size_t slabSize_;
  OpenSlab slab_;
  std::size_t used_ = 0;
};
static_assert(sizeof(Slab) == Slab::kUnit);

}  // namespace tavik::detail

#endif
