#include "Workload.h"

#include <tavik/ZRTTavikKernel.h>

#include <algorithm>
#include <array>
#include <random>
#include <span>
#include <string_view>

namespace tavik::bench {
namespace {

constexpr std::string_view kModel = "DN20-128";
constexpr std::string_view kRegion = "EU/1";

// The predicates of twenty rules: 8 for integers, 4 for text ignoring case, a prefix, a suffix, 2 lists, 2 thresholds,
// bytes, and a combination, which alternates between three forms.
constexpr auto kComparisons = [] {
  using enum Predicate;
  return std::array{kEqual,     kCaseInsensitiveEqual, kEqual,       kHasPrefix,
                    kEqual,     kValueInList,          kEqual,       kCaseInsensitiveEqual,
                    kEqual,     kGreaterThan,          kEqual,       kHasPrefixAndHasSuffix,
                    kEqual,     kCaseInsensitiveEqual, kEqual,       kCaseInsensitiveEqualData,
                    kHasSuffix, kValueInList,          kGreaterThan, kCaseInsensitiveEqual};
}();
constexpr auto kDevice = [] {
  using enum Predicate;
  return std::array{
      kEqual,       kCaseInsensitiveEqual,     kEqual,     kHasPrefix,      kEqualData, kValueInList,
      kEqual,       kCaseInsensitiveEqual,     kEqual,     kGreaterThan,    kEqual,     kHasPrefixAndHasSuffix,
      kEqual,       kCaseInsensitiveEqualData, kEqualData, kIntegersInList, kHasSuffix, kValueInList,
      kGreaterThan, kCaseInsensitiveEqual};
}();
constexpr auto kReferences = [] {
  using enum Predicate;
  return std::array{kEqual, kCaseInsensitiveEqual, kHasPrefix, kGreaterThan, kHasSuffix};
}();
constexpr auto kCombinations = [] {
  using enum Predicate;
  return std::array{kHasPrefixAndHasSuffix, kEqualOrGreaterThan, kNotEqual};
}();

std::span<const Predicate> predicatesOf(Workload::Mix mix) {
  switch (mix) {
    case Workload::Mix::kComparisons:
      return kComparisons;
    case Workload::Mix::kDevice:
      return kDevice;
    case Workload::Mix::kReferences:
      return kReferences;
    case Workload::Mix::kCombinations:
      return kCombinations;
  }
  return {};
}

std::string_view expressionOf(Predicate predicate) {
  switch (predicate) {
    case Predicate::kEqual:
      return "equal";
    case Predicate::kCaseInsensitiveEqual:
      return "caseInsensitiveEqual";
    case Predicate::kHasPrefix:
      return "hasPrefix";
    case Predicate::kHasSuffix:
      return "hasSuffix";
    case Predicate::kValueInList:
    case Predicate::kIntegersInList:
      return "valueInList";
    case Predicate::kGreaterThan:
      return "greaterThan";
    case Predicate::kCaseInsensitiveEqualData:
      return "caseInsensitiveEqualData";
    case Predicate::kEqualData:
      return "equalData";
    case Predicate::kHasPrefixAndHasSuffix:
      return "hasPrefix AND hasSuffix";
    case Predicate::kEqualOrGreaterThan:
      return "equal OR greaterThan";
    case Predicate::kNotEqual:
      return "NOT equal";
  }
  return {};
}

// Whether a rule may take its expected value from a source.
bool takesReference(Predicate predicate) {
  return expressionOf(predicate).find(' ') == std::string_view::npos &&
         ZRTTavikKernel::useReferenceForValue(expressionOf(predicate));
}

class Maker {
 public:
  explicit Maker(Workload::Mix mix) : mix_(mix), predicates_(predicatesOf(mix)) {}

  Workload make(std::size_t ruleCount) {
    for (std::size_t i = 0; i < ruleCount; ++i) addRule(i);
    work_.attributes.emplace_back("ModelNumber", std::string(kModel));
    work_.attributes.emplace_back("RegionInfo", std::string(kRegion));
    while (work_.attributes.size() < ruleCount * 5 / 4) work_.attributes.emplace_back(attributeName(), text());
    std::ranges::shuffle(work_.attributes, random_);  // devices have attributes in any order
    return std::move(work_);
  }

