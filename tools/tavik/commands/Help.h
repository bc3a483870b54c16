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

/// The help of a command, without its options. A line end in a text counts as a blank, except in a literal.
struct Help {
  /// A part of the description.
  struct Part {
    enum class Category : std::uint8_t { kParagraph, kHeading, kItem, kLiteral };
    Category category;
    std::string_view text;
    std::string_view term = {};  ///< of an item
  };
  std::string_view summary;  ///< without a period
  std::span<const Part> description;
  std::span<const std::string_view> examples;  ///< command lines
  std::span<const ExitMeaning> exitStatuses;   ///< without periods
};

constexpr Help::Part paragraph(std::string_view text) { return {Help::Part::Category::kParagraph, text}; }
constexpr Help::Part heading(std::string_view text) { return {Help::Part::Category::kHeading, text}; }
/// A list item. All lists of a command have the same indentation.
constexpr Help::Part item(std::string_view term, std::string_view text) {
  return {Help::Part::Category::kItem, text, term};
}
constexpr Help::Part literal(std::string_view lines) { return {Help::Part::Category::kLiteral, lines}; }

/// The text on one line.
std::string runningText(std::string_view text);

/// What `--help` prints below the options.
std::string footerOf(const Help& help);

}  // namespace tavik::tool

#endif
