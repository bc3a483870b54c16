// The table of operations, and the part of the kernel that looks them up.

#include "kernel_algorithms/OperationRegistry.h"

#include <tavik/PredicateKernel.h>
#include <tavik/ZRTTavikKernel.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <functional>
#include <iterator>
#include <ranges>

#include "values/Format.h"

namespace tavik {

namespace {

using Kernel = ZRTTavikKernel;

constexpr std::string_view kPartNumberReferences[] = {"ModelNumber", "RegionInfo", "mpn", "region_code"};

constexpr Operation kOperations[] = {
    {.word = "MPN4CCheck", .call = &kMPN4CCheck},
    {.word = "MPN4CListCheck", .call = &kMPN4CListCheck},
    {.word = "MPN4ECheck", .call = &kMPN4ECheck},
    {.word = "MPN4EListCheck", .call = &kMPN4EListCheck},
    {.word = "MPNCCCCheck", .call = &kMPNCCCCheck},
    {.word = "boolEqual", .call = &kBoolEqual},
    {.word = "caseInsensitiveEqual", .call = &kCaseInsensitiveEqual, .referenceMayBeValue = true},
    {.word = "caseInsensitiveEqualData", .call = &kCaseInsensitiveEqualData, .referenceMayBeValue = true},
    {.word = "cccNandSizeCheck", .call = &Kernel::cccNandSizeCheck},
    {.word = "checkEEEFCCIDTable", .call = &Kernel::checkEEEFCCIDTable},
    {.word = "checkIMEIfromGUI", .call = &Kernel::checkIMEIfromGUI, .referenceMayBeValue = true},
    {.word = "checkWifiVendorAgainst4E", .call = &Kernel::checkWifiVendorAgainst4E},
    {.word = "checkWifiVendorAgainstEEE", .call = &Kernel::checkWifiVendorAgainstEEE},
    {.word = "combinedMPNRCCheck", .call = &Kernel::combinedMPNRCCheck, .loggedWithout = kPartNumberReferences},
    {.word = "contains", .call = &kContains},
    {.word = "controlBitCheck", .call = &Kernel::controlBitCheck},
    {.word = "dataNotNull", .call = &kDataNotNull},
    {.word = "equal", .call = &kEqual, .referenceMayBeValue = true},
    {.word = "equalData", .call = &kEqualData},
    {.word = "equalLong", .call = &kEqualLong, .referenceMayBeValue = true},
    {.word = "equalMask", .call = &Kernel::equalMask},
    {.word = "greaterThan", .call = &kGreaterThan, .referenceMayBeValue = true},
    {.word = "hasPrefix", .call = &kHasPrefix, .referenceMayBeValue = true},
    {.word = "hasSuffix", .call = &kHasSuffix, .referenceMayBeValue = true},
    {.word = "isUppercase", .call = &Kernel::isUppercase, .referenceMayBeValue = true},
    {.word = "minimumNandSize", .call = &kMinimumNandSize},
    {.word = "nandSizeCheck", .call = &kNandSizeCheck},
    {.word = "nvramWhiteList", .call = &kNvramWhiteList, .referenceMayBeValue = true},
    {.word = "referenceHasPrefix", .call = &Kernel::referenceHasPrefix, .referenceMayBeValue = true},
    {.word = "sendConditionalAttribute", .call = &Kernel::sendConditionalAttribute},
    {.word = "sendStaticAttribute", .call = &Kernel::sendStaticAttribute},
    {.word = "staticTextGUIEquals", .call = &Kernel::staticTextGUIEquals},
    {.word = "swbhRegionMatch", .call = &Kernel::swbhRegionMatch},
    {.word = "systemPartitionSizeCheck", .call = &kSystemPartitionSizeCheck},
    {.word = "validIMEI", .call = &kValidIMEI},
    {.word = "valueInList", .call = &kValueInList, .referenceMayBeValue = true},
    {.word = "varnockSystemPartitionSizeCheck", .call = &kVarnockSystemPartitionSizeCheck},
};
constexpr std::size_t kSlots = 128;

constexpr std::size_t slotOf(std::string_view word) noexcept {
  const auto character = [&](std::size_t index) { return std::size_t{static_cast<unsigned char>(word[index])}; };
  return (word.size() * 5 + character(0) * 13 + character(word.size() / 2) * 3 + character(word.size() - 1)) % kSlots;
}

// The rows' numbers plus one, at or after the slots of their words; 0 where free.
consteval std::array<std::uint8_t, kSlots> makeIndex() {
  std::array<std::uint8_t, kSlots> index = {};
  for (std::uint8_t row = 0; row < std::size(kOperations); ++row) {
    std::size_t slot = slotOf(kOperations[row].word);
    while (index[slot] != 0) slot = (slot + 1) % kSlots;
    index[slot] = row + 1;
  }
  return index;
}

constexpr std::array<std::uint8_t, kSlots> kIndex = makeIndex();

static_assert(std::ranges::adjacent_find(kOperations, std::ranges::greater_equal{}, &Operation::word) ==
                  std::ranges::end(kOperations),
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
