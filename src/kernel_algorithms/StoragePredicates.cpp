// Storage capacity: flash storage in whole gigabytes, the system partition in whole mebibytes.

#include <tavik/ZRTTavikKernel.h>

#include <cmath>
#include <functional>

#include "kernel_algorithms/Predicates.h"
#include "values/Format.h"
#include "values/MaybeAbsent.h"
#include "values/Numbers.h"
#include "values/ValueAccess.h"

namespace tavik {

namespace {

using detail::ValueAccess;

// Truncated toward zero and limited to 32 bits.
std::int32_t wholeNumber(double number) {
  const Value value(number);
  return integerValue(&value);
}

std::int32_t partitionMebibytes(const Value* bytes) {
  constexpr double kPerKibi = 0.0009765625;
  return wholeNumber(std::floor(doubleValue(bytes) * kPerKibi * kPerKibi));
}

// Compares a size with the expected value.
template <class Compare>
Judgement judgeSize(std::int32_t size, const Value* value, Compare compare, std::string_view unspecified) {
  if (value == nullptr) return {false, unspecified, "N/A"};
  return {readsAsScalar(value) && compare(size, integerValue(value)), ValueAccess::string(IntegerText(size).view()),
          Expectation(value)};
}

constexpr std::string_view kNoPartitionSize = "no System Partition size specified";

}  // namespace

std::int32_t ZRTTavikKernel::parseNandSize(const Value* capacity) {
  constexpr double kBytesPerGigabyte = 1'000'000'000.0;
  constexpr double kRoundedDownFrom = 64.0;
  const double gigabytes = doubleValue(capacity) / kBytesPerGigabyte;
  return wholeNumber(gigabytes >= kRoundedDownFrom ? std::floor(gigabytes) : std::round(gigabytes));
}

namespace predicates {

Judgement nandSizeCheck(const Operands& operands) {
  return judgeSize(ZRTTavikKernel::parseNandSize(operands.attribute), operands.value, std::equal_to<>(),
                   "no NAND size specified");
}

Judgement minimumNandSize(const Operands& operands) {
  Judgement judgement = judgeSize(ZRTTavikKernel::parseNandSize(operands.attribute), operands.value,
                                  std::greater_equal<>(), "no minimum NAND size specified");
  if (operands.value != nullptr) judgement.expected = {kNoLessThan, operands.value};
  return judgement;
}

Judgement cccNandSizeCheck(const Operands& operands) {
  const Value* serialNumber = find(operands.references, "SerialNumber");
  const auto code = ZRTTavikKernel::parseCCCCode(serialNumber);
  const Value* size = code ? find(dictionaryOf(operands.value), &*code) : nullptr;
  const std::string unspecified = format("no size for CCC %@ specified", {code ? &*code : serialNumber});
  return judgeSize(ZRTTavikKernel::parseNandSize(operands.attribute), size, std::equal_to<>(), unspecified);
}

Judgement systemPartitionSizeCheck(const Operands& operands) {
  return judgeSize(partitionMebibytes(operands.attribute), operands.value, std::equal_to<>(), kNoPartitionSize);
}

Judgement varnockSystemPartitionSizeCheck(const Operands& operands) {
  return judgeSize(partitionMebibytes(operands.attribute), operands.value, std::less_equal<>(), kNoPartitionSize);
}

}  // namespace predicates

}  // namespace tavik
