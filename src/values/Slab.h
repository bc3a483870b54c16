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

  static Slab* make(std::size_t size) { return new (::operator new(size)) Slab; }

  /// Releases this many blocks. The last ones are detected without an atomic write.
  void drop(std::size_t blocks) noexcept {
    const bool areLast = blocks_.load(std::memory_order_acquire) == blocks ||
                         blocks_.fetch_sub(blocks, std::memory_order_acq_rel) == blocks;
    if (areLast) ::operator delete(this);
  }
  /// Ends cutting. blocks: the total number of blocks cut.
  void close(std::size_t blocks) noexcept { drop(kOpen - blocks); }

 private:
  // The count while blocks are being cut. `close` corrects it to the number of blocks.
  static constexpr std::size_t kOpen = std::size_t{1} << 40;

  std::atomic<std::size_t> blocks_ = kOpen;
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

  void add(Slab* slab) noexcept {
    if (slab != last_.slab) {
      std::swap(last_, other_);
      if (slab != last_.slab) {
        flush(last_);
        last_ = {slab, 0};
      }
    }
    ++last_.count;
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

/// A slab from which blocks are given out.
class OpenSlab {
 public:
  OpenSlab() = default;
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

 private:
  void close() noexcept {
    if (slab_ != nullptr) slab_->close(blocks_);
  }

  Slab* slab_ = nullptr;
  std::size_t blocks_ = 0;
};

/// Cuts blocks from one slab after the other.
class SlabCutter {
  static constexpr std::size_t kLeast = 1024;  // the size of the smallest slab

 public:
  static constexpr std::size_t kMost = std::size_t{16} * 1024;  ///< the size of the largest slab
  static constexpr std::size_t kLargestCut = kLeast - Slab::kUnit;

  /// expected: approximate total number of bytes.
  explicit SlabCutter(std::size_t expected) noexcept : slabSize_(std::clamp(expected, kLeast, kMost)) {}

  struct Cut {
    void* memory;
    std::size_t unit;  // offset in the slab, in units
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
    const Cut cut = {slab_.begin() + used_, used_ / Slab::kUnit};
    used_ += size;
    slab_.count(1);
    return cut;
  }

 private:
  static constexpr std::size_t kLargestBlock = 256;

  std::size_t slabSize_;
  OpenSlab slab_;
  std::size_t used_ = 0;
};
static_assert(sizeof(Slab) == Slab::kUnit);

}  // namespace tavik::detail

#endif
