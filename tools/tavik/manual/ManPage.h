/// @file
/// Manual pages, in the man(7) language.
#ifndef TAVIK_TOOL_MANUAL_MAN_PAGE_H
#define TAVIK_TOOL_MANUAL_MAN_PAGE_H

#include <span>
#include <string>
#include <string_view>

#include "manual/CommandHelp.h"

namespace tavik::tool::manual {

/// tavik-COMMAND(1). `date`: "2026-11-21".
std::string commandPage(const CommandHelp& command, std::string_view date);

/// tavik(1).
std::string overviewPage(std::span<const CommandHelp> commands, std::string_view date);

}  // namespace tavik::tool::manual

#endif
