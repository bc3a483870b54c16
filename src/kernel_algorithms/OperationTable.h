/// @file
/// The operations that rules may name, one row per predicate, sorted by word.
#ifndef TAVIK_KERNEL_ALGORITHMS_OPERATION_TABLE_H
#define TAVIK_KERNEL_ALGORITHMS_OPERATION_TABLE_H

#include <algorithm>
#include <array>
#include <functional>
#include <span>
#include <string_view>

#include "kernel_algorithms/Predicates.h"

namespace tavik {

/// The operation "WORD:references:value:" if it takes references, otherwise "WORD:value:".
struct Operation {
  std::string_view word;  ///< as spelled in rules
  Predicate* judge;
  /// The record text for the rule's value if it does not depend on the device, so that it can be made once per rule.
  const Phrase* phrase = nullptr;
  bool takesReferences = false;
  /// A rule with references but no "value" takes its first reference value as the expected value.
  bool referenceMayBeValue = false;
  /// If one of these references is missing, the call's references are logged.
  std::span<const std::string_view> loggedWithout = {};
};

namespace predicates {

inline constexpr std::string_view kPartNumberReferences[] = {"ModelNumber", "RegionInfo", "mpn", "region_code"};

inline constexpr auto kOperations = std::to_array<Operation>({
    {.word = "MPN4CCheck", .judge = MPN4CCheck, .phrase = &kCaseInsensitiveEqual},
    {.word = "MPN4CListCheck", .judge = MPN4CListCheck, .phrase = &kElements},
    {.word = "MPN4ECheck", .judge = MPN4ECheck, .phrase = &kCaseInsensitiveEqual},
    {.word = "MPN4EListCheck", .judge = MPN4EListCheck, .phrase = &kElements},
    {.word = "MPNCCCCheck", .judge = MPNCCCCheck, .phrase = &kCaseInsensitiveEqual},
    {.word = "boolEqual", .judge = boolEqual, .phrase = &kIs},
    {.word = "caseInsensitiveEqual",
     .judge = caseInsensitiveEqual,
     .phrase = &kCaseInsensitiveEqual,
     .referenceMayBeValue = true},
    {.word = "caseInsensitiveEqualData",
     .judge = caseInsensitiveEqualData,
     .phrase = &kCaseInsensitiveEqual,
     .referenceMayBeValue = true},
    {.word = "cccNandSizeCheck", .judge = cccNandSizeCheck, .takesReferences = true},
    {.word = "checkEEEFCCIDTable", .judge = checkEEEFCCIDTable, .takesReferences = true},
    {.word = "checkIMEIfromGUI", .judge = checkIMEIfromGUI, .phrase = &kHasSuffix, .referenceMayBeValue = true},
    {.word = "checkWifiVendorAgainst4E", .judge = checkWifiVendorAgainst4E, .takesReferences = true},
    {.word = "checkWifiVendorAgainstEEE", .judge = checkWifiVendorAgainstEEE, .takesReferences = true},
    {.word = "combinedMPNRCCheck",
     .judge = combinedMPNRCCheck,
     .takesReferences = true,
     .loggedWithout = kPartNumberReferences},
    {.word = "contains", .judge = contains, .phrase = &kContains},
    {.word = "controlBitCheck", .judge = controlBitCheck, .phrase = &kBitsPass},
    {.word = "dataNotNull", .judge = dataNotNull},
    {.word = "equal", .judge = equal, .phrase = &kEqual, .referenceMayBeValue = true},
    {.word = "equalData", .judge = equalData, .phrase = &kEqual},
    {.word = "equalLong", .judge = equalLong, .phrase = &kEqual, .referenceMayBeValue = true},
    {.word = "equalMask", .judge = equalMask, .phrase = &kAndMask},
    {.word = "greaterThan", .judge = greaterThan, .phrase = &kGreaterThan, .referenceMayBeValue = true},
    {.word = "hasPrefix", .judge = hasPrefix, .phrase = &kHasPrefix, .referenceMayBeValue = true},
    {.word = "hasSuffix", .judge = hasSuffix, .phrase = &kHasSuffix, .referenceMayBeValue = true},
    {.word = "isUppercase", .judge = isUppercase, .referenceMayBeValue = true},
    {.word = "minimumNandSize", .judge = minimumNandSize, .phrase = &kNoLessThan},
    {.word = "nandSizeCheck", .judge = nandSizeCheck},
    {.word = "nvramWhiteList", .judge = nvramWhiteList, .phrase = &kOneOf, .referenceMayBeValue = true},
    {.word = "referenceHasPrefix", .judge = referenceHasPrefix, .referenceMayBeValue = true},
    {.word = "sendConditionalAttribute", .judge = sendConditionalAttribute},
    {.word = "sendStaticAttribute", .judge = sendStaticAttribute},
    {.word = "staticTextGUIEquals", .judge = staticTextGUIEquals, .takesReferences = true},
    {.word = "swbhRegionMatch", .judge = swbhRegionMatch, .takesReferences = true},
    {.word = "systemPartitionSizeCheck", .judge = systemPartitionSizeCheck},
    {.word = "validIMEI", .judge = validIMEI, .phrase = &kHasSomePrefix},
    {.word = "valueInList", .judge = valueInList, .phrase = &kOneOf, .referenceMayBeValue = true},
    {.word = "varnockSystemPartitionSizeCheck", .judge = varnockSystemPartitionSizeCheck},
});

}  // namespace predicates

using predicates::kOperations;

static_assert(std::ranges::adjacent_find(kOperations, std::ranges::greater_equal{}, &Operation::word) ==
                  kOperations.end(),
              "sorted by word, each once");

}  // namespace tavik

#endif
