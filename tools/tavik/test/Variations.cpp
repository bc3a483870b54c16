#include "test/Variations.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <limits>
#include <optional>
#include <span>

#include "io/Json.h"
#include "text/Text.h"

namespace tavik::tool {
namespace {

using ReadAs = ValueFacts::ReadAs;
using Visit = std::function<void(Value)>;

bool isLetterOrDigit(char c) { return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }

/// Stays within its range of letters and, for a hexadecimal digit, within these.
char neighborOf(char c) {
  const bool isLast = c == '9' || c == 'F' || c == 'f' || c == 'Z' || c == 'z';
  return static_cast<char>(isLast ? c - 1 : c + 1);
}

std::optional<std::int64_t> integerIn(std::string_view text) {
  const Value value(text);
  const std::int64_t number = longValue(&value);
  return std::to_string(number) == text ? std::optional(number) : std::nullopt;
}

bool readsNumber(const ValueFacts* facts) {
  return facts != nullptr && facts->readAs != ReadAs::kItself && facts->readAs != ReadAs::kBoolean;
}

void steps(std::int64_t number, const std::function<void(std::int64_t)>& visit) {
  if (number < std::numeric_limits<std::int64_t>::max()) visit(number + 1);
  if (number > std::numeric_limits<std::int64_t>::min()) visit(number - 1);
}

void ofString(const Value& value, const ValueFacts* facts, const Visit& visit) {
  const std::string text(*value.ifString());
  if (const auto number = integerIn(text); number && readsNumber(facts)) {
    return steps(*number, [&](std::int64_t other) { visit(Value(std::to_string(other))); });
  }
  const auto last = std::find_if(text.rbegin(), text.rend(), isLetterOrDigit);
  const auto first = std::ranges::find_if(text, isLetterOrDigit);
  if (last != text.rend()) {
    const auto position = static_cast<std::size_t>(text.rend() - last - 1);
    visit(Value(withOtherLetter(text, position)));
    const auto begin = static_cast<std::size_t>(first - text.begin());
    if (begin != position) visit(Value(withOtherLetter(text, begin)));
  }
  if (facts != nullptr && facts->characters != 0) return;  // a code: other lengths never match
  visit(Value(text + (last == text.rend() ? 'a' : neighborOf(*last))));
  if (text.empty()) return;
  std::string_view rest = text;
  takeCharacter(rest);
  if (rest.empty()) return;
  std::size_t end = text.size() - 1;
  while (end > 0 && atCharacter(text, end) != end) --end;
  visit(Value(text.substr(0, end)));
  visit(Value(rest));
}

void ofNumber(const Value& value, const ValueFacts* /*facts*/, const Visit& visit) {
  if (const auto integer = value.ifInteger()) {
    return steps(*integer, [&](std::int64_t other) { visit(Value(other)); });
  }
  visit(Value(*value.ifReal() + 1));
  visit(Value(*value.ifReal() - 1));
}

void ofBoolean(const Value& value, const ValueFacts* /*facts*/, const Visit& visit) {
  visit(Value(!*value.ifBoolean()));
}

void ofData(const Value& value, const ValueFacts* /*facts*/, const Visit& visit) {
  const auto bytes = value.ifData()->bytes();
  std::vector<std::uint8_t> changed(bytes.begin(), bytes.end());
  for (std::size_t i = 0; i < std::min(changed.size(), kMostVaried); ++i) {
    changed[i] ^= 1U;
    visit(Data(changed));
    changed[i] ^= 1U;
  }
  changed.push_back(0);
  visit(Data(changed));
}

void ofDate(const Value& value, const ValueFacts* /*facts*/, const Visit& visit) {
  constexpr double kDay = 86400;
  visit(Date::sinceReference(value.ifDate()->secondsSinceReference() + kDay));
}

Array without(const Array& array, std::size_t index) {
  Array rest;
  rest.reserve(array.size());
  for (std::size_t i = 0; i < array.size(); ++i) {
    if (i != index) rest.append(array.at(i));
  }
  return rest;
}

/// The first variation that the array does not contain.
std::optional<Value> newElement(const Array& array, const Value& element, const ValueFacts* facts) {
  const std::vector<Value> others = variationsOf(element, facts);
  const auto other = std::ranges::find_if(others, [&](const Value& one) { return !array.contains(one); });
  return other == others.end() ? std::nullopt : std::optional(*other);
}

void ofArray(const Value& value, const ValueFacts* facts, const Visit& visit) {
  const Array& array = *value.ifArray();
  const ValueFacts* const elementFacts = facts == nullptr ? nullptr : facts->elements;
  for (std::size_t i = 0; i < std::min(array.size(), kMostVaried); ++i) {
    const std::optional<Value> other = newElement(array, array.at(i), elementFacts);
    if (std::ranges::count(array, array.at(i)) > 1) continue;  // another one has the same effect
    visit(without(array, i));
    if (!other) continue;
    Array changed = array;
    changed.set(i, *other);
    visit(changed);
    Array longer = array;
    longer.append(*other);
    visit(longer);
  }
}

/// An entry under another key, at the same position.
Dictionary renamed(const Dictionary& dictionary, std::string_view from, std::string_view to) {
  Dictionary renamed;
  renamed.reserve(dictionary.size());
  for (const auto [key, value] : dictionary) renamed.set(key == from ? to : key, value);
  return renamed;
}

void ofEntry(const Dictionary& dictionary, std::string_view key, const ValueFacts* facts, const Visit& visit) {
  Dictionary rest = dictionary;
  rest.erase(key);
  visit(rest);
  forEachVariation(*dictionary.find(key), facts, [&](const Value& other) {
    Dictionary changed = dictionary;
    changed.set(key, other);
    visit(changed);
  });
}

void ofDictionary(const Value& value, const ValueFacts* facts, const Visit& visit) {
  const Dictionary& dictionary = *value.ifDictionary();
  const std::span<const EntryFacts> fixed = facts == nullptr ? std::span<const EntryFacts>() : facts->entries;
  for (const EntryFacts& entry : fixed) {
    if (dictionary.contains(entry.key)) ofEntry(dictionary, entry.key, entry.value, visit);
  }
  if (!fixed.empty()) return;  // other keys are not read
  std::size_t varied = 0;
  for (const auto [key, entry] : dictionary) {
    if (varied++ == kMostVaried) return;
    ofEntry(dictionary, key, facts == nullptr ? nullptr : facts->tableEntries, visit);
    if (key.empty()) continue;
    const std::string other = withOtherLetter(key, key.size() - 1);
    if (!dictionary.contains(other)) visit(renamed(dictionary, key, other));
  }
}

using Steps = void (*)(const Value& value, const ValueFacts* facts, const Visit& visit);
constexpr Steps kSteps[] = {ofString, ofNumber, ofBoolean, ofData, ofDate, ofArray, ofDictionary};  // by kind

std::string quoted(std::string_view text) { return shortJson(Value(text)); }

/// The number of elements at the beginning that are the same.
std::size_t commonBeginning(const Array& before, const Array& after) {
  return static_cast<std::size_t>(std::ranges::mismatch(before, after).in1 - before.begin());
}

/// Whether one element was removed, added or changed.
bool isOneStep(const Array& before, const Array& after) {
  const std::size_t longer = std::max(before.size(), after.size());
  std::size_t same = commonBeginning(before, after);
  for (std::size_t i = 1; same < std::min(before.size(), after.size()); ++i, ++same) {
    if (before.at(before.size() - i) != after.at(after.size() - i)) break;
  }
  return longer - same == 1;
}

std::string arrayChange(const Array& before, const Array& after) {
  const std::size_t i = commonBeginning(before, after);
  if (after.size() < before.size()) return "without " + shortJson(before.at(i));
  if (after.size() > before.size()) return "with " + shortJson(after.at(i));
  return changeText(before.at(i), after.at(i));
}

std::string dictionaryChange(const Dictionary& before, const Dictionary& after) {
  std::string_view added;
  for (const auto [key, value] : after) {
    if (!before.contains(key)) added = key;
  }
  for (const auto [key, value] : before) {
    const Value* const other = after.find(key);
    if (other == nullptr) {
      return added.empty() ? "without " + quoted(key) : fmt::format("{} instead of {}", quoted(added), quoted(key));
    }
    if (*other != value) return quoted(key) + ": " + changeText(value, *other);
  }
  return "with " + quoted(added);
}

}  // namespace

void forEachVariation(const Value& value, const ValueFacts* facts, const Visit& visit) {
  if (facts != nullptr && !facts->kinds.contains(value.kind())) facts = nullptr;
  kSteps[static_cast<std::size_t>(value.kind())](value, facts, [&](Value other) {
    if (facts == nullptr || !readsTheSame(*facts, value, other)) visit(std::move(other));
  });
}

std::vector<Value> variationsOf(const Value& value, const ValueFacts* facts) {
  std::vector<Value> variations;
  forEachVariation(value, facts, [&](Value other) { variations.push_back(std::move(other)); });
  return variations;
}

std::string withOtherLetter(std::string_view text, std::size_t position) {
  std::string other(text);
  if (isLetterOrDigit(other[position])) other[position] = neighborOf(other[position]);
  return other;
}

bool readsTheSame(const ValueFacts& facts, const Value& first, const Value& second) {
  switch (facts.readAs) {
    case ReadAs::kInteger:
      return integerValue(&first) == integerValue(&second);
    case ReadAs::kLong:
      return longValue(&first) == longValue(&second);
    case ReadAs::kReal:
      return doubleValue(&first) == doubleValue(&second);
    case ReadAs::kBoolean:
      return booleanValue(&first) == booleanValue(&second);
    case ReadAs::kItself:
      break;
  }
  return first == second;
}

std::string changeText(const Value& before, const Value& after) {
  const Array* const array = before.ifArray();
  const Array* const otherArray = after.ifArray();
  if (array != nullptr && otherArray != nullptr && isOneStep(*array, *otherArray))
    return arrayChange(*array, *otherArray);
  const Dictionary* const dictionary = before.ifDictionary();
  const Dictionary* const otherDictionary = after.ifDictionary();
  if (dictionary != nullptr && otherDictionary != nullptr) return dictionaryChange(*dictionary, *otherDictionary);
  return fmt::format("{} instead of {}", shortJson(after), shortJson(before));
}

std::string shortJson(const Value& value, std::size_t width) { return shortened(visible(toJson(value)), width); }

}  // namespace tavik::tool
