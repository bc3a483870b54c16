/// @file
/// Cells of comma-separated values.
#ifndef TAVIK_TOOL_TEXT_CSV_H
#define TAVIK_TOOL_TEXT_CSV_H

#include <string>
#include <string_view>

namespace tavik::tool {

/// The text as a cell in double quotes. Wherever a spreadsheet would begin a formula, also after a semicolon, at which
/// some spreadsheets split cells, an apostrophe is inserted. Numbers are unchanged.
std::string csvCell(std::string_view visibleText);

}  // namespace tavik::tool

#endif
