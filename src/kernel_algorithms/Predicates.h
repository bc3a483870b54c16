/// @file
/// The predicates that rules may name. To add one, declare its function here, and add rows to OperationTable.h and
/// PredicateFacts.cpp and an entry to docs/predicates.md.
#ifndef TAVIK_KERNEL_ALGORITHMS_PREDICATES_H
#define TAVIK_KERNEL_ALGORITHMS_PREDICATES_H

#include "kernel_algorithms/Judgement.h"

namespace tavik::predicates {

// Record texts for the rule's value.
inline constexpr Phrase kAndMask = {"and mask ", Phrase::About::kMask, " equal "};
inline constexpr Phrase kBitsPass = {"CB ", Phrase::About::kEach, " pass, "};
inline constexpr Phrase kCaseInsensitiveEqual = {"caseInsensitiveEqual:"};
inline constexpr Phrase kContains = {"contains "};
inline constexpr Phrase kElements = {"", Phrase::About::kElements, ","};
inline constexpr Phrase kEqual = {"equal "};
inline constexpr Phrase kGreaterThan = {"greater than "};
inline constexpr Phrase kHasPrefix = {"has prefix "};
inline constexpr Phrase kHasSuffix = {"has suffix "};
inline constexpr Phrase kHasSomePrefix = {"has prefix ", Phrase::About::kElements, ", or "};
inline constexpr Phrase kIs = {"is "};
inline constexpr Phrase kNoLessThan = {"no less than "};
inline constexpr Phrase kOneOf = {"one of ", Phrase::About::kElements, ","};

// ComparisonPredicates.cpp
Predicate boolEqual, caseInsensitiveEqual, caseInsensitiveEqualData, contains, dataNotNull, equal, equalData, equalLong;
Predicate equalMask, greaterThan, hasPrefix, hasSuffix, isUppercase, nvramWhiteList, referenceHasPrefix, valueInList;

// IdentityPredicates.cpp
Predicate MPN4CCheck, MPN4CListCheck, MPN4ECheck, MPN4EListCheck, MPNCCCCheck, combinedMPNRCCheck, swbhRegionMatch;

// ImeiPredicates.cpp
Predicate checkIMEIfromGUI, validIMEI;

// RadioPredicates.cpp
Predicate checkEEEFCCIDTable, checkWifiVendorAgainst4E, checkWifiVendorAgainstEEE;

// StationPredicates.cpp
Predicate controlBitCheck, sendConditionalAttribute, sendStaticAttribute, staticTextGUIEquals;

// StoragePredicates.cpp
Predicate cccNandSizeCheck, minimumNandSize, nandSizeCheck, systemPartitionSizeCheck, varnockSystemPartitionSizeCheck;

}  // namespace tavik::predicates

#endif
