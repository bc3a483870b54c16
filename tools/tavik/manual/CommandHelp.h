/// @file
/// What there is to say of a command, in pieces: read from the very objects that `--help` prints, so that the manual
/// pages and the shells' completions say the same.
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
  std::vector<std::string> names;  ///< "-o", "--output"; of a positional argument its one name, without dashes
  std::string type;                ///< of the value; empty when a flag, or a positional argument
  std::string description;
  std::string defaultValue;
  std::vector<std::string> choices;  ///< the words it takes; empty when it takes others too
  bool positional = false;
  bool takesValue = false;
  bool required = false;
  bool repeatable = false;

  /// What its value is called: the type or, of a positional argument, its name.
  [[nodiscard]] const std::string& valueName() const { return positional ? names.front() : type; }
};

/// A piece of a text.
struct Block {
  enum class Category : std::uint8_t { kParagraph, kHeading, kItem, kLiteral };
  Category category;
  std::string text;       ///< of a literal block, lines that each end in a line end
  std::string term = {};  ///< of an item
};

struct CommandHelp {
  std::string name;     ///< "check"
  std::string summary;  ///< without a full stop
  std::vector<OptionHelp> options;
  std::vector<Block> description;
  std::vector<std::string> examples;                              ///< command lines
  std::vector<std::pair<std::string, std::string>> exitStatuses;  ///< number and meaning
};

/// Raises `std::runtime_error` for a command whose footer has no examples or no exit statuses.
CommandHelp helpOf(const Command& command);

}  // namespace tavik::tool::manual

#endif
