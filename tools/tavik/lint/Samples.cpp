#include "lint/Samples.h"

#include <tavik/PredicateFacts.h>

#include <algorithm>
#include <cmath>
#include <set>

#include "rules/NearbyValues.h"
#include "text/Text.h"

namespace tavik::tool::lint {
namespace {

constexpr std::size_t kMostPatterns = 12;     // of one sort
constexpr std::size_t kMostValues = 200;      // in a list
constexpr std::size_t kLongestPattern = 100;  // in bytes
constexpr std::size_t kMostSamples = 20'000;
constexpr std::size_t kBoardCodeStart = 11;

bool isPlain(std::string_view text) {
  return text.size() <= kLongestPattern &&
         std::ranges::all_of(text, [](unsigned char character) { return character < 0x80U; });
}

void append(auto& list, const auto& more) { list.insert(list.end(), more.begin(), more.end()); }

// ---- What each predicate says -------------------------------------------------------------------------------------

using Patternmaker = void (*)(const Value& value, Patterns& patterns);

void addText(std::vector<std::string>& list, const Value& value, Patterns& patterns) {
  patterns.comparesTexts = true;
  const auto text = value.ifString();
  if (!text || !isPlain(*text)) {
    patterns.isUnknown = true;
  } else {
    list.emplace_back(*text);
  }
}

template <std::vector<std::string> Patterns::*kList>
void text(const Value& value, Patterns& patterns) {
  addText(patterns.*kList, value, patterns);
}

template <std::vector<std::string> Patterns::*kList>
void textsOf(const Value& value, Patterns& patterns) {
  const Array* texts = value.ifArray();
  patterns.isUnknown = patterns.isUnknown || texts == nullptr || texts->size() > kMostPatterns;
  if (patterns.isUnknown) return;
  for (const Value& each : *texts) addText(patterns.*kList, each, patterns);
}

/// Codes are compared in any case.
template <std::vector<std::string> Patterns::*kList, Patternmaker kMake>
void codes(const Value& value, Patterns& patterns) {
  Patterns made;
  kMake(value, made);
  for (const std::string& code : std::vector<std::string>(made.*kList)) {
    append(made.*kList, std::vector{lowerCase(code), upperCase(code)});
  }
  patterns.add(made);
}

void anyText(const Value& /*value*/, Patterns& patterns) { patterns.comparesTexts = true; }

/// Every text that the expected one begins with.
void beginningsOf(const Value& value, Patterns& patterns) {
  patterns.comparesTexts = true;
  const auto text = value.ifString();
  patterns.isUnknown = patterns.isUnknown || !text || !isPlain(*text);
  if (patterns.isUnknown) return;
  for (std::size_t length = 0; length <= text->size(); ++length) patterns.values.emplace_back(text->substr(0, length));
}

/// An empty list of values passes, too, but no device has one on purpose.
void elements(const Value& value, Patterns& patterns) {
  const Array* list = value.ifArray();
  patterns.isUnknown = patterns.isUnknown || list == nullptr || list->size() > kMostValues;
  if (patterns.isUnknown) return;
  for (const Value& element : *list) {
    patterns.values.push_back(element);
    patterns.values.emplace_back(Array::of(element));
  }
}

void variables(const Value& value, Patterns& patterns) {
  const Array* names = value.ifArray();
  patterns.isUnknown = patterns.isUnknown || names == nullptr || names->size() > kMostValues;
  if (patterns.isUnknown) return;
  patterns.values.emplace_back(Dictionary());
  patterns.values.emplace_back(Dictionary{{"\x01", ""}});
  for (const Value& name : *names) {
    if (const auto text = name.ifString()) patterns.values.emplace_back(Dictionary{{*text, ""}});
  }
}

void addNumbers(double base, double unit, double step, Patterns& patterns) {
  patterns.comparesNumbers = true;
  patterns.isUnknown = patterns.isUnknown || !std::isfinite(base) || std::abs(base) >= 0x1p52;
  for (const double number : numbersNear(base, unit)) {
    append(patterns.numbers, std::vector{number - step, number, number + step});
  }
}

void number(const Value& value, Patterns& patterns) { addNumbers(doubleValue(&value), 1, 0.25, patterns); }
void gigabytes(const Value& value, Patterns& patterns) {
  addNumbers(integerValue(&value) * kGigabyte, kGigabyte, 1, patterns);
}
void mebibytes(const Value& value, Patterns& patterns) {
  addNumbers(integerValue(&value) * kMebibyte, kMebibyte, 1, patterns);
}

void truth(const Value& /*value*/, Patterns& patterns) {
  append(patterns.values, std::vector{Value(true), Value(false)});
}

void hexadecimal(const Value& value, Patterns& patterns) {
  const auto text = value.ifString();
  const auto bytes = text && isPlain(*text) ? describedData(*text) : std::nullopt;
  if (!bytes) {
    patterns.isUnknown = true;
  } else {
    patterns.bytes.push_back(*bytes);
  }
}

/// The text that describes data, or anything else.
void described(const Value& value, Patterns& patterns) {
  hexadecimal(value, patterns);
  if (!patterns.isUnknown) patterns.values.push_back(value);
}

Data combined(const Data& left, const Data& right, auto combine) {
  std::vector<std::uint8_t> bytes(left.size());
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    bytes[i] = static_cast<std::uint8_t>(combine(left.bytes()[i], right.bytes()[i]));
  }
  return Data(bytes);
}

void mask(const Value& value, Patterns& patterns) {
  const Dictionary* entries = value.ifDictionary();
  const Data* mask = entries == nullptr ? nullptr : entries->findData("Mask");
  const Data* result = entries == nullptr ? nullptr : entries->findData("Result");
  patterns.isUnknown = patterns.isUnknown || mask == nullptr || result == nullptr || mask->size() != result->size() ||
                       mask->size() > kLongestPattern;
  if (patterns.isUnknown) return;
  const auto byte = [](int bits) { return static_cast<std::uint8_t>(bits); };
  patterns.bytes.push_back(*result);
  patterns.bytes.push_back(combined(*result, *mask, [&](auto left, auto right) { return left | byte(~right); }));
  patterns.bytes.push_back(combined(*result, *mask, [&](auto left, auto right) { return left ^ right; }));
}

void anyBytes(const Value& /*value*/, Patterns& patterns) { patterns.bytes.emplace_back(); }

struct Maker {
  std::string_view predicate;
  Patternmaker make;
};
/// The predicates whose results depend on nothing but the attribute and an expected value that can be taken apart.
constexpr Maker kMakers[] = {
    {"MPN4CCheck", codes<&Patterns::endings, text<&Patterns::endings>>},
    {"MPN4CListCheck", codes<&Patterns::endings, textsOf<&Patterns::endings>>},
    {"MPN4ECheck", codes<&Patterns::boardCodes, text<&Patterns::boardCodes>>},
    {"MPN4EListCheck", codes<&Patterns::boardCodes, textsOf<&Patterns::boardCodes>>},
    {"MPNCCCCheck", codes<&Patterns::endings, text<&Patterns::endings>>},
    {"boolEqual", truth},
    {"caseInsensitiveEqual", text<&Patterns::texts>},
    {"caseInsensitiveEqualData", hexadecimal},
    {"contains", text<&Patterns::parts>},
    {"dataNotNull", anyBytes},
    {"equal", number},
    {"equalData", described},
    {"equalLong", number},
    {"equalMask", mask},
    {"greaterThan", number},
    {"hasPrefix", text<&Patterns::beginnings>},
    {"hasSuffix", text<&Patterns::endings>},
    {"isUppercase", anyText},
    {"minimumNandSize", gigabytes},
    {"nandSizeCheck", gigabytes},
    {"nvramWhiteList", variables},
    {"referenceHasPrefix", beginningsOf},
    {"systemPartitionSizeCheck", mebibytes},
    {"validIMEI", textsOf<&Patterns::beginnings>},
    {"valueInList", elements},
    {"varnockSystemPartitionSizeCheck", mebibytes},
};

// ---- Samples ------------------------------------------------------------------------------------------------------

enum class Position : std::uint8_t { kBeginning, kAnywhere, kEnd };

/// The text with `pattern` in its place if the two differ only in case there.
std::string overlaid(std::string text, const std::string& pattern, Position position) {
  const std::string folded = lowerCase(text);
  const std::string wanted = lowerCase(pattern);
  std::size_t place = std::string::npos;
  if (position == Position::kAnywhere) place = folded.find(wanted);
  if (position == Position::kBeginning && folded.starts_with(wanted)) place = 0;
  if (position == Position::kEnd && folded.ends_with(wanted)) place = text.size() - pattern.size();
  if (place != std::string::npos) text.replace(place, pattern.size(), pattern);
  return text;
}

std::vector<std::string> withEmpty(std::vector<std::string> list) {
  list.insert(list.begin(), "");
  return list;
}

class SampleTexts {
 public:
  explicit SampleTexts(const Patterns& patterns) : patterns_(patterns) {}

