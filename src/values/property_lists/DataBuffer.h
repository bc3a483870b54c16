/// @file
/// Data under construction, for the writers.
#ifndef TAVIK_VALUES_PROPERTY_LISTS_DATA_BUFFER_H
#define TAVIK_VALUES_PROPERTY_LISTS_DATA_BUFFER_H

#include <tavik/Value.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <utility>

#include "values/SharedContents.h"
#include "values/ValueAccess.h"

namespace tavik::detail {

/// Bytes in the block that becomes the data. They are not moved if enough memory has been reserved.
class DataBuffer {
 public:
  [[nodiscard]] std::size_t size() const noexcept { return size_; }

  /// Reserves memory for a total of `capacity` bytes.
  void reserve(std::size_t capacity) {
    if (capacity > capacity_) moveTo(capacity);
  }

  /// Adds bytes that the caller must write.
  char* extend(std::size_t count) {
    char* const room = this->room(count);
    size_ += count;
    return room;
  }
  /// Returns memory for up to `count` bytes. Call `advanceTo` after writing them.
  char* room(std::size_t count) {
    if (count > capacity_ - size_) [[unlikely]]
      grow(count);
    return begin_ + size_;
  }
  void advanceTo(const char* end) noexcept { size_ = static_cast<std::size_t>(end - begin_); }
  DataBuffer& operator+=(std::string_view text) {
    std::copy_n(text.data(), text.size(), extend(text.size()));
    return *this;
  }
  template <std::size_t kSize>
  DataBuffer& operator+=(const char (&literal)[kSize]) {
    std::copy_n(literal, kSize - 1, extend(kSize - 1));
    return *this;
  }
  DataBuffer& operator+=(char character) {
    *extend(1) = character;
    return *this;
  }
  void append(std::size_t count, char character) { std::fill_n(extend(count), count, character); }

  [[nodiscard]] std::string_view view() const noexcept { return {begin_, size_}; }
  /// The buffer must not be empty.
  Data take() && {
    constexpr std::size_t kSpare = 8;  // the part of the data that may remain unused
    if (capacity_ - size_ > size_ / kSpare) moveTo(size_);
    block_->size = size_;
    return ValueAccess::data(block_.release());
  }

 private:
  static constexpr std::size_t kLeast = 512;

  struct Free {
    void operator()(Bytes* block) const noexcept { ::operator delete(block); }
  };

  [[gnu::noinline]] void grow(std::size_t count) { moveTo(std::max({size_ + count, 2 * capacity_, kLeast})); }
  void moveTo(std::size_t capacity) {
    std::unique_ptr<Bytes, Free> block(Bytes::make(capacity));
    char* begin = reinterpret_cast<char*>(block.get() + 1);
    std::copy_n(begin_, size_, begin);
    block_ = std::move(block);
    begin_ = begin;
    capacity_ = capacity;
  }

  std::unique_ptr<Bytes, Free> block_;
  char* begin_ = nullptr;  // the first byte, after the block's header
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;
};

}  // namespace tavik::detail

#endif
