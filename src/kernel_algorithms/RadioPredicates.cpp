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

// Looks up a board code in a list of codes. An absent (null) code fails, and the record shows the serial number.
Judgement judgeCode(const Value* code, const Value* serialNumber, const Value* boards) {
  Judgement judgement = predicates::valueInList({code, nullptr, boards});
  if (code == nullptr && serialNumber != nullptr) judgement.actual = descriptionValue(serialNumber);
  return judgement;
}

// The common part of the Wi-Fi vendor checks, for a board code of either kind.
Judgement judgeVendor(const Value* attribute, const Value* value, const Value* boardCode, const Value* serialNumber) {
  const auto field = piece(textOf(attribute).value_or(std::string_view{}), ' ', 2);
  if (!field) {
    return {false, formattedValue("no vendor code, SDIOProductInfo is %@", {attribute}), "vendor code in attribute"};
  }
  const auto vendor = piece(*field, '=', 1);
  if (!vendor) throw std::out_of_range(faultMessage("no \"=\" in the third field of SDIOProductInfo %@", {attribute}));
  const Dictionary* vendors = dictionaryOf(value);
  const Value* boards = vendors == nullptr ? nullptr : vendors->find(*vendor);
  if (boards == nullptr) return {false, formattedValue("unknown wifi vendor code %@", {*vendor}), "valid vendor code"};
  return judgeCode(boardCode, serialNumber, boards);
}

}  // namespace

namespace predicates {

Judgement checkEEEFCCIDTable(const Operands& operands) {
  const Value* identifier = find(operands.references, "FCCID");
  const Value* boards = find(dictionaryOf(operands.value), identifier);
  if (boards == nullptr) return {false, formattedValue("unknown FCCID %@", {identifier}), "known FCCID"};
  const auto code = ZRTTavikKernel::parseEEECode(operands.attribute);
  return judgeCode(pointer(code), operands.attribute, boards);
}

Judgement checkWifiVendorAgainstEEE(const Operands& operands) {
  const Value* serialNumber = find(operands.references, "MLBSerialNumber");
  const auto code = ZRTTavikKernel::parseEEECode(serialNumber);
  return judgeVendor(operands.attribute, operands.value, pointer(code), serialNumber);
}

Judgement checkWifiVendorAgainst4E(const Operands& operands) {
  const Value* serialNumber = find(operands.references, "MLBSerialNumber");
  const auto code = ZRTTavikKernel::parse4ECode(serialNumber);
  return judgeVendor(operands.attribute, operands.value, pointer(code), serialNumber);
}

}  // namespace predicates

Dictionary ZRTTavikKernel::checkWifiVendorAgainstBoardConfig(const Value* attribute, const Dictionary* /*references*/,
                                                             const Value* value, const Value* eeeCode) {
  return judgeVendor(attribute, value, eeeCode, nullptr).record();
}

}  // namespace tavik