  std::set<std::string> all() {
    const std::vector<std::string> beginnings = withEmpty(patterns_.beginnings);
    const std::vector<std::string> endings = withEmpty(overlaidEndings());
    for (const std::string& beginning : beginnings) {
      for (const std::string& middle : middles()) {
        for (const std::string& ending : endings) addMade(beginning, middle, ending);
      }
    }
    for (const std::string& text : patterns_.texts) addInCases(text);
    return std::move(texts_);
  }

 private:
  /// Letters in both cases, digits, and enough characters for every code in a serial number.
  static constexpr std::string_view kFillers[] = {"", "x", "Z", "0", "Q0W1E2R3T4Y5U6I7"};

  std::vector<std::string> overlaidEndings() const {
    std::vector<std::string> endings = patterns_.endings;
    for (const std::string& code : patterns_.endings) {
      for (const std::string& pattern : patterns_.endings) endings.push_back(overlaid(code, pattern, Position::kEnd));
    }
    std::ranges::sort(endings);
    endings.erase(std::unique(endings.begin(), endings.end()), endings.end());
    return endings;
  }

  std::vector<std::string> middles() const {
    std::vector<std::string> middles = withEmpty(patterns_.parts);
    std::string joined;
    for (const std::string& part : patterns_.parts) joined += part;
    middles.push_back(joined);
    return middles;
  }

