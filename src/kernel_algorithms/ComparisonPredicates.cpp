// The comparison predicates: one device value against one expected value.

#include <tavik/ZRTTavikKernel.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <unordered_set>

#include "kernel_algorithms/Comparison.h"
#include "kernel_algorithms/RuleResult.h"
#include "values/Description.h"
#include "values/Format.h"
#include "values/MaybeAbsent.h"
#include "values/Text.h"
#include "values/ValueAccess.h"
#include "values/ValueNumbers.h"

namespace tavik {

namespace {

using detail::ValueAccess;
using Finding = Comparison::Finding;

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
bool numbersCompare(const Value* attribute, const Value* value, Convert convert, Compare compare) {
  return readsAsScalar(attribute) && readsAsScalar(value) && compare(convert(attribute), convert(value));
}

Value hexadecimalText(const Data& data) {
  TextBuffer text;
  for (const std::uint8_t byte : data.bytes()) appendHexByte(text, byte);
  return ValueAccess::string(text.view());
}

// Whether every element equals some element of the list.
bool everyElementIn(const Array& elements, const Array& list) {
  constexpr std::size_t kFewComparisons = 1024;
  if (elements.size() <= kFewComparisons / std::max<std::size_t>(list.size(), 1)) {
    return std::ranges::all_of(elements, [&](const Value& element) { return list.contains(element); });
  }
  detail::ValueNumbers numbers;
  std::unordered_set<std::uint64_t> listed;
  for (const Value& element : list) listed.insert(numbers.of(element));
  return std::ranges::all_of(elements, [&](const Value& element) { return listed.contains(numbers.of(element)); });
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

constexpr Comparison kHasSuffix = {
    .judge = [](const Value* attribute, const Value* value) -> Finding {
      return {textsCompare(attribute, value, endsWith), present(attribute)};
    },
    .expected = expectedText<"has suffix %@">,
};

constexpr Comparison kHasPrefix = {
    .judge = [](const Value* attribute, const Value* value) -> Finding {
      return {textsCompare(attribute, value, beginsWith), present(attribute)};
    },
    .expected = expectedText<"has prefix %@">,
};

constexpr Comparison kContains = {
    .judge = [](const Value* attribute, const Value* value) -> Finding {
      return {textsCompare(attribute, value, occursIn), present(attribute)};
    },
    .expected = expectedText<"contains %@">,
};

constexpr Comparison kCaseInsensitiveEqual = {
    .judge = [](const Value* attribute, const Value* value) -> Finding {
      const auto text = textOf(attribute);
      return {text && equalsExpected(*text, value), present(attribute)};
    },
    .expected = expectedText<"caseInsensitiveEqual:%@">,
};

constexpr Comparison kCaseInsensitiveEqualData = {
    .judge = [](const Value* attribute, const Value* value) -> Finding {
      const Data* data = dataOf(attribute);
      if (data == nullptr) return {false, descriptionValue(attribute)};
      const Value digits = hexadecimalText(*data);
      return {equalsExpected(*digits.ifString(), value), digits};
    },
    .expected = expectedText<"caseInsensitiveEqual:%@">,
};

constexpr Comparison kValueInList = {
    .judge = [](const Value* attribute, const Value* value) -> Finding {
      if (attribute == nullptr) return {false, "(null)"};
      const Array* elements = attribute->ifArray();
      const Array* list = arrayOf(value);
      if (elements == nullptr) {
        return {value == nullptr || (list != nullptr && list->contains(*attribute)), descriptionValue(attribute)};
      }
      return {value == nullptr || (list != nullptr && everyElementIn(*elements, *list)), listText(attribute, ",")};
    },
    .expected = expectedOneOf,
};

constexpr Comparison kGreaterThan = {
    .judge = [](const Value* attribute, const Value* value) -> Finding {
      return {numbersCompare(attribute, value, doubleValue, std::greater<>()), present(attribute)};
    },
    .expected = expectedText<"greater than %@">,
};

constexpr Comparison kEqual = {
    .judge = [](const Value* attribute, const Value* value) -> Finding {
      return {numbersCompare(attribute, value, integerValue, std::equal_to<>()), present(attribute)};
    },
    .expected = expectedText<"equal %@">,
};

constexpr Comparison kEqualLong = {
    .judge = [](const Value* attribute, const Value* value) -> Finding {
      return {numbersCompare(attribute, value, longValue, std::equal_to<>()), present(attribute)};
    },
    .expected = expectedText<"equal %@">,
};

constexpr Comparison kEqualData = {
    .judge = [](const Value* attribute, const Value* value) -> Finding {
      const Value actual = descriptionValue(attribute);
      return {attribute != nullptr && textsCompare(&actual, value, equalIgnoringCase), actual};
    },
    .expected = expectedText<"equal %@">,
};

constexpr Comparison kDataNotNull = {
    .judge = [](const Value* attribute, const Value* /*value*/) -> Finding {
      const Data* data = dataOf(attribute);
      const auto isSet = [](std::uint8_t byte) { return byte != 0; };
      return {data != nullptr && std::ranges::any_of(data->bytes(), isSet), descriptionValue(attribute)};
    },
    .expected = [](const Value* /*value*/, detail::SlabCutter* /*slabs*/) { return Value("not all null"); },
};

constexpr Comparison kBoolEqual = {
    .judge = [](const Value* attribute, const Value* value) -> Finding {
      const auto truth = attribute == nullptr ? std::nullopt : attribute->ifBoolean();
      return {truth && readsAsScalar(value) && *truth == booleanValue(value), descriptionValue(attribute)};
    },
    .expected = expectedText<"is %@">,
};

Dictionary ZRTTavikKernel::hasSuffix(const Value* attribute, const Value* value) {
  return kHasSuffix.record(attribute, value);
}

Dictionary ZRTTavikKernel::hasPrefix(const Value* attribute, const Value* value) {
  return kHasPrefix.record(attribute, value);
}

Dictionary ZRTTavikKernel::contains(const Value* attribute, const Value* value) {
  return kContains.record(attribute, value);
}

Dictionary ZRTTavikKernel::caseInsensitiveEqual(const Value* attribute, const Value* value) {
  return kCaseInsensitiveEqual.record(attribute, value);
}

Dictionary ZRTTavikKernel::caseInsensitiveEqualData(const Value* attribute, const Value* value) {
  return kCaseInsensitiveEqualData.record(attribute, value);
}

Dictionary ZRTTavikKernel::valueInList(const Value* attribute, const Value* value) {
  return kValueInList.record(attribute, value);
}

Dictionary ZRTTavikKernel::greaterThan(const Value* attribute, const Value* value) {
  return kGreaterThan.record(attribute, value);
}

Dictionary ZRTTavikKernel::equal(const Value* attribute, const Value* value) { return kEqual.record(attribute, value); }

Dictionary ZRTTavikKernel::equalLong(const Value* attribute, const Value* value) {
  return kEqualLong.record(attribute, value);
}

Dictionary ZRTTavikKernel::equalData(const Value* attribute, const Value* value) {
  return kEqualData.record(attribute, value);
}

Dictionary ZRTTavikKernel::dataNotNull(const Value* attribute, const Value* value) {
  return kDataNotNull.record(attribute, value);
}

Dictionary ZRTTavikKernel::boolEqual(const Value* attribute, const Value* value) {
  return kBoolEqual.record(attribute, value);
}

Dictionary ZRTTavikKernel::referenceHasPrefix(const Value* attribute, const Value* value) {
  const Value absent("(null)");
  return ruleResult(textsCompare(value, attribute, beginsWith), value == nullptr ? &absent : value, "has prefix %@",
                    attribute);
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

Dictionary ZRTTavikKernel::isUppercase(const Value* attribute, const Value* /*value*/) {
  const auto text = textOf(attribute);
  const Value upper(upperCase(text ? *text : description(attribute)));
  return buildResult(text && *upper.ifString() == *text, attribute, &upper);
}

}  // namespace tavik
