// Dictionaries: entries in stored order, scanned while few, found through an index of positions when many.

#include <algorithm>
#include <memory>
#include <stdexcept>

#include <tavik/Value.h>

#include "values/SharedContents.h"
#include "values/Text.h"
#include "values/ValueAccess.h"

namespace tavik {

using detail::Container;
using detail::dropOwner;
using detail::Entries;
using detail::Entry;
using detail::ValueAccess;

namespace {

__extension__ using Wide = unsigned __int128;

std::uint64_t mix(std::uint64_t a, std::uint64_t b) noexcept {
  const Wide product = Wide{a} * b;
  return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
}

// A multiplicative hash. The seed is the block's own address, which whoever writes a document cannot know, so that
// nobody can prepare keys that collide.
std::uint64_t hash(std::string_view key, const Entries* seed) noexcept {
  constexpr std::uint64_t kOdd = 0x9E3779B97F4A7C15;
  std::uint64_t state = mix(reinterpret_cast<std::uintptr_t>(seed) ^ kOdd, key.size() ^ 0xD6E8FEB86659FD93);
  while (!key.empty()) {
    std::uint64_t word = 0;
    const std::size_t count = std::min(key.size(), sizeof word);
    std::memcpy(&word, key.data(), count);
    state = mix(state ^ word, kOdd);
    key.remove_prefix(count);
  }
  return mix(state, kOdd);
}

std::string_view textOf(const Value& key) noexcept { return key.ifString().value_or(std::string_view{}); }

// The slot where `key` is found or would go.
std::uint32_t& slotFor(Entries* entries, std::string_view key) noexcept {
  const auto slots = entries->slots();
  std::size_t slot = hash(key, entries) & (slots.size() - 1);
  while (slots[slot] != 0) {
    const Value& stored = entries->begin()[slots[slot] - 1].key;
    if (!ValueAccess::isErased(stored) && textOf(stored) == key) break;
    slot = (slot + 1) & (slots.size() - 1);
  }
  return slots[slot];
}

void index(Entries* entries) noexcept {
  const auto slots = entries->slots();
  if (slots.empty()) return;
  std::ranges::fill(slots, 0U);
  for (std::uint32_t position = 0; position < entries->size; ++position) {
    slotFor(entries, textOf(entries->begin()[position].key)) = position + 1;
  }
}

Entry* findEntry(Entries* entries, std::string_view key) noexcept {
  if (entries == nullptr) return nullptr;
  if (!entries->slots().empty()) {
    const std::uint32_t position = slotFor(entries, key);
    return position == 0 ? nullptr : entries->begin() + (position - 1);
  }
  for (Entry& entry : *entries) {
    if (!ValueAccess::isErased(entry.key) && textOf(entry.key) == key) return &entry;
  }
  return nullptr;
}

// Closes the gaps that erased entries left.
void compact(Entries* entries) noexcept {
  Entry* end = std::remove_if(entries->begin(), entries->end(),
                              [](const Entry& entry) { return ValueAccess::isErased(entry.key); });
  std::destroy(end, entries->end());
  entries->size = static_cast<std::size_t>(end - entries->begin());
  entries->erased = 0;
  index(entries);
}

}  // namespace

Dictionary::Dictionary(std::initializer_list<std::pair<std::string_view, Value>> entries) {
  reserve(entries.size());
  for (const auto& [key, value] : entries) set(key, value);
}

Dictionary::Dictionary(const Dictionary& other) noexcept : entries_(other.entries_) {
  if (entries_ != nullptr) entries_->addOwner();
}

Dictionary& Dictionary::operator=(Dictionary other) noexcept {
  std::swap(entries_, other.entries_);
  return *this;
}

Dictionary::~Dictionary() { dropOwner(static_cast<Container*>(entries_)); }

std::size_t Dictionary::size() const noexcept { return entries_ == nullptr ? 0 : entries_->size - entries_->erased; }

Dictionary::Iterator Dictionary::begin() const noexcept {
  return entries_ == nullptr ? end() : Iterator(entries_->begin(), entries_->end());
}

Dictionary::Iterator Dictionary::end() const noexcept {
  return entries_ == nullptr ? Iterator() : Iterator(entries_->end(), entries_->end());
}

const Value* Dictionary::find(std::string_view key) const noexcept {
  const Entry* entry = findEntry(entries_, key);
  return entry == nullptr ? nullptr : &entry->value;
}

std::optional<std::string_view> Dictionary::findString(std::string_view key) const noexcept {
  const Value* value = find(key);
  return value == nullptr ? std::nullopt : value->ifString();
}

const Data* Dictionary::findData(std::string_view key) const noexcept {
  const Value* value = find(key);
  return value == nullptr ? nullptr : value->ifData();
}

const Array* Dictionary::findArray(std::string_view key) const noexcept {
  const Value* value = find(key);
  return value == nullptr ? nullptr : value->ifArray();
}

const Dictionary* Dictionary::findDictionary(std::string_view key) const noexcept {
  const Value* value = find(key);
  return value == nullptr ? nullptr : value->ifDictionary();
}

void Dictionary::set(std::string_view key, Value value) { store(Value(key), std::move(value), false); }

void Dictionary::set(std::string_view key, const Value* value) {
  if (value == nullptr)
    throw std::invalid_argument("an absent value cannot be stored under \"" + std::string(key) + '"');
  set(key, *value);
}

void Dictionary::setFirst(std::string_view key, Value value) { store(Value(key), std::move(value), true); }

void Dictionary::setOrRemove(std::string_view key, const Value* value) {
  value == nullptr ? static_cast<void>(erase(key)) : set(key, *value);
}

void Dictionary::setAll(const Dictionary& other) {
  const Dictionary source = other;  // NOLINT(performance-unnecessary-copy-initialization): it may be this very one
  if (source.entries_ == nullptr) return;
  reserve(size() + source.size());
  for (const Entry& entry : *source.entries_) {
    if (!ValueAccess::isErased(entry.key)) store(entry.key, entry.value, false);
  }
}

bool Dictionary::erase(std::string_view key) {
  if (findEntry(entries_, key) == nullptr) return false;
  makeOwn(entries_->size);
  Entry* entry = findEntry(entries_, key);
  entry->key = ValueAccess::erasedMark();
  entry->value = Value();
  ++entries_->erased;
  if (entries_->erased > entries_->size / 2) compact(entries_);
  return true;
}

void Dictionary::reserve(std::size_t count) {
  if (count > size()) makeOwn(count + (entries_ == nullptr ? 0 : entries_->erased));
}

// Copy on write, the index kept true.
void Dictionary::makeOwn(std::size_t needed) {
  if (detail::makeWritable(entries_, needed)) index(entries_);
}

void Dictionary::store(Value key, Value value, bool first) {
  constexpr std::size_t kFirstRoom = 4;
  if (Entry* entry = findEntry(entries_, textOf(key))) {
    if (!entries_->hasOneOwner()) {
      makeOwn(entries_->size);
      entry = findEntry(entries_, textOf(key));
    }
    entry->value = std::move(value);
    return;
  }
  makeOwn(entries_ == nullptr ? kFirstRoom : entries_->size + 1);
  std::construct_at(entries_->end(), Entry{std::move(key), std::move(value)});
  ++entries_->size;
  if (first) {
    std::rotate(entries_->begin(), entries_->end() - 1, entries_->end());
    index(entries_);
  } else if (!entries_->slots().empty()) {
    slotFor(entries_, textOf(entries_->end()[-1].key)) = static_cast<std::uint32_t>(entries_->size);
  }
}

Dictionary::Iterator::Iterator(const Entry* entry, const Entry* end) noexcept : entry_(entry), end_(end) {
  skipErased();
}

void Dictionary::Iterator::skipErased() noexcept {
  while (entry_ != end_ && ValueAccess::isErased(entry_->key)) ++entry_;
}

Dictionary::Item Dictionary::Iterator::operator*() const noexcept { return {textOf(entry_->key), entry_->value}; }

const Value& Dictionary::Iterator::key() const noexcept { return entry_->key; }

const Value& Dictionary::Iterator::value() const noexcept { return entry_->value; }

Dictionary::Iterator& Dictionary::Iterator::operator++() noexcept {
  ++entry_;
  skipErased();
  return *this;
}

}  // namespace tavik
