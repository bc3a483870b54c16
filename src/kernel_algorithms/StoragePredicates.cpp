// Storage capacity: flash storage in whole gigabytes, the system partition in whole mebibytes.

#include <tavik/ZRTTavikKernel.h>

#include <cmath>
#include <functional>

#include "kernel_algorithms/RuleResult.h"
#include "values/Format.h"
#include "values/MaybeAbsent.h"

namespace tavik {

namespace {

// Cut off toward zero, saturating.
std::int32_t wholeNumber(double number) {
  const Value value(number);
  return integerValue(&value);
}

std::int32_t partitionMebibytes(const Value* bytes) {
  constexpr double kPerKibi = 0.0009765625;
  return wholeNumber(std::floor(doubleValue(bytes) * kPerKibi * kPerKibi));
}

Value decimalText(std::int32_t size) { return formattedValue("%d", {size}); }

// Compares a size with the expected value, which is "expected" as it stands.
template <class Compare>
Dictionary compareSize(std::int32_t size, const Value* value, Compare compare, std::string_view unspecified) {
  if (value == nullptr) return ruleResult(false, unspecified, "N/A");
  return ruleResult(readsAsScalar(value) && compare(size, integerValue(value)), decimalText(size), *value);
}

constexpr std::string_view kNoPartitionSize = "no System Partition size specified";

}  // namespace

std::int32_t ZRTTavikKernel::parseNandSize(const Value* capacity) {
  constexpr double kBytesPerGigabyte = 1'000'000'000.0;
  constexpr double kRoundedDownFrom = 64.0;
  const double gigabytes = doubleValue(capacity) / kBytesPerGigabyte;
  return wholeNumber(gigabytes >= kRoundedDownFrom ? std::floor(gigabytes) : std::round(gigabytes));
}

Dictionary ZRTTavikKernel::nandSizeCheck(const Value* attribute, const Value* value) {
  return compareSize(parseNandSize(attribute), value, std::equal_to<>(), "no NAND size specified");
}

Dictionary ZRTTavikKernel::minimumNandSize(const Value* attribute, const Value* value) {
  if (value == nullptr) return ruleResult(false, "no minimum NAND size specified", "N/A");
  const std::int32_t size = parseNandSize(attribute);
  return ruleResult(readsAsScalar(value) && size >= integerValue(value), decimalText(size),
                    formattedValue("no less than %@", {value}));
}

Dictionary ZRTTavikKernel::systemPartitionSizeCheck(const Value* attribute, const Value* value) {
  return compareSize(partitionMebibytes(attribute), value, std::equal_to<>(), kNoPartitionSize);
}

Dictionary ZRTTavikKernel::varnockSystemPartitionSizeCheck(const Value* attribute, const Value* value) {
  return compareSize(partitionMebibytes(attribute), value, std::less_equal<>(), kNoPartitionSize);
}

Dictionary ZRTTavikKernel::cccNandSizeCheck(const Value* attribute, const Dictionary* references, const Value* value) {
  const auto code = parseCCCCode(find(references, "SerialNumber"));
  const Value* codeValue = code ? &*code : nullptr;
  const Value* size = find(dictionaryOf(value), codeValue);
  const Value unspecified = formattedValue("no size for CCC %@ specified", {codeValue});
  return compareSize(parseNandSize(attribute), size, std::equal_to<>(), *unspecified.ifString());
}

}  // namespace tavik
