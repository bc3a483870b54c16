/// @file
/// Cells of comma-separated values.
#ifndef TAVIK_TOOL_TEXT_CSV_H
#define TAVIK_TOOL_TEXT_CSV_H

#include <string>
#include <string_view>

namespace tavik::tool {

/// A cell in double quotes that no spreadsheet takes for a formula, even if it splits cells at semicolons: there, an
/// apostrophe is inserted. Numbers are left alone.
std::string csvCell(std::string_view visibleText);

}  // namespace tavik::tool

#endif
