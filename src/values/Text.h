/// @file
/// Text in UTF-8: validity, characters, comparison ignoring case, splitting. Characters are Unicode code points.
#ifndef TAVIK_VALUES_TEXT_H
#define TAVIK_VALUES_TEXT_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace tavik {

/// The length in bytes of the longest prefix that is well-formed UTF-8.
std::size_t validUtf8Prefix(std::string_view bytes) noexcept;

/// `bytes` with each maximal ill-formed sequence replaced by U+FFFD (Unicode 15, section 3.9).
std::string replacingIllFormedUtf8(std::string_view bytes);

/// Writes one Unicode scalar value in UTF-8, 1 to 4 bytes. Returns the position after it.
char* putUtf8(char* to, char32_t character) noexcept;

/// Appends one Unicode scalar value in UTF-8.
void appendUtf8(std::string& text, char32_t character);

/// Removes and returns the first character of non-empty text; U+FFFD for an ill-formed sequence.
char32_t takeCharacter(std::string_view& text) noexcept;

/// The length in characters of well-formed text.
std::size_t characterCount(std::string_view text) noexcept;

/// The byte offset of the character `count` characters before the end or after the start; absent if the text is
/// shorter.
std::optional<std::size_t> offsetFromEnd(std::string_view text, std::size_t count) noexcept;
std::optional<std::size_t> offsetFromStart(std::string_view text, std::size_t count) noexcept;

/// Unicode's White_Space property.
bool isWhiteSpace(char32_t character) noexcept;

/// Equality after simple case folding.
bool equalIgnoringCase(std::string_view left, std::string_view right) noexcept;

/// The uppercase form by simple mapping, character by character.
std::string upperCase(std::string_view text);

/// Literal, case-sensitive comparisons in which an empty pattern never matches.
bool beginsWith(std::string_view text, std::string_view pattern) noexcept;
bool endsWith(std::string_view text, std::string_view pattern) noexcept;
bool occursIn(std::string_view text, std::string_view pattern);

}  // namespace tavik

#endif
