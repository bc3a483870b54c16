// What there is to know about each predicate, for people and for programs that read rules. A check does not read it.

#include <tavik/PredicateFacts.h>
#include <tavik/SystemConfig.h>

#include <algorithm>
#include <array>
#include <cstddef>

#include "kernel_algorithms/OperationRegistry.h"

namespace tavik {

namespace {

using ReadAs = ValueFacts::ReadAs;
using Empty = ValueFacts::Empty;
using OtherKind = ValueFacts::OtherKind;

constexpr Kinds kScalars = {Kind::kNumber, Kind::kString, Kind::kBoolean};

constexpr ValueFacts kAnything = {};
constexpr ValueFacts kText = {.kinds = {Kind::kString}};
constexpr ValueFacts kPattern = {.kinds = {Kind::kString}, .empty = Empty::kNeverPasses};
constexpr ValueFacts kHexadecimal = {
    .kinds = {Kind::kString}, .role = "hexadecimal digits", .inPairs = true, .onlyOf = "0123456789abcdefABCDEF"};
constexpr ValueFacts kBytes = {.kinds = {Kind::kData}};
constexpr ValueFacts kBoolean = {.kinds = {Kind::kBoolean}};
constexpr ValueFacts kTruth = {.kinds = kScalars, .readAs = ReadAs::kBoolean};
constexpr ValueFacts kInteger = {.kinds = kScalars, .readAs = ReadAs::kInteger};
constexpr ValueFacts kLong = {.kinds = kScalars, .readAs = ReadAs::kLong};
constexpr ValueFacts kReal = {.kinds = kScalars, .readAs = ReadAs::kReal};

constexpr ValueFacts kList = {.kinds = {Kind::kArray}, .empty = Empty::kPassesEmptyAlone, .elements = &kAnything};
constexpr ValueFacts kVariables = {.kinds = {Kind::kDictionary}, .role = "firmware variables"};
constexpr ValueFacts kVariableNames = {.kinds = {Kind::kArray}, .empty = Empty::kPassesEmptyAlone, .elements = &kText};

constexpr ValueFacts kDeviceSerialNumber = {.kinds = {Kind::kString}, .role = "serial number"};
constexpr ValueFacts kBoardSerialNumber = {.kinds = {Kind::kString}, .role = "logic board's serial number"};
constexpr ValueFacts kThreeCharacters = {
    .kinds = {Kind::kString}, .role = "code", .empty = Empty::kNeverPasses, .characters = 3};
constexpr ValueFacts kFourCharacters = {
    .kinds = {Kind::kString}, .role = "code", .empty = Empty::kNeverPasses, .characters = 4};
constexpr ValueFacts kCodes3 = {.kinds = {Kind::kArray}, .empty = Empty::kNeverPasses, .elements = &kThreeCharacters};
constexpr ValueFacts kCodes4 = {.kinds = {Kind::kArray}, .empty = Empty::kNeverPasses, .elements = &kFourCharacters};

// An attribute of any other kind counts as 0 bytes.
constexpr ValueFacts kByteCount = {.readAs = ReadAs::kReal, .role = "bytes"};
constexpr ValueFacts kGigabytes = {.kinds = kScalars, .readAs = ReadAs::kInteger, .role = "gigabytes"};
constexpr ValueFacts kMebibytes = {.kinds = kScalars, .readAs = ReadAs::kInteger, .role = "mebibytes"};
constexpr ValueFacts kCapacityCode = {.kinds = {Kind::kString}, .role = "CCC code", .characters = 3};
constexpr ValueFacts kSizesByCode = {.kinds = {Kind::kDictionary},
                                     .empty = Empty::kNeverPasses,
                                     .tableKeys = &kCapacityCode,
                                     .tableEntries = &kGigabytes};

constexpr ValueFacts kImei = {.kinds = {Kind::kString}, .role = "IMEI"};
constexpr ValueFacts kTypedDigits = {
    .kinds = {Kind::kString}, .role = "last digits of the IMEI", .empty = Empty::kNeverPasses};
constexpr ValueFacts kPrefixes = {.kinds = {Kind::kArray}, .empty = Empty::kNeverPasses, .elements = &kPattern};

constexpr ValueFacts kProductInformation = {.kinds = {Kind::kString}, .role = "product information"};
constexpr ValueFacts kFCCIdentifier = {.kinds = {Kind::kString}, .role = "FCC identifier"};
constexpr ValueFacts kVendorCode = {.kinds = {Kind::kString}, .role = "vendor code", .noneOf = " ="};
constexpr ValueFacts kBoardsByIdentifier = {
    .kinds = {Kind::kDictionary}, .empty = Empty::kNeverPasses, .tableKeys = &kFCCIdentifier, .tableEntries = &kCodes3};
constexpr ValueFacts kBoardsByVendor = {
    .kinds = {Kind::kDictionary}, .empty = Empty::kNeverPasses, .tableKeys = &kVendorCode, .tableEntries = &kCodes3};
constexpr ValueFacts kRevisionsByVendor = {
    .kinds = {Kind::kDictionary}, .empty = Empty::kNeverPasses, .tableKeys = &kVendorCode, .tableEntries = &kCodes4};

// A region code is what stands before the first "/".
constexpr ValueFacts kRegionCode = {.kinds = {Kind::kString}, .role = "region code", .noneOf = "/"};
constexpr ValueFacts kRegionCodes = {
    .kinds = {Kind::kArray}, .otherKind = OtherKind::kPassedOver, .elements = &kRegionCode};
constexpr EntryFacts kCommonBehaviorEntries[] = {
    {"countryList", &kRegionCodes, Without::kFails},
    {"behavior", &kText, Without::kPasses},
};
constexpr ValueFacts kCommonBehavior = {
    .kinds = {Kind::kDictionary}, .otherKind = OtherKind::kPassedOver, .entries = kCommonBehaviorEntries};
constexpr ValueFacts kSpecialBehaviors = {.kinds = {Kind::kDictionary},
                                          .otherKind = OtherKind::kPassedOver,
                                          .tableKeys = &kRegionCode,
                                          .tableEntries = &kText};
constexpr EntryFacts kBehaviorEntries[] = {
    {"nospecial", &kCommonBehavior, Without::kSame},
    {"special", &kSpecialBehaviors, Without::kSame},
};
constexpr ValueFacts kBehaviors = {
    .kinds = {Kind::kDictionary}, .empty = Empty::kNeverPasses, .entries = kBehaviorEntries};

constexpr EntryFacts kMaskEntries[] = {{"Mask", &kBytes, Without::kFails}, {"Result", &kBytes, Without::kFails}};
constexpr ValueFacts kMaskAndResult = {
    .kinds = {Kind::kDictionary}, .empty = Empty::kNeverPasses, .entries = kMaskEntries, .isMask = true};

constexpr ValueFacts kControlBitBlock = {.kinds = {Kind::kData}, .role = "control-bit block"};
constexpr ValueFacts kControlBit = {.kinds = kScalars,
                                    .readAs = ReadAs::kInteger,
                                    .role = "control bit",
                                    .numberLimit = SystemConfig::kControlBitCount};
constexpr ValueFacts kControlBits = {.kinds = {Kind::kArray},
                                     .empty = Empty::kPassesAlways,
                                     .elements = &kControlBit,
                                     .elementsNeeded = ValueFacts::Elements::kEvery};

constexpr EntryFacts kForwardedEntries[] = {{"OnPass", &kAnything, Without::kSame},
                                            {"OnFail", &kAnything, Without::kSame}};
constexpr ValueFacts kForwarded = {
    .kinds = {Kind::kDictionary}, .otherKind = OtherKind::kPassedOver, .entries = kForwardedEntries};
constexpr ValueFacts kMatchingValues = {.kinds = {Kind::kArray}, .elements = &kAnything};
constexpr EntryFacts kConditionEntries[] = {
    {"list", &kMatchingValues, Without::kPasses},
    {"match", &kForwarded, Without::kFault},
    {"nonMatch", &kForwarded, Without::kFault},
};
constexpr ValueFacts kConditions = {.kinds = {Kind::kDictionary}, .entries = kConditionEntries};

constexpr std::string_view kBoardReference[] = {"MLBSerialNumber"};
constexpr std::string_view kFCCIDReference[] = {"FCCID"};
constexpr std::string_view kPartNumberReferences[] = {"ModelNumber", "RegionInfo", "mpn", "region_code"};
constexpr std::string_view kRegionReference[] = {"RegionInfo"};
constexpr std::string_view kSerialNumberReference[] = {"SerialNumber"};

constexpr auto kOwnFacts = std::to_array<PredicateFacts>({
    {.word = "MPN4CCheck",
     .meaning = "the last 4 characters of the serial number are the expected ones",
     .attribute = kDeviceSerialNumber,
     .value = kFourCharacters,
     .withoutValue = Without::kPasses},
    {.word = "MPN4CListCheck",
     .meaning = "the last 4 characters of the serial number are in the list",
     .attribute = kDeviceSerialNumber,
     .value = kCodes4,
     .withoutValue = Without::kFails},
    {.word = "MPN4ECheck",
     .meaning = "the 4E code of the board's serial number (from its 12th character) is the expected one",
     .attribute = kBoardSerialNumber,
     .value = kFourCharacters,
     .withoutValue = Without::kPasses},
    {.word = "MPN4EListCheck",
     .meaning = "the 4E code of the board's serial number (from its 12th character) is in the list",
     .attribute = kBoardSerialNumber,
     .value = kCodes4,
     .withoutValue = Without::kFails},
    {.word = "MPNCCCCheck",
     .meaning = "the last 3 characters of the serial number are the expected ones",
     .attribute = kDeviceSerialNumber,
     .value = kThreeCharacters,
     .withoutValue = Without::kPasses},
    {.word = "boolEqual",
     .meaning = "it is as expected, where 1 means yes and 0 means no",
     .attribute = kBoolean,
     .value = kTruth,
     .withoutValue = Without::kComparesWithFalse},
    {.word = "caseInsensitiveEqual",
     .meaning = "it is the expected text, in capitals or not",
     .attribute = kText,
     .value = kText,
     .withoutValue = Without::kPasses},
    {.word = "caseInsensitiveEqualData",
     .meaning = "its bytes are the expected ones",
     .attribute = kBytes,
     .value = kHexadecimal,
     .withoutValue = Without::kPasses},
    {.word = "cccNandSizeCheck",
     .meaning = "the storage has as many GB as belong to the last 3 characters of the serial number",
     .attribute = kByteCount,
     .value = kSizesByCode,
     .withoutValue = Without::kFails,
     .references = kSerialNumberReference},
    {.word = "checkEEEFCCIDTable",
     .meaning = "the board is one that the device's FCC identifier is for, told by its EEE code (from the 10th "
                "character of its serial number)",
     .attribute = kBoardSerialNumber,
     .value = kBoardsByIdentifier,
     .withoutValue = Without::kFails,
     .references = kFCCIDReference},
    {.word = "checkIMEIfromGUI",
     .meaning = "the IMEI ends with the 4 digits that the operator typed",
     .attribute = kImei,
     .value = kTypedDigits,
     .withoutValue = Without::kFails},
    {.word = "checkWifiVendorAgainst4E",
     .meaning = "the board is one that the vendor's Wi-Fi module is for, told by its 4E code (from the 12th character "
                "of its serial number)",
     .attribute = kProductInformation,
     .value = kRevisionsByVendor,
     .withoutValue = Without::kFails,
     .references = kBoardReference},
    {.word = "checkWifiVendorAgainstEEE",
     .meaning = "the board is one that the vendor's Wi-Fi module is for, told by its EEE code (from the 10th character "
                "of its serial number)",
     .attribute = kProductInformation,
     .value = kBoardsByVendor,
     .withoutValue = Without::kFails,
     .references = kBoardReference},
    {.word = "combinedMPNRCCheck",
     .meaning = "the device's part number and region are those that the shop-floor system has for it",
     .readsAttribute = false,
     .withoutValue = Without::kSame,
     .references = kPartNumberReferences},
    {.word = "contains",
     .meaning = "the expected text occurs in it",
     .attribute = kText,
     .value = kPattern,
     .withoutValue = Without::kFails},
    {.word = "controlBitCheck",
     .meaning = "every listed control bit says that its test was passed",
     .attribute = kControlBitBlock,
     .value = kControlBits,
     .withoutValue = Without::kPasses},
    {.word = "dataNotNull",
     .meaning = "some byte of it is not zero",
     .attribute = kBytes,
     .withoutValue = Without::kSame},
    {.word = "equal",
     .meaning = "it is the expected number",
     .attribute = kInteger,
     .value = kInteger,
     .withoutValue = Without::kComparesWithZero},
    {.word = "equalData",
     .meaning = "its bytes are the expected ones",
     .attribute = kAnything,
     .value = kText,
     .withoutValue = Without::kFails},
    {.word = "equalLong",
     .meaning = "it is the expected number",
     .attribute = kLong,
     .value = kLong,
     .withoutValue = Without::kComparesWithZero},
    {.word = "equalMask",
     .meaning = "its bits that the mask selects are as expected",
     .attribute = kBytes,
     .value = kMaskAndResult,
     .withoutValue = Without::kFails},
    {.word = "greaterThan",
     .meaning = "it is greater than the expected number",
     .attribute = kReal,
     .value = kReal,
     .withoutValue = Without::kComparesWithZero},
    {.word = "hasPrefix",
     .meaning = "it begins with the expected text",
     .attribute = kText,
     .value = kPattern,
     .withoutValue = Without::kFails},
    {.word = "hasSuffix",
     .meaning = "it ends with the expected text",
     .attribute = kText,
     .value = kPattern,
     .withoutValue = Without::kFails},
    {.word = "isUppercase", .meaning = "it has no small letters", .attribute = kText, .withoutValue = Without::kSame},
    {.word = "minimumNandSize",
     .meaning = "the storage has at least as many GB as expected",
     .attribute = kByteCount,
     .value = kGigabytes,
     .withoutValue = Without::kFails},
    {.word = "nandSizeCheck",
     .meaning = "the storage has as many GB as expected",
     .attribute = kByteCount,
     .value = kGigabytes,
     .withoutValue = Without::kFails},
    {.word = "nvramWhiteList",
     .meaning = "every firmware variable there is stands in the list",
     .attribute = kVariables,
     .value = kVariableNames,
     .withoutValue = Without::kPasses},
    {.word = "referenceHasPrefix",
     .meaning = "what it is checked against begins with it",
     .attribute = kPattern,
     .value = kPattern,
     .withoutValue = Without::kFails},
    {.word = "sendConditionalAttribute",
     .meaning = "it is there",
     .forwards = true,
     .attribute = kAnything,
     .value = kConditions,
     .withoutValue = Without::kFault},
    {.word = "sendStaticAttribute",
     .meaning = "it is there",
     .forwards = true,
     .readsAttribute = false,
     .value = kForwarded,
     .withoutValue = Without::kFault},
    {.word = "staticTextGUIEquals",
     .meaning = "the operator's answer is the expected text",
     .readsAttribute = false,
     .value = kText,
     .withoutValue = Without::kFault,
     .readsTheOnlyReference = true},
    {.word = "swbhRegionMatch",
     .meaning = "it is the behavior that the device's region asks for",
     .attribute = kAnything,
     .value = kBehaviors,
     .withoutValue = Without::kFails,
     .references = kRegionReference},
    {.word = "systemPartitionSizeCheck",
     .meaning = "the system partition has as many MiB as expected",
     .attribute = kByteCount,
     .value = kMebibytes,
     .withoutValue = Without::kFails},
    {.word = "validIMEI",
     .meaning = "the IMEI begins with one of the expected prefixes",
     .attribute = kImei,
     .value = kPrefixes,
     .withoutValue = Without::kFails},
    {.word = "valueInList",
     .meaning = "all of it stands in the list",
     .attribute = kAnything,
     .value = kList,
     .withoutValue = Without::kPasses},
    {.word = "varnockSystemPartitionSizeCheck",
     .meaning = "the system partition has no more MiB than expected",
     .attribute = kByteCount,
     .value = kMebibytes,
     .withoutValue = Without::kFails},
});
static_assert(std::ranges::equal(kOwnFacts, kOperations, {}, &PredicateFacts::word, &Operation::word),
              "the words of the operation table, in its order");

// With what the operation table says.
constexpr auto kFacts = [] {
  auto all = kOwnFacts;
  for (std::size_t row = 0; row < all.size(); ++row) {
    all[row].takesReferences = kOperations[row].takesReferences;
    all[row].firstReferenceMayBeValue = kOperations[row].referenceMayBeValue;
  }
  return all;
}();

}  // namespace

std::span<const PredicateFacts> PredicateFacts::all() noexcept { return kFacts; }

const PredicateFacts* PredicateFacts::find(std::string_view word) noexcept {
  const Operation* operation = findOperation(word);
  return operation == nullptr ? nullptr : &kFacts[static_cast<std::size_t>(operation - kOperations.data())];
}

}  // namespace tavik
