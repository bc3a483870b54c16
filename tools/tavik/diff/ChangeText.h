/// @file
/// Changes in words. All texts are visible.
#ifndef TAVIK_TOOL_DIFF_CHANGE_TEXT_H
#define TAVIK_TOOL_DIFF_CHANGE_TEXT_H

#include <tavik/CheckOutcome.h>
#include <tavik/Value.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "diff/RuleChanges.h"

namespace tavik::tool {

/// A change as its category, its rule or a sentence, and lines below.
struct ChangeText {
  std::string_view mark;
  std::string title;
  std::vector<std::string> lines = {};
};

ChangeText textOf(const RuleChange& change);

/// "passed", "FAILED", "no verdict: WHY".
std::string verdictText(const CheckOutcome& outcome);
/// "pass  actual 32, expected equal 32"; "not checked" without a record.
std::string recordText(const std::optional<Value>& record);

}  // namespace tavik::tool

#endif
