// The properties of each predicate, for people and for programs that process rules. Checks do not use them.

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
using predicates::kPartNumberReferences;
using enum Without;

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

// A region code is the part before the first "/".
constexpr ValueFacts kRegionCode = {.kinds = {Kind::kString}, .role = "region code", .noneOf = "/"};
constexpr ValueFacts kRegionCodes = {
    .kinds = {Kind::kArray}, .otherKind = OtherKind::kPassedOver, .elements = &kRegionCode};
constexpr EntryFacts kCommonBehaviorEntries[] = {
    {"countryList", &kRegionCodes, kFails},
    {"behavior", &kText, kPasses},
};
constexpr ValueFacts kCommonBehavior = {
    .kinds = {Kind::kDictionary}, .otherKind = OtherKind::kPassedOver, .entries = kCommonBehaviorEntries};
constexpr ValueFacts kSpecialBehaviors = {.kinds = {Kind::kDictionary},
                                          .otherKind = OtherKind::kPassedOver,
                                          .tableKeys = &kRegionCode,
                                          .tableEntries = &kText};
constexpr EntryFacts kBehaviorEntries[] = {
    {"nospecial", &kCommonBehavior, kSame},
    {"special", &kSpecialBehaviors, kSame},
};
constexpr ValueFacts kBehaviors = {
    .kinds = {Kind::kDictionary}, .empty = Empty::kNeverPasses, .entries = kBehaviorEntries};

constexpr EntryFacts kMaskEntries[] = {{"Mask", &kBytes, kFails}, {"Result", &kBytes, kFails}};
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

constexpr EntryFacts kForwardedEntries[] = {{"OnPass", &kAnything, kSame}, {"OnFail", &kAnything, kSame}};
constexpr ValueFacts kForwarded = {
    .kinds = {Kind::kDictionary}, .otherKind = OtherKind::kPassedOver, .entries = kForwardedEntries};
constexpr ValueFacts kMatchingValues = {.kinds = {Kind::kArray}, .elements = &kAnything};
constexpr EntryFacts kConditionEntries[] = {
    {"list", &kMatchingValues, kPasses},
    {"match", &kForwarded, kFault},
    {"nonMatch", &kForwarded, kFault},
};
constexpr ValueFacts kConditions = {.kinds = {Kind::kDictionary}, .entries = kConditionEntries};

constexpr std::string_view kBoardReference[] = {"MLBSerialNumber"};
constexpr std::string_view kFCCIDReference[] = {"FCCID"};
constexpr std::string_view kRegionReference[] = {"RegionInfo"};
constexpr std::string_view kSerialNumberReference[] = {"SerialNumber"};

// For a predicate that reads its attribute. If `withoutValue` is `kSame`, the value is not read.
constexpr PredicateFacts facts(std::string_view word, std::string_view meaning, const ValueFacts& attribute,
                               const ValueFacts& value, Without withoutValue,
                               std::span<const std::string_view> references = {}) noexcept {
  return {.word = word,
          .meaning = meaning,
          .attribute = attribute,
          .value = value,
          .withoutValue = withoutValue,
          .references = references};
}

