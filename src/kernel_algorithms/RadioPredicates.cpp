// Radio modules: which of them are allowed on a logic board.

#include <tavik/ZRTTavikKernel.h>

#include <stdexcept>

#include "kernel_algorithms/Predicates.h"
#include "values/Format.h"
#include "values/MaybeAbsent.h"
#include "values/ValueAccess.h"

namespace tavik {

namespace {

// Piece `number` of `text`, counted from 0, between separators; absent if there are fewer pieces.
std::optional<std::string_view> piece(std::string_view text, char separator, int number) {
  for (;; --number) {
    const std::size_t end = text.find(separator);
    if (number == 0) return text.substr(0, end);
    if (end == std::string_view::npos) return std::nullopt;
    text.remove_prefix(end + 1);
  }
}

const Value* pointer(const std::optional<Value>& value) { return value ? &*value : nullptr; }

// The common part of the Wi-Fi vendor checks, for a board code of either kind; an absent (null) code fails.
Judgement judgeVendor(const Value* attribute, const Value* value, const Value* boardCode) {
  const auto field = piece(textOf(attribute).value_or(std::string_view{}), ' ', 2);
  if (!field) {
    return {false, formattedValue("no vendor code, SDIOProductInfo is %@", {attribute}), "vendor code in attribute"};
  }
  const auto vendor = piece(*field, '=', 1);
  if (!vendor) throw std::out_of_range(faultMessage("no \"=\" in the third field of SDIOProductInfo %@", {attribute}));
  const Value* boards = find(dictionaryOf(value), *vendor);
  if (boards == nullptr) return {false, formattedValue("unknown wifi vendor code %@", {*vendor}), "valid vendor code"};
  return predicates::valueInList({boardCode, nullptr, boards});
}

}  // namespace

namespace predicates {

Judgement checkEEEFCCIDTable(const Operands& operands) {
  const Value* identifier = find(operands.references, "FCCID");
  const Value* boards = find(dictionaryOf(operands.value), identifier);
  if (boards == nullptr) return {false, formattedValue("unknown FCCID %@", {identifier}), "known FCCID"};
  return valueInList({pointer(ZRTTavikKernel::parseEEECode(operands.attribute)), nullptr, boards});
}

Judgement checkWifiVendorAgainstEEE(const Operands& operands) {
  const auto code = ZRTTavikKernel::parseEEECode(find(operands.references, "MLBSerialNumber"));
  return judgeVendor(operands.attribute, operands.value, pointer(code));
}

Judgement checkWifiVendorAgainst4E(const Operands& operands) {
  const auto code = ZRTTavikKernel::parse4ECode(find(operands.references, "MLBSerialNumber"));
  return judgeVendor(operands.attribute, operands.value, pointer(code));
}

}  // namespace predicates

Dictionary ZRTTavikKernel::checkWifiVendorAgainstBoardConfig(const Value* attribute, const Dictionary* /*references*/,
                                                             const Value* value, const Value* eeeCode) {
  return judgeVendor(attribute, value, eeeCode).record();
}

}  // namespace tavik
