// The IMEI: its prefix, and the last digits as typed by the operator.

#include <algorithm>

#include "kernel_algorithms/Predicates.h"
#include "values/Format.h"
#include "values/MaybeAbsent.h"
#include "values/Text.h"

namespace tavik::predicates {

namespace {

// Tabs and Unicode space separators, but no line breaks.
bool isBlank(char32_t character) {
  return character == U'\t' || (isWhiteSpace(character) && (character < 0x0A || character > 0x0D) &&
                                character != 0x85 && character != 0x2028 && character != 0x2029);
}

std::string_view trimmed(std::string_view text) {
  for (std::string_view rest = text; !text.empty() && isBlank(takeCharacter(rest)); text = rest) {
  }
  while (!text.empty()) {
    const std::size_t last = *offsetFromEnd(text, 1);
    std::string_view character = text.substr(last);
    if (!isBlank(takeCharacter(character))) break;
    text = text.substr(0, last);
  }
  return text;
}

}  // namespace

Judgement validIMEI(const Operands& operands) {
  const auto imei = textOf(operands.attribute);
  const Array* prefixes = arrayOf(operands.value);
  const auto begins = [&](const Value& prefix) {
    const auto text = prefix.ifString();
    return text && beginsWith(*imei, *text);
  };
  return {imei && prefixes != nullptr && std::ranges::any_of(*prefixes, begins),
          actual(operands),
          {kHasSomePrefix, operands.value}};
}

Judgement checkIMEIfromGUI(const Operands& operands) {
  constexpr std::size_t kTooLong = 5;
  const auto imei = textOf(operands.attribute);
  const auto typed = textOf(operands.value);
  const std::string_view digits = trimmed(typed.value_or(std::string_view{}));
  if (const std::size_t length = characterCount(digits); length >= kTooLong) {
    return {false, formattedValue("%lu", {length}), "GUI IMEI length is 4"};
  }
  return {imei && endsWith(*imei, digits), actual(operands), {kHasSuffix, operands.value}};
}

}  // namespace tavik::predicates