constexpr auto kOwnFacts = std::to_array<PredicateFacts>({
    facts("MPN4CCheck", "the last 4 characters of the serial number are the expected ones", kDeviceSerialNumber,
          kFourCharacters, kPasses),
    facts("MPN4CListCheck", "the last 4 characters of the serial number are in the list", kDeviceSerialNumber, kCodes4,
          kFails),
    facts("MPN4ECheck", "the 4E code of the board's serial number (from its 12th character) is the expected one",
          kBoardSerialNumber, kFourCharacters, kPasses),
    facts("MPN4EListCheck", "the 4E code of the board's serial number (from its 12th character) is in the list",
          kBoardSerialNumber, kCodes4, kFails),
    facts("MPNCCCCheck", "the last 3 characters of the serial number are the expected ones", kDeviceSerialNumber,
          kThreeCharacters, kPasses),
    facts("boolEqual", "it equals the expected value, where 1 means yes and 0 means no", kBoolean, kTruth,
          kComparesWithFalse),
    facts("caseInsensitiveEqual", "it equals the expected text, ignoring case", kText, kText, kPasses),
    facts("caseInsensitiveEqualData", "its bytes equal the expected bytes", kBytes, kHexadecimal, kPasses),
    facts("cccNandSizeCheck", "the storage has as many GB as expected for the last 3 characters of the serial number",
          kByteCount, kSizesByCode, kFails, kSerialNumberReference),
    facts("checkEEEFCCIDTable",
          "the EEE code of the logic board (from the 10th character of its serial number) is listed for the device's "
          "FCC identifier",
          kBoardSerialNumber, kBoardsByIdentifier, kFails, kFCCIDReference),
    facts("checkIMEIfromGUI", "the IMEI ends with the 4 digits that the operator typed", kImei, kTypedDigits, kFails),
    facts("checkWifiVendorAgainst4E",
          "the 4E code of the logic board (from the 12th character of its serial number) is listed for the vendor of "
          "the Wi-Fi module",
          kProductInformation, kRevisionsByVendor, kFails, kBoardReference),
    facts("checkWifiVendorAgainstEEE",
          "the EEE code of the logic board (from the 10th character of its serial number) is listed for the vendor of "
          "the Wi-Fi module",
          kProductInformation, kBoardsByVendor, kFails, kBoardReference),
    {.word = "combinedMPNRCCheck",
     .meaning = "the device's part number and region match those in the shop-floor system",
     .readsAttribute = false,
     .withoutValue = kSame,
     .references = kPartNumberReferences},
    facts("contains", "it contains the expected text", kText, kPattern, kFails),
    facts("controlBitCheck", "the test of every listed control bit has passed", kControlBitBlock, kControlBits,
          kPasses),
    facts("dataNotNull", "at least one of its bytes is not zero", kBytes, kAnything, kSame),
    facts("equal", "it equals the expected number", kInteger, kInteger, kComparesWithZero),
    facts("equalData", "its bytes equal the expected bytes", kAnything, kText, kFails),
    facts("equalLong", "it equals the expected number", kLong, kLong, kComparesWithZero),
    facts("equalMask", "the bits selected by the mask have the expected values", kBytes, kMaskAndResult, kFails),
    facts("greaterThan", "it is greater than the expected number", kReal, kReal, kComparesWithZero),
    facts("hasPrefix", "it begins with the expected text", kText, kPattern, kFails),
    facts("hasSuffix", "it ends with the expected text", kText, kPattern, kFails),
    facts("isUppercase", "it contains no lowercase letters", kText, kAnything, kSame),
    facts("minimumNandSize", "the storage has at least as many GB as expected", kByteCount, kGigabytes, kFails),
    facts("nandSizeCheck", "the storage has as many GB as expected", kByteCount, kGigabytes, kFails),
    facts("nvramWhiteList", "every firmware variable is in the list", kVariables, kVariableNames, kPasses),
    facts("referenceHasPrefix", "the expected text begins with it", kPattern, kPattern, kFails),
    {.word = "sendConditionalAttribute",
     .meaning = "the device has it",
     .forwards = true,
     .attribute = kAnything,
     .value = kConditions,
     .withoutValue = kFault},
    {.word = "sendStaticAttribute",
     .meaning = "the device has it",
     .forwards = true,
     .readsAttribute = false,
     .value = kForwarded,
     .withoutValue = kFault},
    {.word = "staticTextGUIEquals",
     .meaning = "the operator's answer equals the expected text, ignoring case",
     .readsAttribute = false,
     .value = kText,
     .withoutValue = kFault,
     .readsTheOnlyReference = true},
    facts("swbhRegionMatch", "it is the expected behavior for the device's region", kAnything, kBehaviors, kFails,
          kRegionReference),
    facts("systemPartitionSizeCheck", "the system partition has as many MiB as expected", kByteCount, kMebibytes,
          kFails),
    facts("validIMEI", "the IMEI begins with one of the expected prefixes", kImei, kPrefixes, kFails),
    facts("valueInList", "it, or every element of it, is in the list", kAnything, kList, kPasses),
    facts("varnockSystemPartitionSizeCheck", "the system partition has no more MiB than expected", kByteCount,
          kMebibytes, kFails),
});
static_assert(std::ranges::equal(kOwnFacts, kOperations, {}, &PredicateFacts::word, &Operation::word),
              "the words of the operation table, in its order");

// Completed from the operation table.
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
