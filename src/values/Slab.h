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

namespace tavik::detail {

/// The header of a slab; the blocks follow. The slab is freed with its last block.
class Slab {
 public:
  /// Block offsets are multiples of this.
  static constexpr std::size_t kUnit = 8;

  static Slab* make(std::size_t size) { return new (::operator new(size)) Slab; }

  /// Releases this many blocks.
  void drop(std::size_t blocks) noexcept {
    if (blocks_.fetch_sub(blocks, std::memory_order_acq_rel) == blocks) ::operator delete(this);
  }
  /// Ends cutting. blocks: the total number of blocks cut.
  void close(std::size_t blocks) noexcept { drop(kOpen - blocks); }

 private:
  // The count while blocks are being cut. `close` corrects it to the number of blocks.
  static constexpr std::size_t kOpen = std::size_t{1} << 40;

  std::atomic<std::size_t> blocks_ = kOpen;
};

/// Releases blocks; consecutive blocks of one slab are released together.
class SlabRelease {
 public:
  SlabRelease() = default;
  SlabRelease(const SlabRelease&) = delete;
  SlabRelease& operator=(const SlabRelease&) = delete;
  ~SlabRelease() { flush(); }

  void add(Slab* slab) noexcept {
    if (slab != slab_) {
      flush();
      slab_ = slab;
    }
    ++blocks_;
  }

 private:
  void flush() noexcept {
    if (slab_ != nullptr) slab_->drop(blocks_);
    blocks_ = 0;
  }

  Slab* slab_ = nullptr;
  std::size_t blocks_ = 0;
};

/// Cuts blocks from one slab after the other.
class SlabCutter {
  static constexpr std::size_t kLeast = 1024;  // the size of the smallest slab

 public:
  static constexpr std::size_t kLargestCut = kLeast - Slab::kUnit;

  /// expected: approximate total number of bytes.
  explicit SlabCutter(std::size_t expected) noexcept : slabSize_(std::clamp(expected, kLeast, kMost)) {}
  SlabCutter(const SlabCutter&) = delete;
  SlabCutter& operator=(const SlabCutter&) = delete;
  ~SlabCutter() { close(); }

  struct Cut {
    void* memory;
    std::size_t unit;  // offset in the slab, in units
  };

  /// Whether a block of this size is cut from a slab. Large blocks are allocated separately.
  static bool takes(std::size_t size) noexcept { return size <= kLargestBlock; }
  /// size: at most kLargestCut. blocks: the number of blocks that the memory is for.
  Cut cut(std::size_t size, std::size_t blocks = 1) {
    size = (size + Slab::kUnit - 1) / Slab::kUnit * Slab::kUnit;
    if (slab_ == nullptr || size > slabSize_ - used_) open();
    const Cut cut = {reinterpret_cast<std::byte*>(slab_) + used_, used_ / Slab::kUnit};
    used_ += size;
    blocks_ += blocks;
    return cut;
  }

 private:
  static constexpr std::size_t kMost = std::size_t{16} * 1024;
  static constexpr std::size_t kLargestBlock = 256;

  void open() {
    Slab* slab = Slab::make(slabSize_);
    close();
    slab_ = slab;
    used_ = Slab::kUnit;
    blocks_ = 0;
  }
  void close() noexcept {
    if (slab_ != nullptr) slab_->close(blocks_);
  }

  std::size_t slabSize_;
  Slab* slab_ = nullptr;
  std::size_t used_ = 0;
  std::size_t blocks_ = 0;
};
static_assert(sizeof(Slab) == Slab::kUnit);

}  // namespace tavik::detail

#endif
