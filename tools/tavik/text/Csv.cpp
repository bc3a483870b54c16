#include "text/Csv.h"

#include <charconv>
#include <optional>
#include <system_error>

#include "text/Text.h"

namespace tavik::tool {
namespace {

bool isNumber(std::string_view text) {
  double number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size();
}

bool beginsFormula(std::string_view rest) {
  constexpr std::u32string_view kSigns = U"=+-@\uff1d\uff0b\uff0d\uff20";
  constexpr std::u32string_view kSpaces =
      U" \u00a0\u1680\u2000\u2001\u2002\u2003\u2004\u2005\u2006\u2007\u2008\u2009\u200a"
      U"\u202f\u205f\u3000";
  while (!rest.empty()) {
    const std::optional<char32_t> character = takeCharacter(rest);
    if (!character) return false;
    if (kSpaces.find(*character) == kSpaces.npos) return kSigns.find(*character) != kSigns.npos;
  }
  return false;
}

}  // namespace

std::string csvCell(std::string_view visibleText) {
  const bool mayBegin = !isNumber(visibleText);
  std::string cell = "\"";
  for (std::size_t i = 0; i < visibleText.size(); ++i) {
    const bool begins = i == 0 || visibleText[i - 1] == ';';
    if (begins && mayBegin && beginsFormula(visibleText.substr(i))) cell += '\'';
    if (visibleText[i] == '"') cell += '"';
    cell += visibleText[i];
  }
  return cell + '"';
}

}  // namespace tavik::tool
