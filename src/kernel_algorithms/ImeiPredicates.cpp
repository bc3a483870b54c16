// The IMEI: its prefix, and the last digits that an operator typed.

#include <tavik/ZRTTavikKernel.h>

#include <algorithm>

#include "kernel_algorithms/Comparison.h"
#include "kernel_algorithms/RuleResult.h"
#include "values/Format.h"
#include "values/MaybeAbsent.h"
#include "values/Text.h"

namespace tavik {

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

constexpr Comparison kValidIMEI = {
    .judge = [](const Value* attribute, const Value* value) -> Comparison::Finding {
      const auto imei = textOf(attribute);
      const Array* prefixes = arrayOf(value);
      const auto begins = [&](const Value& prefix) {
        const auto text = prefix.ifString();
        return text && beginsWith(*imei, *text);
      };
      return {imei && prefixes != nullptr && std::ranges::any_of(*prefixes, begins), present(attribute)};
    },
    .expected = [](const Value* value,
                   detail::SlabCutter* slabs) { return expectedList("has prefix ", value, ", or ", slabs); },
};

Dictionary ZRTTavikKernel::validIMEI(const Value* attribute, const Value* value) {
  return kValidIMEI.record(attribute, value);
}

Dictionary ZRTTavikKernel::checkIMEIfromGUI(const Value* attribute, const Value* value) {
  constexpr std::size_t kTooLong = 5;
  const auto imei = textOf(attribute);
  const auto typed = textOf(value);
  const std::string_view digits = trimmed(typed.value_or(std::string_view{}));
  if (const std::size_t length = characterCount(digits); length >= kTooLong) {
    return ruleResult(false, formattedValue("%lu", {length}), "GUI IMEI length is 4");
  }
  return ruleResult(imei && endsWith(*imei, digits), attribute, "has suffix %@", value);
}

}  // namespace tavik
