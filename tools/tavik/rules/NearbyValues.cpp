#include "rules/NearbyValues.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "text/Text.h"

namespace tavik::tool {
namespace {

using ReadAs = ValueFacts::ReadAs;
using Visit = ValueVisitor;

constexpr std::size_t kMostVaried = 64;  ///< elements of lists and tables, bytes, and letters of texts

/// A value with what its steps depend on.
struct Start {
  const Value& value;
  const ValueFacts* facts;
  bool isDense;
};

bool isLetterOrDigit(char c) { return isAsciiLetter(c) || isDigit(c); }

/// Stays within its range of letters and, for a hexadecimal digit, within these.
char neighborOf(char c) {
  const bool isLast = c == '9' || c == 'F' || c == 'f' || c == 'Z' || c == 'z';
  return static_cast<char>(isLast ? c - 1 : c + 1);
}

/// The letter or digit at a position replaced by its neighbor; the text itself if it is neither.
std::string withOtherLetter(std::string_view text, std::size_t position) {
  std::string other(text);
  if (isLetterOrDigit(other[position])) other[position] = neighborOf(other[position]);
  return other;
}

/// The positions of the letters to change: the last and the first one, or all but those in the middle of a long text.
std::vector<std::size_t> letterPositions(std::string_view text, bool isDense) {
  std::vector<std::size_t> positions;
  for (std::size_t position = text.size(); position-- > 0;) {
    const bool isNearEnd = position < kMostVaried / 2 || text.size() - position <= kMostVaried / 2;
    if (isLetterOrDigit(text[position]) && (!isDense || isNearEnd)) positions.push_back(position);
  }
  if (!isDense && positions.size() > 2) positions = {positions.front(), positions.back()};
  return positions;
}

bool anyLength(const std::string& text, char added, const Visit& visit) {
  if (visit(Value(text + added))) return true;
  std::string_view rest = text;
  if (!rest.empty()) takeCharacter(rest);
  if (rest.empty()) return false;
  std::size_t end = text.size() - 1;
  while (end > 0 && atCharacter(text, end) != end) --end;
  return visit(Value(text.substr(0, end))) || visit(Value(rest));
}

/// The last letter in the other case, an added letter at the beginning, and no text.
bool anyExtreme(std::string text, const Visit& visit) {
  if (visit(Value("x" + text)) || visit(Value(""))) return true;
  const auto last = std::find_if(text.rbegin(), text.rend(), isAsciiLetter);
  if (last == text.rend()) return false;
  *last = static_cast<char>(static_cast<unsigned char>(*last) ^ 0x20U);
  return visit(Value(text));
}

bool anyStep(std::int64_t number, const auto& visit) {
  using Limits = std::numeric_limits<std::int64_t>;
  return (number < Limits::max() && visit(number + 1)) || (number > Limits::min() && visit(number - 1));
}

bool ofString(const Start& start, const Visit& visit) {
  const std::string text(*start.value.ifString());
  const ReadAs readAs = start.facts == nullptr ? ReadAs::kItself : start.facts->readAs;
  const auto number = numberIn<std::int64_t>(text);
  if (number && readAs != ReadAs::kItself && readAs != ReadAs::kBoolean)
    return anyStep(*number, [&](std::int64_t other) { return visit(Value(std::to_string(other))); });
  const std::vector<std::size_t> positions = letterPositions(text, start.isDense);
  for (const std::size_t position : positions) {
    if (visit(Value(withOtherLetter(text, position)))) return true;
  }
  if (start.facts != nullptr && start.facts->characters != 0) return false;  // a code: other lengths never match
  return anyLength(text, positions.empty() ? 'a' : neighborOf(text[positions.front()]), visit) ||
         (start.isDense && anyExtreme(text, visit));
}

bool ofNumber(const Start& start, const Visit& visit) {
  if (const auto integer = start.value.ifInteger())
    return anyStep(*integer, [&](std::int64_t other) { return visit(Value(other)); });
  return visit(Value(*start.value.ifReal() + 1)) || visit(Value(*start.value.ifReal() - 1));
}

bool ofBoolean(const Start& start, const Visit& visit) { return visit(Value(!*start.value.ifBoolean())); }

bool ofData(const Start& start, const Visit& visit) {
  const auto original = start.value.ifData()->bytes();
  std::vector<std::uint8_t> bytes(original.begin(), original.end());
  const bool takesAllBits = start.isDense && bytes.size() <= kMostVaried;
  for (unsigned bit = 1; bit <= (takesAllBits ? 0x80U : 1U); bit <<= 1U) {
    for (std::size_t i = 0; i < (start.isDense ? bytes.size() : std::min(bytes.size(), kMostVaried)); ++i) {
      bytes[i] ^= static_cast<std::uint8_t>(bit);
      if (visit(Data(bytes))) return true;
      bytes[i] = original[i];
    }
  }
  if (start.isDense && visit(Data(std::vector<std::uint8_t>(bytes.size(), 0)))) return true;
  bytes.push_back(0);
  return visit(Data(bytes));
}

bool ofDate(const Start& start, const Visit& visit) {
  constexpr double kDay = 86400;
  return visit(Date::sinceReference(start.value.ifDate()->secondsSinceReference() + kDay));
}

Array without(const Array& array, std::size_t index) {
  Array rest;
  rest.reserve(array.size());
  for (std::size_t i = 0; i < array.size(); ++i) {
    if (i != index) rest.append(array.at(i));
  }
  return rest;
}

Array with(Array array, const Value& element) {
  array.append(element);
  return array;
}

bool ofArray(const Start& start, const Visit& visit) {
  const Array& array = *start.value.ifArray();
  const ValueFacts* const elementFacts = start.facts == nullptr ? nullptr : start.facts->elements;
  for (std::size_t i = 0; i < std::min(array.size(), kMostVaried); ++i) {
    if (std::ranges::count(array, array.at(i)) > 1) continue;  // another one has the same effect
    if (visit(without(array, i))) return true;
    bool stops = false;
    anyNearby(array.at(i), elementFacts, Density::kSparse, [&](const Value& other) {
      if (array.contains(other)) return false;
      Array changed = array;
      changed.set(i, other);
      stops = visit(changed) || visit(with(array, other));
      return true;
    });
    if (stops) return true;
  }
  return false;
}

/// An entry under another key, at the same position.
Dictionary renamed(const Dictionary& dictionary, std::string_view from, std::string_view to) {
  Dictionary renamed;
  renamed.reserve(dictionary.size());
  for (const auto [key, value] : dictionary) renamed.set(key == from ? to : key, value);
  return renamed;
}

Dictionary with(Dictionary dictionary, std::string_view key, const Value& value) {
  dictionary.set(key, value);
  return dictionary;
}

bool ofEntry(const Dictionary& dictionary, std::string_view key, const ValueFacts* facts, const Visit& visit) {
  Dictionary rest = dictionary;
  rest.erase(key);
  return visit(rest) || anyNearby(*dictionary.find(key), facts, Density::kSparse,
                                  [&](const Value& other) { return visit(with(dictionary, key, other)); });
}

bool ofDictionary(const Start& start, const Visit& visit) {
  const Dictionary& dictionary = *start.value.ifDictionary();
  if (start.facts != nullptr && !start.facts->entries.empty()) {  // other keys are not read
    return std::ranges::any_of(start.facts->entries, [&](const EntryFacts& entry) {
      return dictionary.contains(entry.key) && ofEntry(dictionary, entry.key, entry.value, visit);
    });
  }
  std::size_t varied = 0;
  for (const auto [key, entry] : dictionary) {
    if (varied++ == kMostVaried) return false;
    if (ofEntry(dictionary, key, start.facts == nullptr ? nullptr : start.facts->tableEntries, visit)) return true;
    if (key.empty()) continue;
    const std::string other = withOtherLetter(key, key.size() - 1);
    if (!dictionary.contains(other) && visit(renamed(dictionary, key, other))) return true;
  }
  return false;
}

using Steps = bool (*)(const Start& start, const Visit& visit);
constexpr Steps kSteps[] = {ofString, ofNumber, ofBoolean, ofData, ofDate, ofArray, ofDictionary};  // by kind

bool isTextual(const Value& value) { return value.isString() || value.kind() == Kind::kNumber; }

/// The other text in place of, before, after and inside of the text.
bool anyText(const std::string& text, const std::string& other, const Visit& visit) {
  if (visit(Value(other)) || visit(Value(other + text)) || visit(Value(text + other))) return true;
  for (std::size_t at = 0; at + other.size() <= text.size() && at < kMostVaried; ++at) {
    std::string mixed = text;
    if (visit(Value(mixed.replace(at, other.size(), other)))) return true;
  }
  return false;
}

/// Numbers near a bound, as it is and in bytes if it is in gigabytes or mebibytes; those like `current` first.
bool anyNumber(double current, const Value& bound, const Visit& visit) {
  const double real = doubleValue(&bound);
  std::array<double, 3> units = {1, kGigabyte, kMebibyte};
  std::ranges::stable_sort(units, {}, [&](double unit) { return std::abs(real * unit - current); });
  const auto isFound = [&](double unit) {
    return std::ranges::any_of(numbersNear(real * unit, unit), visit, numberValue);
  };
  return std::ranges::any_of(units, isFound) || visit(Value(longValue(&bound)));
}

bool anyData(const Value& other, const Visit& visit) {
  const auto data = other.isString() ? describedData(*other.ifString()) : std::nullopt;
  return data && (visit(*data) || anyNearby(*data, nullptr, Density::kSparse, visit));
}

}  // namespace

bool anyNearby(const Value& value, const ValueFacts* facts, Density density, const ValueVisitor& visit) {
  if (facts != nullptr && !facts->kinds.contains(value.kind())) facts = nullptr;
  const Steps steps = kSteps[static_cast<std::size_t>(value.kind())];
  return steps({value, facts, density == Density::kDense}, [&](const Value& other) {
    return (facts == nullptr || !readsTheSame(*facts, value, other)) && visit(other);
  });
}

bool anyMixture(const Value* current, const Value& other, const ValueVisitor& visit) {
  const bool isNew = current == nullptr || current->kind() != other.kind();
  if (current == nullptr) return visit(other) || (other.kind() == Kind::kNumber && anyNumber(0, other, visit));
  if (current->isString() && isTextual(other))
    return anyText(std::string(*current->ifString()), description(&other), visit) || (isNew && visit(other));
  if (current->kind() == Kind::kNumber && isTextual(other))
    return anyNumber(doubleValue(current), other, visit) || (isNew && visit(other));
  if (current->ifArray() != nullptr && visit(Value(Array::of(other)))) return true;
  if (current->ifArray() != nullptr && visit(with(*current->ifArray(), other))) return true;
  if (current->ifDictionary() != nullptr && isTextual(other) &&
      visit(with(*current->ifDictionary(), description(&other), Value("x"))))
    return true;
  return (current->ifData() != nullptr && anyData(other, visit)) || visit(other);
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

std::array<double, 7> numbersNear(double bound, double unit) {
  return {bound, bound + unit, bound - unit, bound + 2 * unit, bound - 2 * unit, bound + unit / 2, bound - unit / 2};
}

Value numberValue(double number) {
  const bool isInteger = number == std::trunc(number) && std::abs(number) < 0x1p63;
  return isInteger ? Value(static_cast<std::int64_t>(number)) : Value(number);
}

std::optional<Data> describedData(std::string_view text) {
  std::string digits(text);
  std::erase_if(digits,
                [](char character) { return std::string_view("<> ").find(character) != std::string_view::npos; });
  std::vector<std::uint8_t> bytes(digits.size() / 2);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const char* const pair = digits.data() + 2 * i;
    if (std::from_chars(pair, pair + 2, bytes[i], 16).ptr != pair + 2) return std::nullopt;
  }
  return digits.size() % 2 == 0 ? std::optional(Data(bytes)) : std::nullopt;
}

}  // namespace tavik::tool
