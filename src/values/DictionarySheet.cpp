// Sheets of dictionaries.

#include "values/DictionarySheet.h"

namespace tavik::detail {

namespace {

constexpr std::size_t wordsFor(std::size_t bytes) { return (bytes + Slab::kUnit - 1) / Slab::kUnit; }

bool isCopied(const Value& value) {
  return ValueAccess::isLong(value) && SlabCutter::takes(sizeof(Bytes) + ValueAccess::text(value)->size());
}

std::size_t wordsFor(std::span<const Entry> entries) {
  std::size_t words = wordsFor(sizeof(Entries) + entries.size_bytes());
  for (const Entry& entry : entries) {
    if (isCopied(entry.value)) words += wordsFor(sizeof(Bytes) + ValueAccess::text(entry.value)->size());
  }
  return words;
}

}  // namespace

DictionarySheet::Place DictionarySheet::add(const Dictionary& dictionary) {
  const std::span<const Entry> entries = entriesOf(dictionary);
  Page& page = pageWithRoomFor(wordsFor(entries));
  const auto takeWords = [&](std::size_t bytes) {
    const auto taken = static_cast<std::uint32_t>(page.words.size());
    page.words.resize(page.words.size() + wordsFor(bytes));
    return taken;
  };
  Place place = {static_cast<std::uint32_t>(pages_.size() - 1), takeWords(sizeof(Entries) + entries.size_bytes()), 1,
                 false};
  auto* copy = new (&page.words[place.word]) Entries(entries.size(), place.word);
  copy->size = static_cast<std::uint32_t>(entries.size());
  copy->keysAreShort = true;
  std::memcpy(static_cast<void*>(copy->begin()), entries.data(), entries.size_bytes());
  for (std::size_t i = 0; i < entries.size(); ++i) {
    const Value& value = entries[i].value;
    if (!isCopied(value)) {
      if (ValueAccess::isLong(value)) shared_.push_back(value);
      place.sharesTexts |= ValueAccess::isLong(value);
      continue;
    }
    const std::string_view text = *ValueAccess::text(value);
    const std::uint32_t block = takeWords(sizeof(Bytes) + text.size());
    auto* bytes = new (&page.words[block]) Bytes(block);
    bytes->size = text.size();
    std::memcpy(static_cast<void*>(bytes + 1), text.data(), text.size());
    const std::size_t pointer = place.word + wordsFor(sizeof(Entries) + i * sizeof(Entry) + offsetof(Entry, value));
    page.words[pointer] = block * Slab::kUnit;
    page.pointers.push_back(static_cast<std::uint32_t>(pointer));
    ++place.blocks;
  }
  return place;
}

DictionarySheet::Page& DictionarySheet::pageWithRoomFor(std::size_t words) {
  if (pages_.empty() || (pages_.back().words.size() + words) * Slab::kUnit > SlabCutter::kMost) {
    pages_.emplace_back().words.resize(1);
  }
  return pages_.back();
}

void SheetCopy::shareTexts(Entries& entries) noexcept {
  for (const Entry& entry : entries) {
    if (ValueAccess::isLong(entry.value) && !isCopied(entry.value)) ValueAccess::contentsOf(entry.value)->addOwner();
  }
}

}  // namespace tavik::detail