  void addMade(const std::string& beginning, const std::string& middle, const std::string& ending) {
    for (const std::string_view filler : kFillers) {
      std::string made = beginning;
      made.append(filler).append(middle).append(filler).append(ending);
      addCases(made);
      for (const std::string& code : patterns_.boardCodes) {
        std::string board = (beginning + std::string(kFillers[std::size(kFillers) - 1])).substr(0, kBoardCodeStart);
        board.append(code);
        if (beginning.size() > kBoardCodeStart) board.replace(0, beginning.size(), beginning);
        addCases(board.append(filler).append(middle).append(filler).append(ending));
      }
    }
  }

  /// With each pattern in its own case, where it fits.
  void addInCases(const std::string& text) {
    addCases(text);
    std::string patched = text;
    const auto patch = [&](const std::vector<std::string>& list, Position position) {
      for (const std::string& pattern : list) {
        addCases(overlaid(text, pattern, position));
        patched = overlaid(patched, pattern, position);
      }
    };
    patch(patterns_.parts, Position::kAnywhere);
    patch(patterns_.endings, Position::kEnd);
    patch(patterns_.beginnings, Position::kBeginning);
    addCases(patched);
  }

  void addCases(const std::string& text) {
    texts_.insert(text);
    texts_.insert(lowerCase(text));
    texts_.insert(upperCase(text));
  }

  const Patterns& patterns_;
  std::set<std::string> texts_;
};

std::vector<Data> sampleBytes(const Patterns& patterns) {
  std::vector<Data> samples = patterns.bytes;
  for (const Data& left : patterns.bytes) {
    for (const Data& right : patterns.bytes) {
      if (left.size() == right.size()) samples.push_back(combined(left, right, [](auto a, auto b) { return a | b; }));
      if (left.size() == right.size()) samples.push_back(combined(left, right, [](auto a, auto b) { return a & b; }));
    }
    for (const std::size_t size : {left.size(), left.size() + 1}) {
      samples.emplace_back(std::vector<std::uint8_t>(size, 0x00));
      samples.emplace_back(std::vector<std::uint8_t>(size, 0xFF));
    }
  }
  return samples;
}

bool hasTooMany(const Patterns& patterns) {
  constexpr std::size_t kPerCombination = 15;
  const std::size_t combinations = (1 + patterns.beginnings.size()) * (1 + patterns.endings.size()) *
                                   (2 + patterns.parts.size()) * (1 + patterns.boardCodes.size());
  return combinations * kPerCombination > kMostSamples || patterns.texts.size() > kMostPatterns ||
         patterns.bytes.size() > 4 * kMostPatterns;
}

}  // namespace

void Patterns::add(std::string_view predicate, const Value* value) {
  static const Value kNothing("");
  const auto maker = std::ranges::find(kMakers, predicate, &Maker::predicate);
  const PredicateFacts* facts = PredicateFacts::find(predicate);
  isUnknown = isUnknown || maker == std::end(kMakers) || (value == nullptr && facts->withoutValue != Without::kSame);
  if (!isUnknown) maker->make(value == nullptr ? kNothing : *value, *this);
}

void Patterns::add(const Patterns& other) {
  append(beginnings, other.beginnings);
  append(endings, other.endings);
  append(parts, other.parts);
  append(boardCodes, other.boardCodes);
  append(texts, other.texts);
  append(numbers, other.numbers);
  append(bytes, other.bytes);
  append(values, other.values);
  comparesTexts = comparesTexts || other.comparesTexts;
  comparesNumbers = comparesNumbers || other.comparesNumbers;
  isUnknown = isUnknown || other.isUnknown;
}

std::vector<Value> samplesFor(const Patterns& patterns) {
  // The number that a text begins with depends on all of its characters.
  const bool isMixed = patterns.comparesNumbers && (patterns.comparesTexts || !patterns.bytes.empty());
  if (patterns.isUnknown || isMixed || hasTooMany(patterns)) return {};
  std::vector<Value> samples = patterns.values;
  for (const double each : patterns.numbers) samples.push_back(numberValue(each));
  for (const Data& each : sampleBytes(patterns)) samples.emplace_back(each);
  if (patterns.comparesTexts) {
    for (const std::string& each : SampleTexts(patterns).all()) samples.emplace_back(each);
  }
  samples.emplace_back("\x01 other");
  return samples.size() <= kMostSamples ? samples : std::vector<Value>();
}

}  // namespace tavik::tool::lint
