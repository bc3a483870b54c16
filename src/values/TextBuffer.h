/// @file
/// Text under construction. Short text stays on the stack.
#ifndef TAVIK_VALUES_TEXT_BUFFER_H
#define TAVIK_VALUES_TEXT_BUFFER_H

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

namespace tavik {

class TextBuffer {
 public:
  // Inlined, because the size of many texts is known at compile time.
  [[gnu::always_inline]] void append(std::string_view text) {
    std::copy_n(text.data(), text.size(), extend(text.size()));
  }
  void append(char character) { append(std::string_view(&character, 1)); }

  /// Appends characters, which the caller must write.
  [[nodiscard]] char* extend(std::size_t size) {
    if (size > inPlace_.size() - size_) return extendBeyond(size);
    size_ += size;
    return inPlace_.data() + (size_ - size);
  }

  [[nodiscard]] std::string_view view() const noexcept {
    return overflow_.empty() ? std::string_view(inPlace_.data(), size_) : std::string_view(overflow_);
  }

 private:
  char* extendBeyond(std::size_t size) {
    if (overflow_.empty()) overflow_.assign(inPlace_.data(), size_);
    size_ = inPlace_.size();  // the in-place storage is no longer used
    overflow_.resize(overflow_.size() + size);
    return overflow_.data() + (overflow_.size() - size);
  }

  std::array<char, 256> inPlace_;
  std::size_t size_ = 0;
  std::string overflow_;
};

}  // namespace tavik

#endif
