/// @file
/// A command of `tavik`: defined in a file of its own, with all of its help, and listed in Commands.cpp.
#ifndef TAVIK_TOOL_COMMANDS_COMMAND_H
#define TAVIK_TOOL_COMMANDS_COMMAND_H

#include <CLI/CLI.hpp>
#include <functional>
#include <string_view>

#include "ExitStatus.h"
#include "commands/Help.h"

namespace tavik::tool {

/// What a command does once its options are parsed.
using Run = std::function<ExitStatus()>;

struct Command {
  std::string_view name;
  Help help;
  /// Adds the command's options.
  Run (*define)(CLI::App& app);
};

extern const Command kBatch;
extern const Command kCheck;
extern const Command kConvert;
extern const Command kDecode;
extern const Command kDescribe;
extern const Command kDiff;
extern const Command kEval;
extern const Command kExplain;
extern const Command kKeygen;
extern const Command kLint;
extern const Command kList;
extern const Command kLsp;
extern const Command kMatrix;
extern const Command kReplay;
extern const Command kServe;
extern const Command kSign;
extern const Command kTest;
extern const Command kVerify;

}  // namespace tavik::tool

#endif
