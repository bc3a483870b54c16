// The comparison predicates: one device value against one expected value.

#include <algorithm>
#include <cstdint>
#include <functional>
#include <unordered_set>
#include <utility>

#include "kernel_algorithms/Predicates.h"
#include "values/Description.h"
#include "values/Format.h"
#include "values/MaybeAbsent.h"
#include "values/Text.h"
#include "values/ValueAccess.h"
#include "values/ValueNumbers.h"

namespace tavik::predicates {

namespace {

using detail::ValueAccess;

// Whether both are strings and `compare` is true for them.
template <class Compare>
bool textsCompare(const Value* left, const Value* right, Compare compare) {
  const auto leftText = textOf(left);
  const auto rightText = textOf(right);
  return leftText && rightText && compare(*leftText, *rightText);
}

// An absent expected value counts as equal: rule authors use this to leave a comparison open.
bool equalsExpected(std::string_view text, const Value* expected) {
  if (expected == nullptr) return true;
  const auto expectedText = expected->ifString();
  return expectedText && equalIgnoringCase(text, *expectedText);
}

// "actual" in the record is the attribute itself.
Judgement judged(const Operands& operands, bool result, const Phrase& phrase) {
  return {result, actual(operands), {phrase, operands.value}};
}

template <class Compare>
Judgement judgeTexts(const Operands& operands, Compare compare, const Phrase& phrase) {
  return judged(operands, textsCompare(operands.attribute, operands.value, compare), phrase);
}

template <class Convert, class Compare>
Judgement judgeNumbers(const Operands& operands, Convert convert, Compare compare, const Phrase& phrase) {
  const auto& [attribute, references, value, slabs] = operands;
  const bool areScalar = readsAsScalar(attribute) && readsAsScalar(value);
  return judged(operands, areScalar && compare(convert(attribute), convert(value)), phrase);
}

Value hexadecimalText(const Data& data, detail::SlabCutter* slabs) {
  Value text;
  putHex(ValueAccess::makeString(text, 2 * data.size(), slabs), data.bytes());
  return text;
}

// Whether every element equals an element of the list. allOf: returns whether a condition is true for all elements.
template <class AllOf>
bool everyElementIn(const Array& list, std::size_t count, AllOf allOf) {
  constexpr std::size_t kFewComparisons = 1024;
  if (count <= kFewComparisons / std::max<std::size_t>(list.size(), 1)) {
    return allOf([&](const Value& element) { return list.contains(element); });
  }
  detail::ValueNumbers numbers;
  std::unordered_set<std::uint64_t> listed;
  for (const Value& element : list) listed.insert(numbers.of(element));
  return allOf([&](const Value& element) { return listed.contains(numbers.of(element)); });
}

// Whether the text is ASCII without lowercase letters, and so its own uppercase form.
bool isUpperAscii(std::string_view text) {
  return std::ranges::all_of(text, [](unsigned char c) { return c < 'a' || (c > 'z' && c < 0x80); });
}

// data, mask: of the same size.
bool equalsMasked(std::span<const std::uint8_t> data, std::span<const std::uint8_t> mask,
                  std::span<const std::uint8_t> result) {
  if (result.size() != data.size()) return false;
  for (std::size_t index = 0; index < data.size(); ++index) {
    if ((data[index] & mask[index]) != result[index]) return false;
  }
  return true;
}

}  // namespace

Judgement hasSuffix(const Operands& operands) { return judgeTexts(operands, endsWith, kHasSuffix); }

Judgement hasPrefix(const Operands& operands) { return judgeTexts(operands, beginsWith, kHasPrefix); }

Judgement contains(const Operands& operands) { return judgeTexts(operands, occursIn, kContains); }

Judgement referenceHasPrefix(const Operands& operands) {
  const auto& [attribute, references, value, slabs] = operands;
  return {
      textsCompare(value, attribute, beginsWith), value == nullptr ? Value("(null)") : *value, {kHasPrefix, attribute}};
}

Judgement caseInsensitiveEqual(const Operands& operands) {
  const auto text = textOf(operands.attribute);
  return judged(operands, text && equalsExpected(*text, operands.value), kCaseInsensitiveEqual);
}

Judgement caseInsensitiveEqualData(const Operands& operands) {
  const auto& [attribute, references, value, slabs] = operands;
  const Expectation expected(kCaseInsensitiveEqual, value);
  const Data* data = dataOf(attribute);
  if (data == nullptr) return {false, descriptionValue(attribute, slabs), expected};
  Value digits = hexadecimalText(*data, slabs);
  const bool result = equalsExpected(*digits.ifString(), value);
  return {result, std::move(digits), expected};
}

Judgement valueInList(const Operands& operands) {
  const auto& [attribute, references, value, slabs] = operands;
  const Expectation expected(kOneOf, value);
  if (attribute == nullptr) return {false, "(null)", expected};
  const Array* elements = attribute->ifArray();
  const Array* list = arrayOf(value);
  const auto areIn = [&] {
    return everyElementIn(*list, elements->size(), [&](auto isIn) { return std::ranges::all_of(*elements, isIn); });
  };
  const bool isIn =
      value == nullptr || (list != nullptr && (elements == nullptr ? list->contains(*attribute) : areIn()));
  return {isIn, elements == nullptr ? descriptionValue(attribute, slabs) : kElements.of(attribute, slabs), expected};
}

Judgement nvramWhiteList(const Operands& operands) {
  const auto& [attribute, references, value, slabs] = operands;
  const Expectation expected(kOneOf, value);
  const Dictionary* variables = dictionaryOf(attribute);
  if (variables == nullptr) return {false, descriptionValue(attribute), expected};
  const Array* list = arrayOf(value);
  const auto allNames = [&](auto isIn) {
    return std::ranges::all_of(detail::entriesOf(*variables), [&](const detail::Entry& variable) {
      return ValueAccess::isErased(variable.key) || isIn(variable.key);
    });
  };
  const bool areIn = value == nullptr || (list != nullptr && everyElementIn(*list, variables->size(), allNames));
  TextBuffer names;
  std::string_view separator;
  for (const auto [name, content] : *variables) {
    names.append(std::exchange(separator, kElements.between));
    names.append(name);
  }
  return {areIn, ValueAccess::string(names.view(), slabs), expected};
}

Judgement greaterThan(const Operands& operands) {
  return judgeNumbers(operands, doubleValue, std::greater<>(), kGreaterThan);
}

Judgement equal(const Operands& operands) { return judgeNumbers(operands, integerValue, std::equal_to<>(), kEqual); }

Judgement equalLong(const Operands& operands) { return judgeNumbers(operands, longValue, std::equal_to<>(), kEqual); }

Judgement equalData(const Operands& operands) {
  const auto& [attribute, references, value, slabs] = operands;
  Value actual = descriptionValue(attribute, slabs);
  const bool result = attribute != nullptr && textsCompare(&actual, value, equalIgnoringCase);
  return {result, std::move(actual), {kEqual, value}};
}

Judgement equalMask(const Operands& operands) {
  const Data* data = dataOf(operands.attribute);
  const Value* mask = find(dictionaryOf(operands.value), "Mask");
  const Value* result = find(dictionaryOf(operands.value), "Result");
  const Data* maskData = dataOf(mask);
  if (data == nullptr || maskData == nullptr || maskData->size() != data->size()) {
    return {false, "Unknown", {kEqual, dictionaryOf(operands.value) == nullptr ? operands.value : result}};
  }
  const Data* resultData = dataOf(result);
  return {resultData != nullptr && equalsMasked(data->bytes(), maskData->bytes(), resultData->bytes()),
          descriptionValue(operands.attribute, operands.slabs),
          {kAndMask, operands.value}};
}

Judgement dataNotNull(const Operands& operands) {
  const Data* data = dataOf(operands.attribute);
  const auto isSet = [](std::uint8_t byte) { return byte != 0; };
  return {data != nullptr && std::ranges::any_of(data->bytes(), isSet),
          descriptionValue(operands.attribute, operands.slabs), "not all null"};
}

Judgement boolEqual(const Operands& operands) {
  const auto& [attribute, references, value, slabs] = operands;
  const auto truth = attribute == nullptr ? std::nullopt : attribute->ifBoolean();
  return {
      truth && readsAsScalar(value) && *truth == booleanValue(value), descriptionValue(attribute, slabs), {kIs, value}};
}

Judgement isUppercase(const Operands& operands) {
  const auto text = textOf(operands.attribute);
  if (text && isUpperAscii(*text)) return {true, actual(operands), actual(operands)};
  Value upper = ValueAccess::string(upperCase(text ? *text : description(operands.attribute)), operands.slabs);
  return {text && *upper.ifString() == *text, actual(operands), std::move(upper)};
}

}  // namespace tavik::predicates
