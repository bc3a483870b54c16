// The predicates as members of the kernel, for hosts that call them directly.

#include <tavik/ZRTTavikKernel.h>

#include "kernel_algorithms/Predicates.h"
#include "values/Format.h"
#include "values/MaybeAbsent.h"

namespace tavik {

using Kernel = ZRTTavikKernel;

Dictionary Kernel::buildResult(bool result, const Value* actual, const Value* expected) {
  return recordOf(result, actual, expected);
}

Dictionary Kernel::checkNotExist(const Dictionary& attributes, const Value* attributeName) {
  return judgeAbsence(attributes, attributeName).record();
}

// clang-format off
#define TAVIK_PREDICATE(name) \
  Dictionary Kernel::name(const Value* attribute, const Value* value) { \
    return predicates::name({attribute, nullptr, value}).record(); \
  }
#define TAVIK_REFERENCE_PREDICATE(name) \
  Dictionary Kernel::name(const Value* attribute, const Dictionary* references, const Value* value) { \
    return predicates::name({attribute, references, value}).record(); \
  }

TAVIK_PREDICATE(hasSuffix)
TAVIK_PREDICATE(hasPrefix)
TAVIK_PREDICATE(referenceHasPrefix)
TAVIK_PREDICATE(caseInsensitiveEqual)
TAVIK_PREDICATE(caseInsensitiveEqualData)
TAVIK_PREDICATE(valueInList)
TAVIK_PREDICATE(greaterThan)
TAVIK_PREDICATE(contains)
TAVIK_PREDICATE(equal)
TAVIK_PREDICATE(equalLong)
TAVIK_PREDICATE(equalData)
TAVIK_PREDICATE(equalMask)
TAVIK_PREDICATE(dataNotNull)
TAVIK_PREDICATE(boolEqual)
TAVIK_PREDICATE(isUppercase)
TAVIK_PREDICATE(MPNCCCCheck)
TAVIK_PREDICATE(MPN4CCheck)
TAVIK_PREDICATE(MPN4ECheck)
TAVIK_PREDICATE(MPN4CListCheck)
TAVIK_PREDICATE(MPN4EListCheck)
TAVIK_PREDICATE(nandSizeCheck)
TAVIK_PREDICATE(minimumNandSize)
TAVIK_PREDICATE(systemPartitionSizeCheck)
TAVIK_PREDICATE(varnockSystemPartitionSizeCheck)
TAVIK_PREDICATE(validIMEI)
TAVIK_PREDICATE(checkIMEIfromGUI)
TAVIK_PREDICATE(controlBitCheck)
TAVIK_PREDICATE(nvramWhiteList)
TAVIK_PREDICATE(sendStaticAttribute)
TAVIK_PREDICATE(sendConditionalAttribute)

TAVIK_REFERENCE_PREDICATE(combinedMPNRCCheck)
TAVIK_REFERENCE_PREDICATE(swbhRegionMatch)
TAVIK_REFERENCE_PREDICATE(cccNandSizeCheck)
TAVIK_REFERENCE_PREDICATE(checkEEEFCCIDTable)
TAVIK_REFERENCE_PREDICATE(checkWifiVendorAgainstEEE)
TAVIK_REFERENCE_PREDICATE(checkWifiVendorAgainst4E)
TAVIK_REFERENCE_PREDICATE(staticTextGUIEquals)
// clang-format on

}  // namespace tavik
