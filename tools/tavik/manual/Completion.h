/// @file
/// Shell completions of the command line.
#ifndef TAVIK_TOOL_MANUAL_COMPLETION_H
#define TAVIK_TOOL_MANUAL_COMPLETION_H

#include <cstdint>
#include <span>
#include <string>

#include "manual/CommandHelp.h"

namespace tavik::tool::manual {

/// What the value of an option completes to.
enum class Completes : std::uint8_t {
  kNothing,
  kChoices,
  kFile,
  kNamedFile,  ///< NAME=FILE
  kAtFile,     ///< JSON text, or @FILE
};
Completes completionOf(const OptionHelp& option);

/// A file for share/bash-completion/completions; requires only bash.
std::string bashCompletion(std::span<const CommandHelp> commands);

/// A file for share/zsh/site-functions.
std::string zshCompletion(std::span<const CommandHelp> commands);

}  // namespace tavik::tool::manual

#endif
