// The table of operations, and the part of the kernel that looks them up.

#include "kernel_algorithms/OperationRegistry.h"

#include <tavik/PredicateFacts.h>
#include <tavik/PredicateKernel.h>
#include <tavik/SystemConfig.h>
#include <tavik/ZRTTavikKernel.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <functional>
#include <iterator>
#include <ranges>
#include <utility>

#include "values/Format.h"

namespace tavik {

namespace {

using Kernel = ZRTTavikKernel;

// What the predicates take.

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

struct Row {
  std::string_view word;
  decltype(Operation::call) call;
  bool referenceMayBeValue = false;
  bool forwards = false;
  bool readsAttribute = true;
  ValueFacts attribute = {};
  ValueFacts value = {};
  Without withoutValue;
  std::span<const std::string_view> references = {};
  bool readsTheOnlyReference = false;
  bool logsMissingReferences = false;
  std::string_view meaning;
};

constexpr Row kRows[] = {
    {.word = "MPN4CCheck",
     .call = &kMPN4CCheck,
     .attribute = kDeviceSerialNumber,
     .value = kFourCharacters,
     .withoutValue = Without::kPasses,
     .meaning = "the last 4 characters of the serial number are the expected ones"},
    {.word = "MPN4CListCheck",
     .call = &kMPN4CListCheck,
     .attribute = kDeviceSerialNumber,
     .value = kCodes4,
     .withoutValue = Without::kFails,
     .meaning = "the last 4 characters of the serial number are in the list"},
    {.word = "MPN4ECheck",
     .call = &kMPN4ECheck,
     .attribute = kBoardSerialNumber,
     .value = kFourCharacters,
     .withoutValue = Without::kPasses,
     .meaning = "the 4E code of the board's serial number (from its 12th character) is the expected one"},
    {.word = "MPN4EListCheck",
     .call = &kMPN4EListCheck,
     .attribute = kBoardSerialNumber,
     .value = kCodes4,
     .withoutValue = Without::kFails,
     .meaning = "the 4E code of the board's serial number (from its 12th character) is in the list"},
    {.word = "MPNCCCCheck",
     .call = &kMPNCCCCheck,
     .attribute = kDeviceSerialNumber,
     .value = kThreeCharacters,
     .withoutValue = Without::kPasses,
     .meaning = "the last 3 characters of the serial number are the expected ones"},
    {.word = "boolEqual",
     .call = &kBoolEqual,
     .attribute = kBoolean,
     .value = kTruth,
     .withoutValue = Without::kComparesWithFalse,
     .meaning = "it is as expected, where 1 means yes and 0 means no"},
    {.word = "caseInsensitiveEqual",
     .call = &kCaseInsensitiveEqual,
     .referenceMayBeValue = true,
     .attribute = kText,
     .value = kText,
     .withoutValue = Without::kPasses,
     .meaning = "it is the expected text, in capitals or not"},
    {.word = "caseInsensitiveEqualData",
     .call = &kCaseInsensitiveEqualData,
     .referenceMayBeValue = true,
     .attribute = kBytes,
     .value = kHexadecimal,
     .withoutValue = Without::kPasses,
     .meaning = "its bytes are the expected ones"},
    {.word = "cccNandSizeCheck",
     .call = &Kernel::cccNandSizeCheck,
     .attribute = kByteCount,
     .value = kSizesByCode,
     .withoutValue = Without::kFails,
     .references = kSerialNumberReference,
     .meaning = "the storage has as many GB as belong to the last 3 characters of the serial number"},
    {.word = "checkEEEFCCIDTable",
     .call = &Kernel::checkEEEFCCIDTable,
     .attribute = kBoardSerialNumber,
     .value = kBoardsByIdentifier,
     .withoutValue = Without::kFails,
     .references = kFCCIDReference,
     .meaning = "the board is one that the device's FCC identifier is for, told by its EEE code (from the 10th "
                "character of its serial number)"},
    {.word = "checkIMEIfromGUI",
     .call = &Kernel::checkIMEIfromGUI,
     .referenceMayBeValue = true,
     .attribute = kImei,
     .value = kTypedDigits,
     .withoutValue = Without::kFails,
     .meaning = "the IMEI ends with the 4 digits that the operator typed"},
    {.word = "checkWifiVendorAgainst4E",
     .call = &Kernel::checkWifiVendorAgainst4E,
     .attribute = kProductInformation,
     .value = kRevisionsByVendor,
     .withoutValue = Without::kFails,
     .references = kBoardReference,
     .meaning = "the board is one that the vendor's Wi-Fi module is for, told by its 4E code (from the 12th character "
                "of its serial number)"},
    {.word = "checkWifiVendorAgainstEEE",
     .call = &Kernel::checkWifiVendorAgainstEEE,
     .attribute = kProductInformation,
     .value = kBoardsByVendor,
     .withoutValue = Without::kFails,
     .references = kBoardReference,
     .meaning = "the board is one that the vendor's Wi-Fi module is for, told by its EEE code (from the 10th character "
                "of its serial number)"},
    {.word = "combinedMPNRCCheck",
     .call = &Kernel::combinedMPNRCCheck,
     .readsAttribute = false,
     .withoutValue = Without::kSame,
     .references = kPartNumberReferences,
     .logsMissingReferences = true,
     .meaning = "the device's part number and region are those that the shop-floor system has for it"},
    {.word = "contains",
     .call = &kContains,
     .attribute = kText,
     .value = kPattern,
     .withoutValue = Without::kFails,
     .meaning = "the expected text occurs in it"},
    {.word = "controlBitCheck",
     .call = &Kernel::controlBitCheck,
     .attribute = kControlBitBlock,
     .value = kControlBits,
     .withoutValue = Without::kPasses,
     .meaning = "every listed control bit says that its test was passed"},
    {.word = "dataNotNull",
     .call = &kDataNotNull,
     .attribute = kBytes,
     .withoutValue = Without::kSame,
     .meaning = "some byte of it is not zero"},
    {.word = "equal",
     .call = &kEqual,
     .referenceMayBeValue = true,
     .attribute = kInteger,
     .value = kInteger,
     .withoutValue = Without::kComparesWithZero,
     .meaning = "it is the expected number"},
    {.word = "equalData",
     .call = &kEqualData,
     .attribute = kAnything,
     .value = kText,
     .withoutValue = Without::kFails,
     .meaning = "its bytes are the expected ones"},
    {.word = "equalLong",
     .call = &kEqualLong,
     .referenceMayBeValue = true,
     .attribute = kLong,
     .value = kLong,
     .withoutValue = Without::kComparesWithZero,
     .meaning = "it is the expected number"},
    {.word = "equalMask",
     .call = &Kernel::equalMask,
     .attribute = kBytes,
     .value = kMaskAndResult,
     .withoutValue = Without::kFails,
     .meaning = "its bits that the mask selects are as expected"},
    {.word = "greaterThan",
     .call = &kGreaterThan,
     .referenceMayBeValue = true,
     .attribute = kReal,
     .value = kReal,
     .withoutValue = Without::kComparesWithZero,
     .meaning = "it is greater than the expected number"},
    {.word = "hasPrefix",
     .call = &kHasPrefix,
     .referenceMayBeValue = true,
     .attribute = kText,
     .value = kPattern,
     .withoutValue = Without::kFails,
     .meaning = "it begins with the expected text"},
    {.word = "hasSuffix",
     .call = &kHasSuffix,
     .referenceMayBeValue = true,
     .attribute = kText,
     .value = kPattern,
     .withoutValue = Without::kFails,
     .meaning = "it ends with the expected text"},
    {.word = "isUppercase",
     .call = &Kernel::isUppercase,
     .referenceMayBeValue = true,
     .attribute = kText,
     .withoutValue = Without::kSame,
     .meaning = "it has no small letters"},
    {.word = "minimumNandSize",
     .call = &kMinimumNandSize,
     .attribute = kByteCount,
     .value = kGigabytes,
     .withoutValue = Without::kFails,
     .meaning = "the storage has at least as many GB as expected"},
    {.word = "nandSizeCheck",
     .call = &kNandSizeCheck,
     .attribute = kByteCount,
     .value = kGigabytes,
     .withoutValue = Without::kFails,
     .meaning = "the storage has as many GB as expected"},
    {.word = "nvramWhiteList",
     .call = &kNvramWhiteList,
     .referenceMayBeValue = true,
     .attribute = kVariables,
     .value = kVariableNames,
     .withoutValue = Without::kPasses,
     .meaning = "every firmware variable there is stands in the list"},
    {.word = "referenceHasPrefix",
     .call = &Kernel::referenceHasPrefix,
     .referenceMayBeValue = true,
     .attribute = kPattern,
     .value = kPattern,
     .withoutValue = Without::kFails,
     .meaning = "what it is checked against begins with it"},
    {.word = "sendConditionalAttribute",
     .call = &Kernel::sendConditionalAttribute,
     .forwards = true,
     .attribute = kAnything,
     .value = kConditions,
     .withoutValue = Without::kFault,
     .meaning = "it is there"},
    {.word = "sendStaticAttribute",
     .call = &Kernel::sendStaticAttribute,
     .forwards = true,
     .readsAttribute = false,
     .value = kForwarded,
     .withoutValue = Without::kFault,
     .meaning = "it is there"},
    {.word = "staticTextGUIEquals",
     .call = &Kernel::staticTextGUIEquals,
     .readsAttribute = false,
     .value = kText,
     .withoutValue = Without::kFault,
     .readsTheOnlyReference = true,
     .meaning = "the operator's answer is the expected text"},
    {.word = "swbhRegionMatch",
     .call = &Kernel::swbhRegionMatch,
     .attribute = kAnything,
     .value = kBehaviors,
     .withoutValue = Without::kFails,
     .references = kRegionReference,
     .meaning = "it is the behavior that the device's region asks for"},
    {.word = "systemPartitionSizeCheck",
     .call = &kSystemPartitionSizeCheck,
     .attribute = kByteCount,
     .value = kMebibytes,
     .withoutValue = Without::kFails,
     .meaning = "the system partition has as many MiB as expected"},
    {.word = "validIMEI",
     .call = &kValidIMEI,
     .attribute = kImei,
     .value = kPrefixes,
     .withoutValue = Without::kFails,
     .meaning = "the IMEI begins with one of the expected prefixes"},
    {.word = "valueInList",
     .call = &kValueInList,
     .referenceMayBeValue = true,
     .attribute = kAnything,
     .value = kList,
     .withoutValue = Without::kPasses,
     .meaning = "all of it stands in the list"},
    {.word = "varnockSystemPartitionSizeCheck",
     .call = &kVarnockSystemPartitionSizeCheck,
     .attribute = kByteCount,
     .value = kMebibytes,
     .withoutValue = Without::kFails,
     .meaning = "the system partition has no more MiB than expected"},
};
constexpr std::size_t kCount = std::size(kRows);

constexpr Operation operationOf(const Row& row) {
  return {.word = row.word,
          .call = row.call,
          .referenceMayBeValue = row.referenceMayBeValue,
          .loggedWithout = row.logsMissingReferences ? row.references : std::span<const std::string_view>()};
}

constexpr PredicateFacts factsOf(const Row& row) {
  return {.word = row.word,
          .meaning = row.meaning,
          .takesReferences = std::holds_alternative<ReferencePredicate>(row.call),
          .firstReferenceMayBeValue = row.referenceMayBeValue,
          .forwards = row.forwards,
          .readsAttribute = row.readsAttribute,
          .attribute = row.attribute,
          .value = row.value,
          .withoutValue = row.withoutValue,
          .references = row.references,
          .readsTheOnlyReference = row.readsTheOnlyReference};
}

// The rows' parts that a check reads lie together, apart from what only people and programs that read rules ask for.
template <auto part>
consteval auto partsOfRows() {
  return []<std::size_t... kRow>(std::index_sequence<kRow...>) { return std::array{part(kRows[kRow])...}; }
  (std::make_index_sequence<kCount>());
}

constexpr std::array<Operation, kCount> kOperations = partsOfRows<operationOf>();
constexpr std::array<PredicateFacts, kCount> kFacts = partsOfRows<factsOf>();

constexpr std::size_t kSlots = 128;

constexpr std::size_t slotOf(std::string_view word) noexcept {
  const auto character = [&](std::size_t index) { return std::size_t{static_cast<unsigned char>(word[index])}; };
  return (word.size() * 5 + character(0) * 13 + character(word.size() / 2) * 3 + character(word.size() - 1)) % kSlots;
}

// The rows' numbers plus one, at or after the slots of their words; 0 where free.
consteval std::array<std::uint8_t, kSlots> makeIndex() {
  std::array<std::uint8_t, kSlots> index = {};
  for (std::uint8_t row = 0; row < kCount; ++row) {
    std::size_t slot = slotOf(kOperations[row].word);
    while (index[slot] != 0) slot = (slot + 1) % kSlots;
    index[slot] = row + 1;
  }
  return index;
}

constexpr std::array<std::uint8_t, kSlots> kIndex = makeIndex();

static_assert(std::ranges::adjacent_find(kOperations, std::ranges::greater_equal{}, &Operation::word) ==
                  kOperations.end(),
              "sorted by word, each once");

}  // namespace

const Operation* findOperation(std::string_view word) noexcept {
  if (word.empty()) return nullptr;
  for (std::size_t slot = slotOf(word); kIndex[slot] != 0; slot = (slot + 1) % kSlots) {
    const Operation& operation = kOperations[kIndex[slot] - 1];
    if (operation.word == word) return &operation;
  }
  return nullptr;
}

std::span<const PredicateFacts> PredicateFacts::all() noexcept { return kFacts; }

const PredicateFacts* PredicateFacts::find(std::string_view word) noexcept {
  const Operation* operation = findOperation(word);
  return operation == nullptr ? nullptr : &kFacts[static_cast<std::size_t>(operation - kOperations.data())];
}

std::optional<Dictionary> call(const Operation& operation, const Platform& platform, const Value* attribute,
                               const Dictionary* references, const Value* value) {
  if (references == nullptr) {
    if (const auto* comparison = std::get_if<const Comparison*>(&operation.call)) {
      return (*comparison)->record(attribute, value);
    }
    const auto* predicate = std::get_if<Predicate>(&operation.call);
    return predicate != nullptr ? std::optional((*predicate)(attribute, value)) : std::nullopt;
  }
  const auto* predicate = std::get_if<ReferencePredicate>(&operation.call);
  if (predicate == nullptr) return std::nullopt;
  const auto isListed = [&](std::string_view name) { return references->contains(name); };
  if (!std::ranges::all_of(operation.loggedWithout, isListed)) log(platform, "%@", *references);
  return (*predicate)(attribute, references, value);
}

std::optional<Dictionary> PredicateKernel::perform(std::string_view word, const Value* attribute,
                                                   const Dictionary* references, const Value* value) const {
  const Operation* operation = findOperation(word);
  return operation == nullptr ? std::nullopt : call(*operation, platform(), attribute, references, value);
}

bool ZRTTavikKernel::useReferenceForValue(std::string_view predicate) {
  const Operation* operation = findOperation(predicate);
  return operation != nullptr && operation->referenceMayBeValue;
}

}  // namespace tavik
