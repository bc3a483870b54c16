#include <tavik/VisibleText.h>

#include <array>
#include <cstdint>

#include "values/Text.h"

namespace tavik {

namespace {

bool mustBeEscaped(char32_t character) noexcept {
  return character < 0x20 || (character >= 0x7F && character <= 0x9F) || character == 0x061C ||
         (character >= 0x200E && character <= 0x200F) || (character >= 0x2028 && character <= 0x202E) ||
         (character >= 0x2066 && character <= 0x2069) || character == 0xFEFF || character == 0xFFFE ||
         character == 0xFFFF;
}

void appendEscape(std::string& result, std::string_view prefix, std::uint32_t number, unsigned digits) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  result += prefix;
  while (digits > 0) result += kDigits[(number >> (4 * --digits)) & 0xFU];
}

void appendVisible(std::string& result, char32_t character) {
  if (!mustBeEscaped(character)) return appendUtf8(result, character);
  switch (character) {
    case '\n':
      result += "\\n";
      return;
    case '\r':
      result += "\\r";
      return;
    case '\t':
      result += "\\t";
      return;
    default:
      const bool isAscii = character < 0x80;
      appendEscape(result, isAscii ? "\\x" : "\\u", character, isAscii ? 2 : 4);
  }
}

}  // namespace

std::string visibleText(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    std::string_view valid = text.substr(0, validUtf8Prefix(text));
    text.remove_prefix(valid.size());
    while (!valid.empty()) appendVisible(result, takeCharacter(valid));
    if (text.empty()) break;
    appendEscape(result, "\\x", static_cast<unsigned char>(text.front()), 2);
    text.remove_prefix(1);
  }
  return result;
}

std::string visibleLogLine(std::string_view line) {
  constexpr std::string_view kContinuation = "\n    ";
  std::string result;
  while (true) {
    const std::size_t end = line.find('\n');
    result += visibleText(line.substr(0, end));
    if (end == std::string_view::npos) return result;
    result += kContinuation;
    line.remove_prefix(end + 1);
  }
}

}  // namespace tavik
