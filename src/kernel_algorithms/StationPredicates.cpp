// Control bits, allowed firmware variables, the operator's single text, and attributes for the station.

#include <tavik/SystemConfig.h>
#include <tavik/ZRTTavikKernel.h>

#include <stdexcept>

#include "kernel_algorithms/Comparison.h"
#include "kernel_algorithms/RuleResult.h"
#include "values/Format.h"
#include "values/MaybeAbsent.h"
#include "values/Text.h"
#include "values/ValueAccess.h"

namespace tavik {

namespace {

// Whether the record of the bit with this number says "Pass". Raises `std::out_of_range` when there is no such record.
bool bitPasses(const Array& records, std::int32_t bit) {
  if (bit < 0 || static_cast<std::size_t>(bit) >= records.size()) {
    throw std::out_of_range(format("control bit %d is not among the %lu records", {bit, records.size()}));
  }
  const auto state = records.at(static_cast<std::size_t>(bit)).ifDictionary()->findString("Test State");
  return !state || equalIgnoringCase(*state, "Pass");
}

// A record that passes, with attributes for the station.
Dictionary forwarding(const Value* attributes) {
  Dictionary record = ruleResult(true, "None", "None");
  record.set("attributes", attributes);
  return record;
}

}  // namespace

Dictionary ZRTTavikKernel::controlBitCheck(const Value* attribute, const Value* value) {
  const Data* block = dataOf(attribute);
  const Array* bits = arrayOf(value);
  if (block == nullptr || (value != nullptr && bits == nullptr)) {
    return ruleResult(false, descriptionValue(attribute), descriptionValue(value));
  }
  const Array records = SystemConfig::controlBitsFromData(block);
  bool result = true;
  std::string actual;
  std::string expected;
  for (const Value& bit : bits != nullptr ? *bits : Array()) {
    const bool passes = readsAsScalar(&bit) && bitPasses(records, integerValue(&bit));
    result = result && passes;
    actual += format(passes ? "CB %@ pass, " : "CB %@ FAIL, ", {bit});
    expected += format("CB %@ pass, ", {bit});
  }
  return ruleResult(result, actual, expected);
}

constexpr Comparison kNvramWhiteList = {
    .judge = [](const Value* attribute, const Value* value) -> Comparison::Finding {
      const Dictionary* variables = dictionaryOf(attribute);
      if (variables == nullptr) return {false, descriptionValue(attribute)};
      const Value names(detail::ValueAccess::keys(*variables));
      return kValueInList.judge(&names, value);
    },
    .expected = expectedOneOf,
};

Dictionary ZRTTavikKernel::nvramWhiteList(const Value* attribute, const Value* value) {
  return kNvramWhiteList.record(attribute, value);
}

Dictionary ZRTTavikKernel::staticTextGUIEquals(const Value* /*attribute*/, const Dictionary* references,
                                               const Value* value) {
  if (references != nullptr && references->size() >= 2) return ruleResult(false, "invalid rule", "invalid rule");
  if (references == nullptr || references->empty()) {
    throw std::out_of_range("a rule that compares a single reference lists none");
  }
  const Value& reference = references->begin().value();
  const auto text = reference.ifString();
  const auto expected = textOf(value);
  return buildResult(text && expected && equalIgnoringCase(*text, *expected), &reference, value);
}

Dictionary ZRTTavikKernel::sendStaticAttribute(const Value* /*attribute*/, const Value* value) {
  return forwarding(value);
}

Dictionary ZRTTavikKernel::sendConditionalAttribute(const Value* attribute, const Value* value) {
  const Dictionary* conditions = dictionaryOf(value);
  const Value* list = find(conditions, "list");
  const Array* values = arrayOf(list);
  if ((value != nullptr && conditions == nullptr) || (list != nullptr && values == nullptr)) {
    return ruleResult(false, "None", "None");
  }
  const bool matches = list == nullptr || (attribute != nullptr && values->contains(*attribute));
  return forwarding(find(conditions, matches ? "match" : "nonMatch"));
}

}  // namespace tavik
