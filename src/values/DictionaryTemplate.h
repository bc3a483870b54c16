/// @file
/// Small dictionaries of which many copies are made.
#ifndef TAVIK_VALUES_DICTIONARY_TEMPLATE_H
#define TAVIK_VALUES_DICTIONARY_TEMPLATE_H

#include <tavik/Value.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "values/SharedContents.h"

namespace tavik::detail {

/// The memory of a dictionary and of its long strings in one piece, so that copying it makes all of these blocks. A
/// copy shares nothing with other copies: threads that make and release copies do not contend for reference counts.
class DictionaryTemplate {
 public:
  /// dictionary: without erased entries, at most `Entries::kScanned`. Its keys are short, its values strings, numbers
  /// or booleans.
  explicit DictionaryTemplate(const Dictionary& dictionary);

  /// A copy, to be owned by the caller.
  [[nodiscard]] Entries* copy(SlabCutter& slabs) const {
    const std::size_t size = image_.size() * sizeof(std::uint64_t);
    const auto [memory, unit] = slabs.cut(size, 1 + texts_.size());
    auto* words = static_cast<std::uint64_t*>(std::memcpy(memory, image_.data(), size));
    auto* entries = new (words) Entries(size_, unit);
    entries->size = size_;
    entries->keysAreShort = true;
    for (const Text& text : texts_) {
      auto* bytes = new (words + text.block) Bytes(unit + text.block);
      bytes->size = text.size;
      std::memcpy(words + text.pointer, &bytes, sizeof bytes);
    }
    for (const Value& value : shared_) ValueAccess::contentsOf(value)->addOwner();
    return entries;
  }

 private:
  struct Text {
    std::size_t size;
    std::uint32_t block;    // the word where the block begins
    std::uint32_t pointer;  // the word of the value that points to it
  };

  std::vector<std::uint64_t> image_;  // the words of all blocks; their headers are empty
  std::uint32_t size_;
  std::vector<Text> texts_;
  std::vector<Value> shared_;  // strings that are too long to be copied
};
static_assert(Slab::kUnit == sizeof(std::uint64_t));

}  // namespace tavik::detail

#endif
