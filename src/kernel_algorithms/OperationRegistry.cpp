// The table of operations, and the part of the kernel that looks them up.

#include "kernel_algorithms/OperationRegistry.h"

#include <tavik/PredicateKernel.h>
#include <tavik/ZRTTavikKernel.h>

#include <algorithm>
#include <functional>
#include <ranges>

#include "values/Format.h"

namespace tavik {

namespace {

using Kernel = ZRTTavikKernel;

constexpr std::string_view kPartNumberReferences[] = {"ModelNumber", "RegionInfo", "mpn", "region_code"};

constexpr Operation kOperations[] = {
    {.word = "MPN4CCheck", .call = &Kernel::MPN4CCheck},
    {.word = "MPN4CListCheck", .call = &Kernel::MPN4CListCheck},
    {.word = "MPN4ECheck", .call = &Kernel::MPN4ECheck},
    {.word = "MPN4EListCheck", .call = &Kernel::MPN4EListCheck},
    {.word = "MPNCCCCheck", .call = &Kernel::MPNCCCCheck},
    {.word = "boolEqual", .call = &Kernel::boolEqual},
    {.word = "caseInsensitiveEqual", .call = &Kernel::caseInsensitiveEqual, .referenceMayBeValue = true},
    {.word = "caseInsensitiveEqualData", .call = &Kernel::caseInsensitiveEqualData, .referenceMayBeValue = true},
    {.word = "cccNandSizeCheck", .call = &Kernel::cccNandSizeCheck},
    {.word = "checkEEEFCCIDTable", .call = &Kernel::checkEEEFCCIDTable},
    {.word = "checkIMEIfromGUI", .call = &Kernel::checkIMEIfromGUI, .referenceMayBeValue = true},
    {.word = "checkWifiVendorAgainst4E", .call = &Kernel::checkWifiVendorAgainst4E},
    {.word = "checkWifiVendorAgainstEEE", .call = &Kernel::checkWifiVendorAgainstEEE},
    {.word = "combinedMPNRCCheck", .call = &Kernel::combinedMPNRCCheck, .loggedWithout = kPartNumberReferences},
    {.word = "contains", .call = &Kernel::contains},
    {.word = "controlBitCheck", .call = &Kernel::controlBitCheck},
    {.word = "dataNotNull", .call = &Kernel::dataNotNull},
    {.word = "equal", .call = &Kernel::equal, .referenceMayBeValue = true},
    {.word = "equalData", .call = &Kernel::equalData},
    {.word = "equalLong", .call = &Kernel::equalLong, .referenceMayBeValue = true},
    {.word = "equalMask", .call = &Kernel::equalMask},
    {.word = "greaterThan", .call = &Kernel::greaterThan, .referenceMayBeValue = true},
    {.word = "hasPrefix", .call = &Kernel::hasPrefix, .referenceMayBeValue = true},
    {.word = "hasSuffix", .call = &Kernel::hasSuffix, .referenceMayBeValue = true},
    {.word = "isUppercase", .call = &Kernel::isUppercase, .referenceMayBeValue = true},
    {.word = "minimumNandSize", .call = &Kernel::minimumNandSize},
    {.word = "nandSizeCheck", .call = &Kernel::nandSizeCheck},
    {.word = "nvramWhiteList", .call = &Kernel::nvramWhiteList, .referenceMayBeValue = true},
    {.word = "referenceHasPrefix", .call = &Kernel::referenceHasPrefix, .referenceMayBeValue = true},
    {.word = "sendConditionalAttribute", .call = &Kernel::sendConditionalAttribute},
    {.word = "sendStaticAttribute", .call = &Kernel::sendStaticAttribute},
    {.word = "staticTextGUIEquals", .call = &Kernel::staticTextGUIEquals},
    {.word = "swbhRegionMatch", .call = &Kernel::swbhRegionMatch},
    {.word = "systemPartitionSizeCheck", .call = &Kernel::systemPartitionSizeCheck},
    {.word = "validIMEI", .call = &Kernel::validIMEI},
    {.word = "valueInList", .call = &Kernel::valueInList, .referenceMayBeValue = true},
    {.word = "varnockSystemPartitionSizeCheck", .call = &Kernel::varnockSystemPartitionSizeCheck},
};
static_assert(std::ranges::adjacent_find(kOperations, std::ranges::greater_equal{}, &Operation::word) ==
                  std::ranges::end(kOperations),
              "sorted by word, each once");

}  // namespace

const Operation* findOperation(std::string_view word) noexcept {
  const auto* row = std::ranges::lower_bound(kOperations, word, {}, &Operation::word);
  return row != std::ranges::end(kOperations) && row->word == word ? row : nullptr;
}

std::optional<Dictionary> PredicateKernel::perform(std::string_view word, const Value* attribute,
                                                   const Dictionary* references, const Value* value) const {
  const Operation* operation = findOperation(word);
  if (operation == nullptr) return std::nullopt;
  if (references == nullptr) {
    const auto* predicate = std::get_if<Predicate>(&operation->call);
    return predicate != nullptr ? std::optional((*predicate)(attribute, value)) : std::nullopt;
  }
  const auto* predicate = std::get_if<ReferencePredicate>(&operation->call);
  if (predicate == nullptr) return std::nullopt;
  const auto isListed = [&](std::string_view name) { return references->contains(name); };
  if (!std::ranges::all_of(operation->loggedWithout, isListed)) log(platform(), "%@", {*references});
  return (*predicate)(attribute, references, value);
}

bool ZRTTavikKernel::useReferenceForValue(std::string_view predicate) {
  const Operation* operation = findOperation(predicate);
  return operation != nullptr && operation->referenceMayBeValue;
}

}  // namespace tavik
