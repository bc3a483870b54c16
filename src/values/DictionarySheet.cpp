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
  Place place = {static_cast<std::uint32_t>(pages_.size() - 1), page.take(sizeof(Entries) + entries.size_bytes()), 1,
                 false};
  auto* copy = new (&page.words[place.word]) Entries(entries.size(), place.word * Slab::kUnit);
  copy->size = static_cast<std::uint32_t>(entries.size());
  copy->keysAreShort = true;
  std::memcpy(static_cast<void*>(copy->begin()), static_cast<const void*>(entries.data()), entries.size_bytes());
  for (std::size_t i = 0; i < entries.size(); ++i) {
    const Value& value = entries[i].value;
    if (!ValueAccess::isLong(value)) continue;
    if (isCopied(value)) {
      const std::size_t offset = sizeof(Entries) + i * sizeof(Entry) + offsetof(Entry, value);
      page.addText(*ValueAccess::text(value), place.word + static_cast<std::uint32_t>(wordsFor(offset)));
      ++place.blocks;
    } else {
      shared_.push_back(value);
      place.sharesTexts = true;
    }
  }
  return place;
}

std::uint32_t DictionarySheet::Page::take(std::size_t bytes) {
  const auto first = static_cast<std::uint32_t>(words.size());
  words.resize(words.size() + wordsFor(bytes));
  return first;
}

void DictionarySheet::Page::addText(std::string_view text, std::uint32_t pointer) {
  const std::uint32_t block = take(sizeof(Bytes) + text.size());
  auto* bytes = new (&words[block]) Bytes(block * Slab::kUnit);
  bytes->size = text.size();
  std::memcpy(static_cast<void*>(bytes + 1), text.data(), text.size());
  words[pointer] = block * Slab::kUnit;
  pointers.push_back(pointer);
}

DictionarySheet::Page& DictionarySheet::pageWithRoomFor(std::size_t words) {
  if (pages_.empty() || (pages_.back().words.size() + words) * Slab::kUnit > Slab::kMost) {
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
