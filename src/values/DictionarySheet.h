/// @file
/// Small dictionaries of which many copies are made, all together.
#ifndef TAVIK_VALUES_DICTIONARY_SHEET_H
#define TAVIK_VALUES_DICTIONARY_SHEET_H

#include <tavik/Value.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <string_view>
#include <vector>

#include "values/SharedContents.h"
#include "values/Slab.h"

namespace tavik::detail {

/// The dictionaries and their texts in the memory layout of slabs, so that a copy of all of them takes one copy of
/// memory per slab. Copies share no reference counts, for which threads would contend.
class DictionarySheet {
 public:
  struct Place {
    std::uint32_t page;
    std::uint32_t word;
    std::uint32_t blocks;  ///< the number of blocks of the dictionary and its texts
    bool sharesTexts;      ///< whether it has texts that are too long to be copied
  };

  /// dictionary: without erased entries. Its keys are short, its values strings, numbers or booleans.
  Place add(const Dictionary& dictionary);

 private:
  friend class SheetCopy;

  struct Page {
    /// Takes memory from the end of the page; returns its first word.
    std::uint32_t take(std::size_t bytes);
    /// pointer: the word for the address of the text.
    void addText(std::string_view text, std::uint32_t pointer);

    std::vector<std::uint64_t> words;     // of a slab; the first one takes the place of the header
    std::vector<std::uint32_t> pointers;  // the words that contain an offset in the slab instead of an address
  };

  Page& pageWithRoomFor(std::size_t words);

  std::vector<Page> pages_;
  std::vector<Value> shared_;  // the texts that are not copied
};

/// A copy of a sheet. No other thread can see its dictionaries before it is destroyed.
class SheetCopy {
 public:
  /// sheet: may be null if nothing is taken.
  explicit SheetCopy(const DictionarySheet* sheet) noexcept : sheet_(sheet) {}

  /// The copy of the dictionary at a place, to be owned by the caller. Take each at most once, in the order of the
  /// sheet.
  [[nodiscard]] Entries* take(const DictionarySheet::Place& place) {
    if (place.page != page_) open(place.page);
    slab_.count(place.blocks);
    auto* entries = reinterpret_cast<Entries*>(slab_.begin() + place.word * Slab::kUnit);
    if (place.sharesTexts) shareTexts(*entries);
    return entries;
  }

 private:
  void open(std::uint32_t number) {
    const DictionarySheet::Page& page = sheet_->pages_[number];
    std::byte* slab = slab_.open(page.words.size() * Slab::kUnit);
    std::memcpy(slab + Slab::kUnit, page.words.data() + 1, (page.words.size() - 1) * Slab::kUnit);
    auto* words = reinterpret_cast<std::uint64_t*>(slab);
    for (const std::uint32_t pointer : page.pointers) words[pointer] += reinterpret_cast<std::uintptr_t>(slab);
    page_ = number;
  }
  static void shareTexts(Entries& entries) noexcept;

  const DictionarySheet* sheet_;
  std::uint32_t page_ = std::numeric_limits<std::uint32_t>::max();
  OpenSlab slab_{Visibility::kOneThread};
};
static_assert(Slab::kUnit == sizeof(std::uint64_t));

}  // namespace tavik::detail

#endif
