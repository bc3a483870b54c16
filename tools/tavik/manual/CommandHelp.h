/// @file
/// The help of a command in pieces, read from the same objects that `--help` prints, so that the manual pages and the
/// shell completions agree with it.
#ifndef TAVIK_TOOL_MANUAL_COMMAND_HELP_H
#define TAVIK_TOOL_MANUAL_COMMAND_HELP_H

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "commands/Command.h"

namespace tavik::tool::manual {

struct OptionHelp {
  std::vector<std::string> names;  ///< "-o", "--output"; for a positional argument its name, without dashes
  std::string type;                ///< of the value; empty for a flag or a positional argument
  std::string description;
  std::string defaultValue;
  std::vector<std::string> choices;  ///< the accepted words; empty if it is not limited to a list
  bool positional = false;
  bool takesValue = false;
  bool required = false;
  bool repeatable = false;

  /// The name of the value: the type or, for a positional argument, its name.
  [[nodiscard]] const std::string& valueName() const { return positional ? names.front() : type; }
};

/// A part of a text.
struct Block {
  enum class Category : std::uint8_t { kParagraph, kHeading, kItem, kLiteral };
  Category category;
  std::string text;       ///< for a literal block, lines that each end with a line feed
  std::string term = {};  ///< for an item
};

struct CommandHelp {
  std::string name;     ///< "check"
  std::string summary;  ///< without a full stop
  std::vector<OptionHelp> options;
  std::vector<Block> description;
  std::vector<std::string> examples;                              ///< command lines
  std::vector<std::pair<std::string, std::string>> exitStatuses;  ///< number and meaning
};

/// Throws `std::runtime_error` for a command whose footer has no examples or exit statuses.
CommandHelp helpOf(const Command& command);

}  // namespace tavik::tool::manual

#endif
