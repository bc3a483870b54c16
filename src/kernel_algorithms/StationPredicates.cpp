// Control bits, text from the operator, and attributes for the station.

#include <tavik/SystemConfig.h>

#include <cstdint>
#include <span>
#include <stdexcept>

#include "kernel_algorithms/Predicates.h"
#include "syscfg/ControlBitBlock.h"
#include "values/Description.h"
#include "values/Format.h"
#include "values/MaybeAbsent.h"
#include "values/Text.h"
#include "values/ValueAccess.h"

namespace tavik::predicates {

namespace {

// The bits of the test state, and the state that `SystemConfig::testStateToString` calls "Pass".
constexpr unsigned kTestState = 3;
constexpr unsigned kPassed = 0;

// Whether the test state of this bit is "Pass". Raises `std::out_of_range` if there is no such record.
bool bitPasses(std::span<const std::uint8_t> records, std::int32_t bit) {
  const std::size_t count = records.size() / SystemConfig::kControlBitSize;
  if (bit < 0 || static_cast<std::size_t>(bit) >= count) {
    throw std::out_of_range(format("control bit %d is out of range for a block of %lu records", {bit, count}));
  }
  const auto record = records.subspan(static_cast<std::size_t>(bit) * SystemConfig::kControlBitSize);
  return (record.front() & kTestState) == kPassed;
}

// Passes, with attributes for the station. Raises `std::invalid_argument` if there are none.
Judgement forwarding(const Value* attributes) {
  if (attributes == nullptr) throw std::invalid_argument("cannot store an absent value under \"attributes\"");
  return {true, "None", "None", attributes};
}

}  // namespace

Judgement controlBitCheck(const Operands& operands) {
  const Data* block = dataOf(operands.attribute);
  if (block == nullptr || (operands.value != nullptr && arrayOf(operands.value) == nullptr)) {
    return {false, descriptionValue(operands.attribute), descriptionValue(operands.value)};
  }
  const auto records = controlBitRecords(*block);
  bool result = true;
  TextBuffer actual;
  for (const Value& bit : elementsOf(operands.value)) {
    const bool passes = readsAsScalar(&bit) && bitPasses(records, integerValue(&bit));
    result = result && passes;
    actual.append(kBitsPass.words);
    appendDescription(actual, &bit);
    actual.append(passes ? kBitsPass.between : " FAIL, ");
  }
  return {result, detail::ValueAccess::string(actual.view(), operands.slabs), {kBitsPass, operands.value}};
}

Judgement staticTextGUIEquals(const Operands& operands) {
  const auto& [attribute, references, value, slabs] = operands;
  if (references != nullptr && references->size() >= 2) return {false, "invalid rule", "invalid rule"};
  if (references == nullptr || references->empty()) {
    throw std::out_of_range("the rule needs exactly one reference but has none");
  }
  const Value& reference = references->begin().value();
  const auto text = reference.ifString();
  const auto expected = textOf(value);
  return {text && expected && equalIgnoringCase(*text, *expected), reference, present(value, "expected")};
}

Judgement sendStaticAttribute(const Operands& operands) { return forwarding(operands.value); }

Judgement sendConditionalAttribute(const Operands& operands) {
  const auto& [attribute, references, value, slabs] = operands;
  const Dictionary* conditions = dictionaryOf(value);
  const Value* list = find(conditions, "list");
  const Array* values = arrayOf(list);
  if ((value != nullptr && conditions == nullptr) || (list != nullptr && values == nullptr)) {
    return {false, "None", "None"};
  }
  const bool matches = list == nullptr || (attribute != nullptr && values->contains(*attribute));
  return forwarding(matches ? find(conditions, "match") : find(conditions, "nonMatch"));
}

}  // namespace tavik::predicates