 private:
  void addRule(std::size_t index) {
    const std::size_t round = index / predicates_.size();
    Predicate predicate =
        predicates_[(index + round) % predicates_.size()];  // so that different rules fail in each round
    if (mix_ != Workload::Mix::kCombinations && predicate == Predicate::kHasPrefixAndHasSuffix) {
      predicate = std::array{predicate, Predicate::kEqualOrGreaterThan, Predicate::kNotEqual}[round % 3];
    }
    const bool passes = index % 10 != 7;
    std::string attribute = attributeName();
    auto [actual, expected] = values(predicate, passes);
    const bool hasDigits = mix_ == Workload::Mix::kDevice && predicate == Predicate::kEqual && index % 2 == 0;
    if (hasDigits) actual = std::to_string(std::get<std::int64_t>(actual));
    work_.rules.push_back({ruleName(), attribute, predicate, std::move(expected), sourceFor(index, predicate)});
    work_.attributes.emplace_back(std::move(attribute), std::move(actual));
  }

  std::string sourceFor(std::size_t index, Predicate predicate) {
    const std::string source = index % 2 == 0 ? "sfc" : "gui";
    if (mix_ == Workload::Mix::kReferences) return source;
    return mix_ == Workload::Mix::kDevice && index % 5 < 2 && takesReference(predicate) ? source : "";
  }

  // The device's value and the expected value.
  std::pair<Plain, Plain> values(Predicate predicate, bool passes) {
    const auto number = static_cast<std::int64_t>(1000 + random_() % 100'000'000);
    const std::string whole = text();
    const std::string stain = passes ? "" : "#";
    switch (predicate) {
      case Predicate::kEqual:
      case Predicate::kEqualOrGreaterThan:
        return {number, passes ? number : number + 1};
      case Predicate::kNotEqual:
        return {number, passes ? number + 1 : number};
      case Predicate::kGreaterThan:
        return {number, passes ? number - 1 : number};
      case Predicate::kCaseInsensitiveEqual:
        return {whole, stain + lower(whole)};
      case Predicate::kHasPrefix:
        return {whole, stain + whole.substr(0, whole.size() / 2)};
      case Predicate::kHasSuffix:
        return {whole, whole.substr(whole.size() / 2) + stain};
      case Predicate::kHasPrefixAndHasSuffix:
        return {whole, stain + whole};
      case Predicate::kValueInList:
        return {whole, listWith(passes ? whole : text())};
      case Predicate::kIntegersInList:
        return {Integers{2, 4, passes ? 12 : 13, 66}, Integers{1, 2, 3, 4, 5, 8, 12, 25, 40, 66}};
      case Predicate::kEqualData:
      case Predicate::kCaseInsensitiveEqualData:
        break;
    }
    Bytes bytes(4 + random_() % 17);
    std::ranges::generate(bytes, [&] { return static_cast<std::uint8_t>(random_()); });
    if (predicate == Predicate::kEqualData) return {bytes, stain + describedText(bytes)};
    return {bytes, stain + digitsOf(bytes)};
  }

  Texts listWith(const std::string& member) {
    Texts list(5 + random_() % 16);
    std::ranges::generate(list, [&] { return text(); });
    list[random_() % list.size()] = member;
    return list;
  }

  // 6 to 20 characters, like part numbers and versions.
  std::string text() {
    constexpr std::string_view kCharacters = "ABCDEFGHJKLMNPQRSTUVWXYZ0123456789-.";
    std::string text(6 + random_() % 15, ' ');
    std::ranges::generate(text, [&] { return kCharacters[random_() % kCharacters.size()]; });
    return text;
  }

