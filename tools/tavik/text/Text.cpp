#include "text/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <cwchar>
#include <iterator>

namespace tavik::tool {
namespace {

constexpr std::string_view kEllipsis = "…";

bool isContinuation(char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U; }

bool isXml(char32_t character) {
  return (character >= 0x20 && character != 0xFFFE && character != 0xFFFF) || character == '\t' || character == '\n' ||
         character == '\r';
}

std::size_t widthOf(std::optional<char32_t> character) {
  const int width = wcwidth(static_cast<wchar_t>(character.value_or('?')));
  return width < 0 ? 1 : static_cast<std::size_t>(width);
}

}  // namespace

std::optional<char32_t> takeCharacter(std::string_view& rest) {
  const auto lead = static_cast<unsigned char>(rest.front());
  const auto length = static_cast<std::size_t>(lead < 0x80 ? 1 : std::countl_one(lead));
  const std::string_view bytes = rest.substr(0, length);
  rest.remove_prefix(1);
  if (length == 1) return lead < 0x80 ? std::optional<char32_t>(lead) : std::nullopt;
  if (length > 4 || bytes.size() < length || !std::ranges::all_of(bytes.substr(1), isContinuation)) return std::nullopt;
  char32_t character = lead & (0x7FU >> length);
  for (const char byte : bytes.substr(1)) character = (character << 6) | (static_cast<unsigned char>(byte) & 0x3FU);
  constexpr char32_t kSmallest[] = {0x80, 0x800, 0x10000};
  const bool surrogate = character >= 0xD800 && character <= 0xDFFF;
  if (character < kSmallest[length - 2] || character > 0x10FFFF || surrogate) return std::nullopt;
  rest.remove_prefix(length - 1);
  return character;
}

std::size_t atCharacter(std::string_view text, std::size_t place) {
  while (place < text.size() && isContinuation(text[place])) ++place;
  return std::min(place, text.size());
}

std::size_t charactersIn(std::string_view text) {
  std::size_t count = 0;
  for (; !text.empty(); ++count) takeCharacter(text);
  return count;
}

std::string escapedMarkup(std::string_view text) {
  std::string out;
  for (const char character : text) {
    switch (character) {
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '&':
        out += "&amp;";
        break;
      case '"':
        out += "&quot;";
        break;
      default:
        out += character;
    }
  }
  return out;
}

std::string_view trimmed(std::string_view text, std::string_view characters) {
  const std::size_t first = text.find_first_not_of(characters);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(characters) + 1 - first);
}

std::string lowerCase(std::string_view text) {
  std::string lower(text);
  std::ranges::transform(lower, lower.begin(), [](char character) {
    return isAsciiUpper(character) ? static_cast<char>(character - 'A' + 'a') : character;
  });
  return lower;
}

std::string upperCase(std::string_view text) {
  std::string upper(text);
  std::ranges::transform(upper, upper.begin(), [](char character) {
    return isAsciiLower(character) ? static_cast<char>(character - 'a' + 'A') : character;
  });
  return upper;
}

std::string_view kindName(Kind kind) {
  constexpr std::string_view kNames[] = {"a string", "a number", "a boolean",   "data",
                                         "a date",   "an array", "a dictionary"};
  return kNames[static_cast<std::size_t>(kind)];
}

std::string counted(std::size_t count, std::string_view noun) {
  return fmt::format("{} {}{}", count, noun, count == 1 ? "" : "s");
}

std::string inXmlCharacters(std::string_view text, std::set<std::string>* used) {
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    const std::string_view before = text;
    const std::optional<char32_t> character = takeCharacter(text);
    const std::string_view bytes = before.substr(0, before.size() - text.size());
    if (character && isXml(*character)) {
      result += bytes;
      continue;
    }
    const std::string escape = visibleText(bytes);
    if (used != nullptr) used->insert(escape);
    result += escape;
  }
  return result;
}

std::string listed(std::span<const std::string> texts, std::size_t most) {
  const std::size_t shown = std::min(texts.size(), most);
  const std::string list = fmt::format("{}", fmt::join(texts.first(shown), ", "));
  return shown == texts.size() ? list : fmt::format("{} and {} more", list, texts.size() - shown);
}

std::size_t displayWidth(std::string_view visibleText) {
  const auto isPlain = [](char character) { return character >= ' ' && character <= '~'; };
  if (std::ranges::all_of(visibleText, isPlain)) return visibleText.size();
  std::size_t width = 0;
  while (!visibleText.empty()) width += widthOf(takeCharacter(visibleText));
  return width;
}

std::string shortened(std::string_view visibleText, std::size_t width) {
  if (displayWidth(visibleText) <= width) return std::string(visibleText);
  if (width == 0) return "";
  std::string_view rest = visibleText;
  std::size_t used = 0;
  while (true) {
    const std::string_view before = rest;
    used += widthOf(takeCharacter(rest));
    if (used > width - 1) {
      return std::string(visibleText.substr(0, visibleText.size() - before.size())).append(kEllipsis);
    }
  }
}

std::string hexDumpLine(std::size_t offset, std::span<const std::uint8_t> bytes) {
  constexpr std::size_t kHalf = 24;  // eight bytes with their spaces
  std::string digits;
  std::string characters;
  for (const std::uint8_t byte : bytes) {
    fmt::format_to(std::back_inserter(digits), "{}{:02x}", digits.size() == kHalf ? "  " : " ", byte);
    characters += byte >= 0x20 && byte < 0x7F ? static_cast<char>(byte) : '.';
  }
  return fmt::format("{:06x} {:<49}  |{}|", offset, digits, characters);
}

}  // namespace tavik::tool
