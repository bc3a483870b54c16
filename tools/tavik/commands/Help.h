/// @file
/// The help of a command as data: `--help` and the manual page are made from it.
#ifndef TAVIK_TOOL_COMMANDS_HELP_H
#define TAVIK_TOOL_COMMANDS_HELP_H

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "ExitStatus.h"

namespace tavik::tool {

/// The meaning of an exit status.
struct ExitMeaning {
  ExitStatus status;
  std::string_view meaning;
};

/// What is said of a command, but for its options. Line ends in a text count as blanks, except in a
/// literal.
struct Help {
  /// A part of the description.
  struct Part {
    enum class Category : std::uint8_t { kParagraph, kHeading, kItem, kLiteral };
    Category category;
    std::string_view text;
    std::string_view term = {};  ///< of an item
  };
  std::string_view summary;  ///< without a full stop
  std::span<const Part> description;
  std::span<const std::string_view> examples;  ///< command lines
  std::span<const ExitMeaning> exitStatuses;   ///< without full stops
};

constexpr Help::Part paragraph(std::string_view text) { return {Help::Part::Category::kParagraph, text}; }
constexpr Help::Part heading(std::string_view text) { return {Help::Part::Category::kHeading, text}; }
/// Of a list. The lists of a command are aligned alike.
constexpr Help::Part item(std::string_view term, std::string_view text) {
  return {Help::Part::Category::kItem, text, term};
}
constexpr Help::Part literal(std::string_view lines) { return {Help::Part::Category::kLiteral, lines}; }

/// A text in one line.
std::string runningText(std::string_view text);

/// What `--help` prints below the options.
std::string footerOf(const Help& help);

}  // namespace tavik::tool

#endif
