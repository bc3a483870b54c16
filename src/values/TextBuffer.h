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
  void append(std::string_view text) {
    if (text.size() > inPlace_.size() - size_) return appendBeyond(text);
    std::copy_n(text.data(), text.size(), inPlace_.data() + size_);
    size_ += text.size();
  }
  void append(char character) { append(std::string_view(&character, 1)); }

  [[nodiscard]] std::string_view view() const noexcept {
    return overflow_.empty() ? std::string_view(inPlace_.data(), size_) : std::string_view(overflow_);
  }

 private:
  void appendBeyond(std::string_view text) {
    if (overflow_.empty()) overflow_.assign(inPlace_.data(), size_);
    overflow_.append(text);
    size_ = inPlace_.size();  // the in-place storage is no longer used
  }

  std::array<char, 256> inPlace_;
  std::size_t size_ = 0;
  std::string overflow_;
};

}  // namespace tavik

#endif
