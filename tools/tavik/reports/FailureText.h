/// @file
/// A failed rule on a terminal: the found and the expected text with the difference marked, and explanations.
#ifndef TAVIK_TOOL_REPORTS_FAILURE_TEXT_H
#define TAVIK_TOOL_REPORTS_FAILURE_TEXT_H

#include <tavik/Value.h>

#include <string>
#include <string_view>
#include <vector>

#include "rules/RuleNotes.h"
#include "text/Terminal.h"

namespace tavik::tool {

/// Lines that begin with `indent`. `note` may be null.
std::string failureText(const Value& record, const RuleNote* note, std::string_view indent, const Screen& screen);

/// Only the lines with remarks and advice: "note      found a number, expected text".
std::vector<std::string> noteLines(const RuleNote* note, bool pass);

}  // namespace tavik::tool

#endif
