/// @file
/// All commands of `tavik` before their arguments are parsed. `--help`, the manual pages and the shell completions are
/// made from them.
#ifndef TAVIK_TOOL_COMMANDS_COMMANDS_H
#define TAVIK_TOOL_COMMANDS_COMMANDS_H

#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "commands/Command.h"

namespace tavik::tool {

/// In the order of `tavik --help`.
std::span<const Command* const> commands();

/// Null if there is no such command.
const Command* findCommand(std::string_view name);

/// A command with its options.
struct DefinedCommand {
  std::unique_ptr<CLI::App> app;
  Run run;  ///< once `app` has parsed the arguments
};

DefinedCommand makeCommand(const Command& command);

/// "tavik 3.19"
std::string versionText();

/// What `tavik --help` prints.
std::string overviewText();

/// A one-sentence description of `tavik`.
inline constexpr std::string_view kPurpose = "The check kernel for factory test stations, from the command line.";

/// The meanings of the exit statuses for every command.
std::span<const ExitMeaning> exitMeanings();

}  // namespace tavik::tool

#endif
