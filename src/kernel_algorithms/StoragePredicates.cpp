// Storage capacity: flash storage in whole gigabytes, the system partition in whole mebibytes.

#include <tavik/ZRTTavikKernel.h>

#include <cmath>
#include <functional>

#include "kernel_algorithms/Comparison.h"
#include "kernel_algorithms/RuleResult.h"
#include "values/Format.h"
#include "values/MaybeAbsent.h"

namespace tavik {

namespace {

using Finding = Comparison::Finding;

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

// Compares a size with the expected value.
template <class Compare>
Finding judgeSize(std::int32_t size, const Value* value, Compare compare, std::string_view unspecified) {
  if (value == nullptr) return {false, unspecified};
  return {readsAsScalar(value) && compare(size, integerValue(value)), decimalText(size)};
}

// The expected value as it stands.
Value expectedSize(const Value* value, detail::SlabCutter* /*slabs*/) {
  return value == nullptr ? Value("N/A") : *value;
}

constexpr std::string_view kNoPartitionSize = "no System Partition size specified";

}  // namespace

std::int32_t ZRTTavikKernel::parseNandSize(const Value* capacity) {
  constexpr double kBytesPerGigabyte = 1'000'000'000.0;
  constexpr double kRoundedDownFrom = 64.0;
  const double gigabytes = doubleValue(capacity) / kBytesPerGigabyte;
  return wholeNumber(gigabytes >= kRoundedDownFrom ? std::floor(gigabytes) : std::round(gigabytes));
}

constexpr Comparison kNandSizeCheck = {
    .judge = [](const Value* attribute, const Value* value) -> Finding {
      return judgeSize(ZRTTavikKernel::parseNandSize(attribute), value, std::equal_to<>(), "no NAND size specified");
    },
    .expected = expectedSize,
};

constexpr Comparison kMinimumNandSize = {
    .judge = [](const Value* attribute, const Value* value) -> Finding {
      return judgeSize(ZRTTavikKernel::parseNandSize(attribute), value, std::greater_equal<>(),
                       "no minimum NAND size specified");
    },
    .expected =
        [](const Value* value, detail::SlabCutter* slabs) {
          return value == nullptr ? Value("N/A") : expectedText<"no less than %@">(value, slabs);
        },
};

constexpr Comparison kSystemPartitionSizeCheck = {
    .judge = [](const Value* attribute, const Value* value) -> Finding {
      return judgeSize(partitionMebibytes(attribute), value, std::equal_to<>(), kNoPartitionSize);
    },
    .expected = expectedSize,
};

constexpr Comparison kVarnockSystemPartitionSizeCheck = {
    .judge = [](const Value* attribute, const Value* value) -> Finding {
      return judgeSize(partitionMebibytes(attribute), value, std::less_equal<>(), kNoPartitionSize);
    },
    .expected = expectedSize,
};

Dictionary ZRTTavikKernel::nandSizeCheck(const Value* attribute, const Value* value) {
  return kNandSizeCheck.record(attribute, value);
}

Dictionary ZRTTavikKernel::minimumNandSize(const Value* attribute, const Value* value) {
  return kMinimumNandSize.record(attribute, value);
}

Dictionary ZRTTavikKernel::systemPartitionSizeCheck(const Value* attribute, const Value* value) {
  return kSystemPartitionSizeCheck.record(attribute, value);
}

Dictionary ZRTTavikKernel::varnockSystemPartitionSizeCheck(const Value* attribute, const Value* value) {
  return kVarnockSystemPartitionSizeCheck.record(attribute, value);
}

Dictionary ZRTTavikKernel::cccNandSizeCheck(const Value* attribute, const Dictionary* references, const Value* value) {
  const auto code = parseCCCCode(find(references, "SerialNumber"));
  const Value* codeValue = code ? &*code : nullptr;
  const Value* size = find(dictionaryOf(value), codeValue);
  const Value unspecified = formattedValue("no size for CCC %@ specified", {codeValue});
  Finding finding = judgeSize(parseNandSize(attribute), size, std::equal_to<>(), *unspecified.ifString());
  return ruleResult(finding.result, std::move(finding.actual), expectedSize(size, nullptr));
}

}  // namespace tavik
