// Templates of dictionaries.

#include "values/DictionaryTemplate.h"

namespace tavik::detail {

namespace {

constexpr std::size_t kWord = sizeof(std::uint64_t);

constexpr std::size_t wordsFor(std::size_t bytes) { return (bytes + kWord - 1) / kWord; }

}  // namespace

DictionaryTemplate::DictionaryTemplate(const Dictionary& dictionary)
    : size_(static_cast<std::uint32_t>(dictionary.size())) {
  const std::span<const Entry> entries = entriesOf(dictionary);
  image_.resize(wordsFor(sizeof(Entries) + entries.size_bytes()));
  std::memcpy(image_.data() + wordsFor(sizeof(Entries)), entries.data(), entries.size_bytes());
  for (std::size_t i = 0; i < entries.size(); ++i) {
    const Value& value = entries[i].value;
    if (!ValueAccess::isLong(value)) continue;
    const std::string_view text = *value.ifString();
    const std::size_t words = wordsFor(sizeof(Bytes) + text.size());
    if (!SlabCutter::takes(words * kWord) || (image_.size() + words) * kWord > SlabCutter::kLargestCut) {
      shared_.push_back(value);
      continue;
    }
    const std::size_t pointer = wordsFor(sizeof(Entries) + i * sizeof(Entry) + sizeof(Value));
    texts_.push_back({text.size(), static_cast<std::uint32_t>(image_.size()), static_cast<std::uint32_t>(pointer)});
    image_.resize(image_.size() + words);
    std::memcpy(image_.data() + texts_.back().block + wordsFor(sizeof(Bytes)), text.data(), text.size());
  }
}

}  // namespace tavik::detail
