// The comparison predicates: one device value against one expected value.

#include <tavik/ZRTTavikKernel.h>

#include <algorithm>
#include <functional>

#include "kernel_algorithms/RuleResult.h"
#include "values/Description.h"
#include "values/Format.h"
#include "values/MaybeAbsent.h"
#include "values/Text.h"
#include "values/ValueAccess.h"

namespace tavik {

namespace {

using detail::ValueAccess;

// Whether both are texts and `compare` holds for them.
template <class Compare>
bool textsCompare(const Value* left, const Value* right, Compare compare) {
  const auto leftText = textOf(left);
  const auto rightText = textOf(right);
  return leftText && rightText && compare(*leftText, *rightText);
}

// An absent expected value counts as equal: that is how rule authors leave a comparison open.
bool equalsExpected(std::string_view text, const Value* expected) {
  if (expected == nullptr) return true;
  const auto expectedText = expected->ifString();
  return expectedText && equalIgnoringCase(text, *expectedText);
}

template <class Convert, class Compare>
Dictionary compareNumbers(const Value* attribute, const Value* value, Convert convert, Compare compare,
                          std::string_view expectedPattern) {
  const bool result = readsAsScalar(attribute) && readsAsScalar(value) && compare(convert(attribute), convert(value));
  return ruleResult(result, attribute, expectedPattern, value);
}

Value hexadecimalText(const Data& data) {
  TextBuffer text;
  for (const std::uint8_t byte : data.bytes()) appendHexByte(text, byte);
  return ValueAccess::string(text.view());
}

bool everyElementIn(const Array& elements, const Array& list) {
  return std::ranges::all_of(elements, [&](const Value& element) { return list.contains(element); });
}

bool equalsMasked(const Data& data, const Data& mask, const Data& result) {
  const auto masked = [&](std::size_t index) -> std::uint8_t { return data.bytes()[index] & mask.bytes()[index]; };
  if (result.size() != data.size()) return false;
  for (std::size_t index = 0; index < data.size(); ++index) {
    if (masked(index) != result.bytes()[index]) return false;
  }
  return true;
}

}  // namespace

Dictionary ZRTTavikKernel::hasSuffix(const Value* attribute, const Value* value) {
  return ruleResult(textsCompare(attribute, value, endsWith), attribute, "has suffix %@", value);
}

Dictionary ZRTTavikKernel::hasPrefix(const Value* attribute, const Value* value) {
  return ruleResult(textsCompare(attribute, value, beginsWith), attribute, "has prefix %@", value);
}

Dictionary ZRTTavikKernel::referenceHasPrefix(const Value* attribute, const Value* value) {
  const Value absent("(null)");
  return ruleResult(textsCompare(value, attribute, beginsWith), value == nullptr ? &absent : value, "has prefix %@",
                    attribute);
}

Dictionary ZRTTavikKernel::caseInsensitiveEqual(const Value* attribute, const Value* value) {
  const auto text = textOf(attribute);
  return ruleResult(text && equalsExpected(*text, value), attribute, "caseInsensitiveEqual:%@", value);
}

Dictionary ZRTTavikKernel::caseInsensitiveEqualData(const Value* attribute, const Value* value) {
  const Data* data = dataOf(attribute);
  const Value actual = data != nullptr ? hexadecimalText(*data) : descriptionValue(attribute);
  return ruleResult(data != nullptr && equalsExpected(*actual.ifString(), value), &actual, "caseInsensitiveEqual:%@",
                    value);
}

Dictionary ZRTTavikKernel::valueInList(const Value* attribute, const Value* value) {
  if (attribute == nullptr) return ruleResult(false, "(null)", formattedValue("one of %@", {listText(value, ",")}));
  const Array* elements = attribute->ifArray();
  const Array single = elements == nullptr ? Array::of(*attribute) : Array();
  if (elements == nullptr) elements = &single;
  const Array* list = arrayOf(value);
  const bool result = value == nullptr || (list != nullptr && everyElementIn(*elements, *list));
  return ruleResult(result, arrayToString(elements, ","), formattedValue("one of %@", {listText(value, ",")}));
}

Dictionary ZRTTavikKernel::greaterThan(const Value* attribute, const Value* value) {
  return compareNumbers(attribute, value, doubleValue, std::greater<>(), "greater than %@");
}

Dictionary ZRTTavikKernel::contains(const Value* attribute, const Value* value) {
  return ruleResult(textsCompare(attribute, value, occursIn), attribute, "contains %@", value);
}

Dictionary ZRTTavikKernel::equal(const Value* attribute, const Value* value) {
  return compareNumbers(attribute, value, integerValue, std::equal_to<>(), "equal %@");
}

Dictionary ZRTTavikKernel::equalLong(const Value* attribute, const Value* value) {
  return compareNumbers(attribute, value, longValue, std::equal_to<>(), "equal %@");
}

Dictionary ZRTTavikKernel::equalData(const Value* attribute, const Value* value) {
  const Value actual = descriptionValue(attribute);
  const bool result = attribute != nullptr && textsCompare(&actual, value, equalIgnoringCase);
  return ruleResult(result, &actual, "equal %@", value);
}

Dictionary ZRTTavikKernel::equalMask(const Value* attribute, const Value* value) {
  const Data* data = dataOf(attribute);
  const Value* mask = find(dictionaryOf(value), "Mask");
  const Value* result = find(dictionaryOf(value), "Result");
  const Data* maskData = dataOf(mask);
  if (data == nullptr || maskData == nullptr || maskData->size() != data->size()) {
    return ruleResult(false, "Unknown", formattedValue("equal %@", {result}));
  }
  const Data* resultData = dataOf(result);
  return ruleResult(resultData != nullptr && equalsMasked(*data, *maskData, *resultData), descriptionValue(attribute),
                    formattedValue("and mask %@ equal %@", {mask, result}));
}

Dictionary ZRTTavikKernel::dataNotNull(const Value* attribute, const Value* /*value*/) {
  const Data* data = dataOf(attribute);
  const bool result =
      data != nullptr && std::ranges::any_of(data->bytes(), [](std::uint8_t byte) { return byte != 0; });
  return ruleResult(result, descriptionValue(attribute), "not all null");
}

Dictionary ZRTTavikKernel::boolEqual(const Value* attribute, const Value* value) {
  const auto truth = attribute == nullptr ? std::nullopt : attribute->ifBoolean();
  return ruleResult(truth && readsAsScalar(value) && *truth == booleanValue(value), descriptionValue(attribute),
                    formattedValue("is %@", {value}));
}

Dictionary ZRTTavikKernel::isUppercase(const Value* attribute, const Value* /*value*/) {
  const auto text = textOf(attribute);
  const Value upper(upperCase(text ? *text : description(attribute)));
  return buildResult(text && *upper.ifString() == *text, attribute, &upper);
}

}  // namespace tavik
