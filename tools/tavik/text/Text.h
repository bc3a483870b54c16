/// @file
/// Text for terminals: untrusted text made safe to print, and its display width. Numbers in texts.
#ifndef TAVIK_TOOL_TEXT_TEXT_H
#define TAVIK_TOOL_TEXT_TEXT_H

#include <tavik/Value.h>
#include <tavik/VisibleText.h>

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <system_error>

namespace tavik::tool {

inline bool isDigit(char character) { return character >= '0' && character <= '9'; }
inline bool isAsciiLower(char character) { return character >= 'a' && character <= 'z'; }
inline bool isAsciiUpper(char character) { return character >= 'A' && character <= 'Z'; }
inline bool isAsciiLetter(char character) { return isAsciiLower(character) || isAsciiUpper(character); }

/// Bytes of a text, from `begin` up to `end`.
struct Span {
  std::size_t begin = 0;
  std::size_t end = 0;

  /// Whether a cursor at `offset` touches it.
  [[nodiscard]] bool touches(std::size_t offset) const noexcept { return begin <= offset && offset <= end; }
  [[nodiscard]] std::string_view in(std::string_view text) const noexcept { return text.substr(begin, end - begin); }
  friend bool operator==(const Span&, const Span&) = default;
};

/// Removes one character from the front of `rest`, which must not be empty. Absent, with one byte removed, if the bytes
/// are not UTF-8.
std::optional<char32_t> takeCharacter(std::string_view& rest);

/// The number of characters; each byte that is not UTF-8 counts as one.
std::size_t charactersIn(std::string_view text);

/// The first position from `place` on at which a character of the valid text begins, or the end of the text.
std::size_t atCharacter(std::string_view text, std::size_t place);

inline std::string visible(std::string_view text) { return visibleText(text); }

/// The text with every character that XML cannot represent written as an escape: "\x1b", "\ufffe". Adds the escapes to
/// `used`, unless it is null.
std::string inXmlCharacters(std::string_view text, std::set<std::string>* used = nullptr);

/// The text with the characters that have a meaning in XML and HTML escaped, for content and for attributes in double
/// quotes.
std::string escapedMarkup(std::string_view text);

/// The text without these characters at its beginning and end.
std::string_view trimmed(std::string_view text, std::string_view characters);

/// The number that the whole text is; absent if it is not a number, or one beyond the type's range.
template <class Number>
std::optional<Number> numberIn(std::string_view text) {
  Number number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

/// The text with the letters A to Z in lowercase.
std::string lowerCase(std::string_view text);
/// The text with the letters a to z in uppercase.
std::string upperCase(std::string_view text);

/// "a string", "an array".
std::string_view kindName(Kind kind);

/// "1 rule", "2 rules".
std::string counted(std::size_t count, std::string_view noun);

/// "a, b and 3 more": the first `most` of the texts.
std::string listed(std::span<const std::string> texts, std::size_t most);

/// The number of terminal columns of a visible text.
std::size_t displayWidth(std::string_view visibleText);

/// The visible text cut to `width` columns, with an ellipsis if it was cut.
std::string shortened(std::string_view visibleText, std::size_t width);

/// One line of a hex dump: up to 16 bytes as hexadecimal digits, then as characters.
std::string hexDumpLine(std::size_t offset, std::span<const std::uint8_t> bytes);

}  // namespace tavik::tool

#endif
