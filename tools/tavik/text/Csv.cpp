#include "text/Csv.h"

#include <optional>

#include "text/Text.h"

namespace tavik::tool {
namespace {

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
  const bool mayBegin = !numberIn<double>(visibleText);
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
