#include "test/Candidates.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>

#include "test/Variations.h"

namespace tavik::tool {
namespace {

using Hints = std::vector<Value>;
using Visit = std::function<bool(const Value&)>;

constexpr std::size_t kMostParts = 256;
constexpr std::size_t kLongestText = 64;  ///< texts beyond this length are changed near their ends only

bool anyVariation(const Value& value, const Visit& visit) { return std::ranges::any_of(variationsOf(value), visit); }

/// The texts among the hints and their neighbors; numbers in digits.
std::vector<std::string> textsOf(const Hints& hints) {
  std::vector<std::string> texts;
  for (const Value& hint : hints) {
    if (!hint.isString() && hint.kind() != Kind::kNumber) continue;
    const Value text(description(&hint));
    texts.emplace_back(*text.ifString());
    for (const Value& other : variationsOf(text)) texts.emplace_back(*other.ifString());
  }
  return texts;
}

bool anyLetterChange(const std::string& text, const Visit& visit) {
  for (std::size_t back = 0; back < text.size(); ++back) {
    const std::size_t position = text.size() - 1 - back;
    if (back >= kLongestText / 2 && position >= kLongestText / 2) continue;
    const std::string changed = withOtherLetter(text, position);
    if (changed != text && visit(Value(changed))) return true;
  }
  return false;
}

bool isLetter(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }

/// The text with its last letter in the other case.
bool anyCaseChange(std::string text, const Visit& visit) {
  const auto last = std::find_if(text.rbegin(), text.rend(), isLetter);
  if (last == text.rend()) return false;
  *last = static_cast<char>(static_cast<unsigned char>(*last) ^ 0x20U);
  return visit(Value(text));
}

/// The other text in place of, before, after and inside of the text.
bool anyMixture(const std::string& text, const std::string& other, const Visit& visit) {
  if (visit(Value(other)) || visit(Value(other + text)) || visit(Value(text + other))) return true;
  if (other.size() > text.size()) return false;
  for (std::size_t at = 0; at + other.size() <= text.size() && at < kLongestText; ++at) {
    std::string mixed = text;
    if (visit(Value(mixed.replace(at, other.size(), other)))) return true;
  }
  return false;
}

bool anyText(const Value& current, const Hints& hints, const Visit& visit) {
  const std::string text(*current.ifString());
  if (anyLetterChange(text, visit)) return true;
  if (anyVariation(current, visit) || visit(Value("x" + text)) || anyCaseChange(text, visit)) return true;
  for (const std::string& other : textsOf(hints)) {
    if (anyMixture(text, other, visit)) return true;
  }
  return visit(Value(""));
}

/// Numbers next to a bound, in its own unit and as bytes for a bound in gigabytes or mebibytes; the unit that gives
/// numbers like `current` first.
bool anyNumberNear(const Value& bound, double current, const Visit& visit) {
  constexpr std::int64_t kGigabyte = 1'000'000'000;
  constexpr std::int64_t kMebibyte = 1'048'576;
  const double real = doubleValue(&bound);
  const std::int64_t number = longValue(&bound);
  const bool isWhole = static_cast<double>(number) == real;
  if (!isWhole && visit(Value(real))) return true;
  std::array<std::int64_t, 3> units = {1, kGigabyte, kMebibyte};
  std::ranges::stable_sort(units, {},
                           [&](std::int64_t unit) { return std::abs(real * static_cast<double>(unit) - current); });
  for (const std::int64_t unit : units) {
    if (number > INT64_MAX / unit - 2 || number < INT64_MIN / unit + 2) continue;
    for (const std::int64_t step : {0, 1, -1, 2, -2}) {
      if (visit(Value((number + step) * unit))) return true;
    }
  }
  return false;
}

bool anyNumber(const Value& current, const Hints& hints, const Visit& visit) {
  if (anyVariation(current, visit)) return true;
  return std::ranges::any_of(hints, [&](const Value& hint) {
    return (hint.isString() || hint.kind() == Kind::kNumber) && anyNumberNear(hint, doubleValue(&current), visit);
  });
}

bool anyByteChange(const Data& current, std::uint8_t bits, const Visit& visit) {
  std::vector<std::uint8_t> bytes(current.bytes().begin(), current.bytes().end());
  for (std::uint8_t& byte : bytes) {
    byte ^= bits;
    if (visit(Data(bytes))) return true;
    byte ^= bits;
  }
  return false;
}

/// The bytes that a text names in hexadecimal digits; other characters are skipped.
Data bytesIn(std::string text) {
  std::erase_if(text, [](unsigned char c) { return std::isxdigit(c) == 0; });
  std::vector<std::uint8_t> bytes(text.size() / 2);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    std::from_chars(text.data() + 2 * i, text.data() + 2 * i + 2, bytes[i], 16);
  }
  return Data(bytes);
}

bool anyData(const Value& current, const Hints& hints, const Visit& visit) {
  const Data& data = *current.ifData();
  if (anyByteChange(data, 1, visit)) return true;
  for (const Value& hint : hints) {
    if (hint.ifData() != nullptr && visit(hint)) return true;
    if (!hint.isString()) continue;
    const Data named = bytesIn(std::string(*hint.ifString()));
    if (visit(named) || anyByteChange(named, 1, visit)) return true;
  }
  std::vector<std::uint8_t> bytes(data.size(), 0);
  if (visit(Data(bytes))) return true;
  for (const unsigned bit : {2U, 4U, 8U, 16U, 32U, 64U, 128U}) {
    if (data.size() <= kLongestText && anyByteChange(data, static_cast<std::uint8_t>(bit), visit)) return true;
  }
  bytes.push_back(1);
  return visit(Data(bytes));
}

bool anyArray(const Value& current, const Hints& hints, const Visit& visit) {
  if (anyVariation(current, visit)) return true;
  for (const Value& hint : hints) {
    std::vector<Value> elements = variationsOf(hint);
    elements.insert(elements.begin(), hint);
    for (const Value& element : elements) {
      Array longer = *current.ifArray();
      longer.append(element);
      if (visit(Value(Array::of(element))) || visit(longer)) return true;
    }
  }
  return false;
}

bool anyDictionary(const Value& current, const Hints& hints, const Visit& visit) {
  for (const std::string& name : textsOf(hints)) {
    Dictionary longer = *current.ifDictionary();
    longer.set(name, Value("x"));
    if (visit(longer)) return true;
  }
  return anyVariation(current, visit);
}

bool anyOther(const Value& current, const Hints& /*hints*/, const Visit& visit) { return anyVariation(current, visit); }

using Candidates = bool (*)(const Value& current, const Hints& hints, const Visit& visit);
constexpr Candidates kCandidates[] = {anyText,  anyNumber, anyOther,     anyData,
                                      anyOther, anyArray,  anyDictionary};  // by kind

}  // namespace

void addParts(const Value& value, std::vector<Value>& parts) {
  if (parts.size() >= kMostParts) return;
  if (const Array* const array = value.ifArray()) {
    for (const Value& element : *array) addParts(element, parts);
  } else if (const Dictionary* const dictionary = value.ifDictionary()) {
    for (const auto [key, entry] : *dictionary) {
      if (parts.size() >= kMostParts) return;
      parts.emplace_back(key);
      addParts(entry, parts);
    }
  } else if (std::ranges::find(parts, value) == parts.end()) {
    parts.push_back(value);
  }
}

bool anyCandidate(const Value* current, const std::vector<Value>& hints, const Visit& visit) {
  if (current != nullptr && kCandidates[static_cast<std::size_t>(current->kind())](*current, hints, visit)) return true;
  for (const Value& hint : hints) {
    const bool isNew = current == nullptr || hint.kind() != current->kind();
    if (!isNew) continue;
    if (visit(hint) || anyVariation(hint, visit)) return true;
    if (hint.kind() == Kind::kNumber && anyNumberNear(hint, 0, visit)) return true;
  }
  return current == nullptr && visit(Value("present"));
}

}  // namespace tavik::tool
