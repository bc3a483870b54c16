#include "kernel_private/EntryList.h"

#include <bit>
#include <utility>

#include "values/DictionaryKey.h"
#include "values/ValueAccess.h"

namespace tavik {

using detail::Sought;
using detail::ValueAccess;

EntryList::EntryList(std::span<const LocalLayer> layers) {
  std::size_t count = 0;
  for (const LocalLayer& layer : layers) {
    if (layer.layer != LocalEntry::Layer::kSet) count += layer.size;
  }
  reserve(count);
  for (const LocalLayer& layer : layers) {
    if (layer.layer == LocalEntry::Layer::kSet) {
      erase(layer.set);
      reserve(layer.size);
    }
    for (Dictionary::Iterator item = layer.first; item != layer.last; ++item) set(item.key(), item.value());
  }
}

void EntryList::reserve(std::size_t count) {
  const std::size_t needed = entries_.size() + count;
  if (2 * needed <= slots_.size()) return;
  entries_.reserve(needed);
  slots_.assign(std::bit_ceil(2 * needed), 0);
  for (std::uint32_t position = 0; position < entries_.size(); ++position) {
    const Entry& entry = entries_[position];
    if (entry.name != nullptr) slotFor(Sought(*entry.name), entry.hash) = position + 1;
  }
}

std::size_t EntryList::set(const Value& name, const Value& value) {
  const Sought key(name);
  const std::uint64_t hash = key.hash();
  std::uint32_t& slot = slotFor(key, hash);
  if (slot == 0) {
    entries_.push_back({&name, &value, hash});
    slot = static_cast<std::uint32_t>(entries_.size());
  } else {
    entries_[slot - 1].value = &value;
  }
  return slot - 1;
}

std::size_t EntryList::erase(std::string_view name) noexcept {
  const Sought key(name);
  const std::size_t position = slotFor(key, key.hash()) - 1;
  entries_[position].name = nullptr;
  erases_ = true;
  return position;
}

Dictionary EntryList::dictionary() const {
  Dictionary dictionary;
  dictionary.reserve(entries_.size());
  for (const Entry& entry : entries_) {
    if (entry.name != nullptr) ValueAccess::addNew(dictionary, *entry.name, *entry.value);
  }
  return dictionary;
}

std::vector<EntryList::Entry> EntryList::take() && {
  if (erases_) std::erase_if(entries_, [](const Entry& entry) { return entry.name == nullptr; });
  return std::move(entries_);
}

std::uint32_t& EntryList::slotFor(const Sought& name, std::uint64_t hash) noexcept {
  std::size_t slot = hash & (slots_.size() - 1);
  while (slots_[slot] != 0) {
    const Entry& entry = entries_[slots_[slot] - 1];
    if (entry.name != nullptr && entry.hash == hash && name.is(*entry.name)) break;
    slot = (slot + 1) & (slots_.size() - 1);
  }
  return slots_[slot];
}

}  // namespace tavik
