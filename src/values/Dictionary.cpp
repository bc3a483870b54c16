// Dictionaries: entries in stored order. Small dictionaries are scanned; large ones have an index of positions.

#include <algorithm>
#include <memory>
#include <stdexcept>

#include <tavik/Value.h>

#include "values/DictionaryKey.h"
#include "values/SharedContents.h"
#include "values/Text.h"
#include "values/ValueAccess.h"

namespace tavik {

const char detail::Sought::kAnchor = 0;

using detail::Container;
using detail::dropOwner;
using detail::Entries;
using detail::Entry;
using detail::FixedDictionary;
using detail::Sought;
using detail::ValueAccess;

namespace {

std::uint32_t upperHalf(std::uint64_t hash) noexcept { return static_cast<std::uint32_t>(hash >> 32); }

// The slot of the key, or the free slot for it.
Entries::Slot& slotFor(Entries* entries, const Sought& key, std::uint64_t hash) noexcept {
  const auto slots = entries->slots();
  const auto holds = [&](const Entries::Slot& slot) {
    return slot.hash == upperHalf(hash) && key.is(entries->begin()[slot.place - 1].key);
  };
  std::size_t index = hash & entries->slotMask;
  while (slots[index].place != 0 && !holds(slots[index])) index = (index + 1) & entries->slotMask;
  return slots[index];
}

// Adds an entry to the index. Returns the place of an entry with the same key, or 0. known: the key's hash.
std::uint32_t indexEntry(Entries* entries, std::uint32_t position,
                         std::optional<std::uint64_t> known = std::nullopt) noexcept {
  const Sought key(entries->begin()[position].key);
  const std::uint64_t hash = known ? *known : key.hash();
  return std::exchange(slotFor(entries, key, hash), {position + 1, upperHalf(hash)}).place;
}

// Adds an entry, for which there is room. hash: of the key, if known.
void addEntry(Entries* entries, Value&& key, Value&& value, std::optional<std::uint64_t> hash) noexcept {
  std::construct_at(entries->end(), Entry{std::move(key), std::move(value)});
  ++entries->size;
  entries->keysAreShort = false;
  if (entries->isIndexed()) indexEntry(entries, entries->size - 1, hash);
}

std::size_t roomForOneMore(const Entries* entries) noexcept {
  constexpr std::size_t kFirstRoom = 4;
  return entries == nullptr ? kFirstRoom : entries->size + 1;
}

void index(Entries* entries) noexcept {
  if (!entries->isIndexed()) return;
  std::ranges::fill(entries->slots(), Entries::Slot());
  for (std::uint32_t position = 0; position < entries->size; ++position) {
    if (!ValueAccess::isErased(entries->begin()[position].key)) indexEntry(entries, position);
  }
}

// hash: of the key, if known.
Entry* findEntry(Entries* entries, const Sought& key, std::optional<std::uint64_t> hash = std::nullopt) noexcept {
  if (entries == nullptr) return nullptr;
  if (entries->isIndexed()) {
    const std::uint32_t place = slotFor(entries, key, hash ? *hash : key.hash()).place;
    return place == 0 ? nullptr : entries->begin() + (place - 1);
  }
  const auto found = std::ranges::find_if(*entries, [&](const Entry& entry) { return key.is(entry.key); });
  return found == entries->end() ? nullptr : &*found;
}

// Removes erased entries.
void compact(Entries* entries) noexcept {
  Entry* end = std::remove_if(entries->begin(), entries->end(),
                              [](const Entry& entry) { return ValueAccess::isErased(entry.key); });
  std::destroy(end, entries->end());
  entries->size = static_cast<std::uint32_t>(end - entries->begin());
  entries->erased = 0;
  index(entries);
}

}  // namespace

// For few keys, comparing all pairs is faster than an index.
std::optional<FixedDictionary::Repetition> FixedDictionary::makeIndex() noexcept {
  Entries* entries = ValueAccess::block(dictionary_);
  const auto repetition = [&](std::uint32_t first, std::uint32_t second) {
    return Repetition{*entries->begin()[second].key.ifString(), first, second};
  };
  for (std::uint32_t second = 0; second < entries->size; ++second) {
    if (entries->isIndexed()) {
      const std::uint32_t place = indexEntry(entries, second);
      if (place != 0) return repetition(place - 1, second);
      continue;
    }
    const Sought key(entries->begin()[second].key);
    for (std::uint32_t first = 0; first < second; ++first) {
      if (key.is(entries->begin()[first].key)) return repetition(first, second);
    }
  }
  return std::nullopt;
}

// Delegates so that the destructor runs if the constructor throws.
Dictionary::Dictionary(std::initializer_list<std::pair<std::string_view, Value>> entries) : Dictionary() {
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
  const Entry* entry = findEntry(entries_, Sought(key));
  // Stored keys are well-formed, so a malformed one is sought as it would be stored.
  const bool isMalformed = entry == nullptr && validUtf8Prefix(key) != key.size();
  if (isMalformed) entry = findEntry(entries_, Sought(Value(key)));
  return entry == nullptr ? nullptr : &entry->value;
}

const Value* ValueAccess::find(const Dictionary& dictionary, const Value& key) noexcept {
  const Entry* entry = findEntry(dictionary.entries_, Sought(key));
  return entry == nullptr ? nullptr : &entry->value;
}

const Value* ValueAccess::find(const Dictionary& dictionary, Literal key) noexcept {
  const Entry* entry = findEntry(dictionary.entries_, Sought(key));
  return entry == nullptr ? nullptr : &entry->value;
}

const Value* ValueAccess::find(const Dictionary& dictionary, const Sought& key, std::uint64_t hash) noexcept {
  const Entry* entry = findEntry(dictionary.entries_, key, hash);
  return entry == nullptr ? nullptr : &entry->value;
}

Array ValueAccess::keys(const Dictionary& dictionary) {
  FixedArray keys(dictionary.size());
  for (const Entry& entry : entriesOf(dictionary)) {
    if (!isErased(entry.key)) keys.add(Value(entry.key));
  }
  return std::move(keys).take();
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
  if (value == nullptr) throw std::invalid_argument("cannot store an absent value under \"" + std::string(key) + '"');
  set(key, *value);
}

void Dictionary::setFirst(std::string_view key, Value value) { store(Value(key), std::move(value), true); }

void Dictionary::setOrRemove(std::string_view key, const Value* value) {
  value == nullptr ? static_cast<void>(erase(key)) : set(key, *value);
}

void Dictionary::setAll(const Dictionary& other) {
  const Dictionary source = other;  // NOLINT(performance-unnecessary-copy-initialization): `other` may be `*this`
  if (source.entries_ == nullptr) return;
  if (empty()) {
    *this = source;
    return;
  }
  reserve(size() + source.size());
  for (const Entry& entry : *source.entries_) {
    if (!ValueAccess::isErased(entry.key)) store(entry.key, entry.value, false);
  }
}

bool Dictionary::erase(std::string_view key) {
  const Value stored(key);
  const Sought sought(stored);
  if (findEntry(entries_, sought) == nullptr) return false;
  makeOwn(entries_->size);
  Entry* entry = findEntry(entries_, sought);
  entry->key = ValueAccess::erasedMark();
  entry->value = Value();
  ++entries_->erased;
  if (entries_->erased > entries_->size / 2) compact(entries_);
  return true;
}

void Dictionary::reserve(std::size_t count) {
  if (count > size()) makeOwn(count + (entries_ == nullptr ? 0 : entries_->erased));
}

// Copy on write; keeps the index consistent.
void Dictionary::makeOwn(std::size_t needed) {
  if (detail::makeWritable(entries_, needed)) index(entries_);
}

void Dictionary::store(Value key, Value value, bool first) {
  const Sought sought(key);
  std::optional<std::uint64_t> hash;
  if (entries_ != nullptr && entries_->isIndexed()) hash = sought.hash();
  if (Entry* entry = findEntry(entries_, sought, hash)) {
    if (!entries_->hasOneOwner()) {
      makeOwn(entries_->size);
      entry = findEntry(entries_, sought, hash);
    }
    entry->value = std::move(value);
    return;
  }
  makeOwn(roomForOneMore(entries_));
  addEntry(entries_, std::move(key), std::move(value), hash);
  if (first) {
    std::rotate(entries_->begin(), entries_->end() - 1, entries_->end());
    index(entries_);
  }
}

// Stores a new key.
void Dictionary::append(Value key, Value value) {
  makeOwn(roomForOneMore(entries_));
  addEntry(entries_, std::move(key), std::move(value), std::nullopt);
}

}  // namespace tavik
