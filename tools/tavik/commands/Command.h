/// @file
/// A command of `tavik`: a row in the table of Commands.cpp and a file that defines it.
#ifndef TAVIK_TOOL_COMMANDS_COMMAND_H
#define TAVIK_TOOL_COMMANDS_COMMAND_H

#include <CLI/CLI.hpp>
#include <functional>
#include <string_view>

#include "ExitStatus.h"

namespace tavik::tool {

/// What a command does once its options are parsed.
using Run = std::function<ExitStatus()>;

struct Command {
  std::string_view name;
  std::string_view summary;
  /// Adds the command's options, and as the footer the rest of its help: paragraphs; lists, whose lines begin with two
  /// spaces; headings, which are on their own line and end with a colon. "Examples:" and "Exit status: 0 ..., 1 ..."
  /// come last. Manual pages are made from the same text (manual/CommandHelp.h).
  Run (*define)(CLI::App& app);
};

Run defineBatch(CLI::App& app);
Run defineCheck(CLI::App& app);
Run defineConvert(CLI::App& app);
Run defineDecode(CLI::App& app);
Run defineDescribe(CLI::App& app);
Run defineDiff(CLI::App& app);
Run defineEval(CLI::App& app);
Run defineExplain(CLI::App& app);
Run defineKeygen(CLI::App& app);
Run defineLint(CLI::App& app);
Run defineList(CLI::App& app);
Run defineReplay(CLI::App& app);
Run defineSign(CLI::App& app);
Run defineTest(CLI::App& app);
Run defineVerify(CLI::App& app);

}  // namespace tavik::tool

#endif
