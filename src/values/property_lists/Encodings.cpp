// Common parts of the readers and writers of all encodings: messages, and containers under construction.

#include "values/property_lists/Encodings.h"

#include <algorithm>
#include <utility>

#include "values/DateText.h"
#include "values/Text.h"

namespace tavik {

using detail::Entry;
using detail::FixedArray;
using detail::FixedDictionary;

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view kTooDeep = "nested more than 512 levels deep";
static_assert(kPropertyListDepthLimit == 512);

// Whether a key needs no quotes in a path.
bool isPlainKey(std::string_view key) noexcept {
  constexpr std::size_t kLongest = 40;
  return !key.empty() && key.size() <= kLongest && std::ranges::all_of(key, [](char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_' || c == '-';
  });
}

// The first value in `value` that could not be read back; null if there is none. `path` leads to it, in reverse order.
const Value* findUnwritable(const Value& value, int depth, std::vector<PathStep>& path) {
  const Array* array = value.ifArray();
  const Dictionary* dictionary = value.ifDictionary();
  if (array == nullptr && dictionary == nullptr) {
    const std::optional<Date> date = value.ifDate();
    return date && !isInCalendar(*date) ? &value : nullptr;
  }
  if (depth == kPropertyListDepthLimit) return &value;
  PathStep step;
  const auto findIn = [&](const Value& element) {
    const Value* found = findUnwritable(element, depth + 1, path);
    if (found != nullptr) path.push_back(step);
    return found;
  };
  if (array != nullptr) {
    for (; step.index < array->size(); ++step.index) {
      if (const Value* found = findIn(array->begin()[step.index])) return found;
    }
    return nullptr;
  }
  for (auto entry = dictionary->begin(); entry != dictionary->end(); ++entry) {
    step.key = entry.key().ifString();
    if (const Value* found = findIn(entry.value())) return found;
  }
  return nullptr;
}

}  // namespace

std::string_view withoutByteOrderMark(std::string_view document) noexcept {
  return document.substr(document.starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0);
}

std::string message(const Refusal& refusal, const LocationFinder& finder, std::string_view path) {
  const auto locationOf = [&](std::size_t offset) { return LocationFinder(finder).at(offset).text(); };
  std::string text = locationOf(refusal.offset);
  if (!path.empty()) text.append(" (").append(path).append(")");
  text.append(": ").append(refusal.what);
  if (refusal.other) text.append(" ").append(locationOf(*refusal.other));
  return text;
}

std::string whyUnwritable(const Value& value) {
  std::vector<PathStep> path;
  const std::optional<Date> date = findUnwritable(value, 0, path)->ifDate();
  std::ranges::reverse(path);
  std::string text = pathText(path);
  if (!text.empty()) text += ": ";
  return text +
         (date ? "the date " + descriptionOfDate(*date) + " is outside the years 1 to 9999" : std::string(kTooDeep));
}

std::string pathText(std::span<const PathStep> path) {
  constexpr std::size_t kMost = 8;
  std::string text = path.size() > kMost ? "…" : "";
  for (const auto& [key, index] : path.last(std::min(path.size(), kMost))) {
    if (!key) {
      text += '[' + std::to_string(index) + ']';
    } else {
      if (!text.empty()) text += '.';
      text += isPlainKey(*key) ? std::string(*key) : quoted(*key);
    }
  }
  return text;
}

void requireUtf8(std::string_view text, std::size_t offset) {
  const std::size_t valid = validUtf8Prefix(text);
  if (valid != text.size()) throw Refusal{offset + valid, "invalid UTF-8"};
}

std::string quoted(std::string_view text) {
  constexpr std::size_t kLongest = 60;
  std::string result = "\"";
  const std::string wellFormed = replacingIllFormedUtf8(text.substr(0, 4 * (kLongest + 1)));
  std::string_view rest = wellFormed;
  for (std::size_t count = 0; !rest.empty() && count < kLongest; ++count) {
    const char32_t character = takeCharacter(rest);
    const bool isControl = character < 0x20 || (character >= 0x7F && character < 0xA0);
    appendUtf8(result, isControl ? U'?' : character);
  }
  return result += rest.empty() ? "\"" : "...\"";
}

void requireDepth(int depth, std::size_t offset) {
  if (depth > kPropertyListDepthLimit) throw Refusal{offset, std::string(kTooDeep)};
}

void refuseRepeatedKey(std::string_view key, std::size_t second, std::size_t first) {
  throw Refusal{second, "the key " + quoted(key) + " is given twice, first at", first};
}

std::string outOfIntegerRange(std::string_view number) {
  return quoted(number) + " is out of range (signed 64-bit, " +
         (number.starts_with('-') ? "at least -9223372036854775808)" : "at most 9223372036854775807)");
}

Array OpenContainers::closeArray(std::size_t begin, detail::SlabCutter* slabs) {
  const std::span<Value> elements = std::span(elements_).subspan(begin);
  if (elements.empty()) return {};
  FixedArray array(elements.size(), slabs);
  for (Value& element : elements) array.add(std::move(element));
  elements_.resize(begin);
  return std::move(array).take();
}

Dictionary OpenContainers::closeDictionary(std::size_t begin, detail::SlabCutter* slabs) {
  const std::span<Entry> entries = std::span(entries_).subspan(begin);
  if (entries.empty()) return {};
  FixedDictionary dictionary(entries.size(), slabs);
  for (auto& [key, value] : entries) dictionary.add(std::move(key), std::move(value));
  if (const auto repeated = dictionary.makeIndex()) {
    refuseRepeatedKey(repeated->key, keyOffsets_[begin + repeated->second], keyOffsets_[begin + repeated->first]);
  }
  dropDictionary(begin);
  return std::move(dictionary).take();
}

}  // namespace tavik
