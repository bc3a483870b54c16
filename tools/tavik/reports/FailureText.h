/// @file
/// A failed rule on a terminal: what was found beside what was expected, with the difference marked, and what the
/// record does not tell.
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

/// The lines about remarks and advice alone: "note      found a number, expected text".
std::vector<std::string> noteLines(const RuleNote* note, bool pass);

}  // namespace tavik::tool

#endif