  static std::string lower(std::string text) {
    std::ranges::transform(text, text.begin(),
                           [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
    return text;
  }

  static std::string digitsOf(const Bytes& bytes) {
    std::string digits;
    for (const std::uint8_t byte : bytes) {
      digits += "0123456789ABCDEF"[byte >> 4U];
      digits += "0123456789ABCDEF"[byte & 0xFU];
    }
    return digits;
  }

  static std::string describedText(const Bytes& bytes) {
    const Value value{Data(bytes)};
    return description(&value);
  }

  std::string oneOf(std::initializer_list<const char*> words) { return words.begin()[random_() % words.size()]; }

  // A unique name of 8 to 24 characters.
  std::string attributeName() {
    const std::string part = oneOf({"Board", "Modem", "Camera", "Battery", "Firmware", "Display"});
    return part + oneOf({"Code", "Serial", "Version", "Revision", "Calibration"}) + std::to_string(++names_);
  }

  // A unique name of 12 to 32 characters.
  std::string ruleName() {
    const std::string part = oneOf({"Board code", "Camera revision", "Battery level", "Modem firmware"});
    return part + oneOf({" ", " on label ", " on ticket "}) + std::to_string(++names_);
  }

  Workload::Mix mix_;
  std::span<const Predicate> predicates_;
  std::mt19937_64 random_{5};
  std::size_t names_ = 0;
  Workload work_;
};

struct ValueMaker {
  Value operator()(std::int64_t number) const { return Value(number); }
  Value operator()(const std::string& text) const { return text; }
  Value operator()(const Bytes& bytes) const { return Data(bytes); }
  Value operator()(const Texts& texts) const {
    Array array;
    for (const std::string& text : texts) array.append(text);
    return array;
  }
  Value operator()(const Integers& integers) const {
    Array array;
    for (const std::int64_t integer : integers) array.append(Value(integer));
    return array;
  }
};
Value valueOf(const Plain& plain) { return std::visit(ValueMaker(), plain); }

bool libraryHasValue(std::size_t index) { return index % 2 == 0; }

}  // namespace

Workload Workload::of(std::size_t ruleCount, Mix mix) { return Maker(mix).make(ruleCount); }

Dictionary Workload::device() const {
  Dictionary device;
  for (const auto& [name, value] : attributes) device.set(name, valueOf(value));
  return device;
}

Dictionary Workload::sources() const {
  Dictionary sfc;
  Dictionary gui;
  for (const Rule& rule : rules) {
    if (!rule.source.empty()) (rule.source == "sfc" ? sfc : gui).set(rule.attribute, valueOf(rule.expected));
  }
  return {{"sfc", sfc}, {"gui", gui}};
}

Dictionary Workload::ruleLibrary() const {
  Dictionary library{{"version", "31"}};
  for (std::size_t i = 0; i < rules.size(); ++i) {
    const Rule& rule = rules[i];
    Dictionary definition{{"attribute", rule.attribute}, {"predicate", expressionOf(rule.predicate)}};
    if (!rule.source.empty()) {
      definition.set("references", Array::of(Dictionary{{"source", rule.source}}));
    } else if (libraryHasValue(i)) {
      definition.set("value", valueOf(rule.expected));
    }
    library.set(rule.name, definition);
  }
  return library;
}

Dictionary Workload::localRules() const {
  const auto entries = [&](std::size_t begin, std::size_t end) {
    Dictionary some;
    for (std::size_t i = begin; i < end; ++i) {
      Dictionary entry;
      if (rules[i].source.empty() && !libraryHasValue(i)) entry.set("value", valueOf(rules[i].expected));
      some.set(rules[i].name, entry);
    }
    return some;
  };
  const std::size_t tenth = rules.size() / 10;
  Dictionary part = entries(0, tenth / 2);
  part.set("RegionRules", Dictionary{{"US/1", Dictionary()}, {kRegion, entries(tenth / 2, tenth)}});
  return {{"version", "12"},
          {"MPNRules", Dictionary{{"DN20-064", Dictionary()}, {kModel, part}}},
          {"GenericRules", entries(tenth, rules.size())}};
}

}  // namespace tavik::bench
