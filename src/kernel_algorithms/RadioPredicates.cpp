// Radio modules: which of them a logic board may carry.

#include <tavik/ZRTTavikKernel.h>

#include <stdexcept>

#include "kernel_algorithms/RuleResult.h"
#include "values/Format.h"
#include "values/MaybeAbsent.h"
#include "values/ValueAccess.h"

namespace tavik {

namespace {

// The piece of `text` with this number, from 0, between separators; absent when there are fewer.
std::optional<std::string_view> piece(std::string_view text, char separator, int number) {
  for (;; --number) {
    const std::size_t end = text.find(separator);
    if (number == 0) return text.substr(0, end);
    if (end == std::string_view::npos) return std::nullopt;
    text.remove_prefix(end + 1);
  }
}

const Value* pointer(const std::optional<Value>& value) { return value ? &*value : nullptr; }

}  // namespace

Dictionary ZRTTavikKernel::checkEEEFCCIDTable(const Value* attribute, const Dictionary* references,
                                              const Value* value) {
  const Value* identifier = find(references, "FCCID");
  const Value* boards = find(dictionaryOf(value), identifier);
  if (boards == nullptr) return ruleResult(false, formattedValue("unknown FCCID %@", {identifier}), "known FCCID");
  return valueInList(pointer(parseEEECode(attribute)), boards);
}

Dictionary ZRTTavikKernel::checkWifiVendorAgainstEEE(const Value* attribute, const Dictionary* references,
                                                     const Value* value) {
  const auto code = parseEEECode(find(references, "MLBSerialNumber"));
  return checkWifiVendorAgainstBoardConfig(attribute, references, value, pointer(code));
}

Dictionary ZRTTavikKernel::checkWifiVendorAgainst4E(const Value* attribute, const Dictionary* references,
                                                    const Value* value) {
  const auto code = parse4ECode(find(references, "MLBSerialNumber"));
  return checkWifiVendorAgainstBoardConfig(attribute, references, value, pointer(code));
}

Dictionary ZRTTavikKernel::checkWifiVendorAgainstBoardConfig(const Value* attribute, const Dictionary* /*references*/,
                                                             const Value* value, const Value* eeeCode) {
  const auto field = piece(textOf(attribute).value_or(std::string_view{}), ' ', 2);
  if (!field) {
    return ruleResult(false, formattedValue("no vendor code, SDIOProductInfo is %@", {attribute}),
                      "vendor code in attribute");
  }
  const auto vendor = piece(*field, '=', 1);
  if (!vendor) throw std::out_of_range(format("no \"=\" in the third field of SDIOProductInfo %@", {attribute}));
  const Value* boards = find(dictionaryOf(value), *vendor);
  if (boards == nullptr) {
    return ruleResult(false, formattedValue("unknown wifi vendor code %@", {*vendor}), "valid vendor code");
  }
  return valueInList(eeeCode, boards);
}

}  // namespace tavik
