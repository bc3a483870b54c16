/// @file
/// The help of a command with its options, read from the same objects that `--help` prints, so that the manual pages
/// and the shell completions agree with it.
#ifndef TAVIK_TOOL_MANUAL_COMMAND_HELP_H
#define TAVIK_TOOL_MANUAL_COMMAND_HELP_H

#include <string>
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

struct CommandHelp {
  std::string name;  ///< "check"
  Help text;
  std::vector<OptionHelp> options;
};

CommandHelp helpOf(const Command& command);

}  // namespace tavik::tool::manual

#endif
