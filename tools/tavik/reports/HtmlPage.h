/// @file
/// The frame of an HTML report: one file without external resources. A content security policy blocks all requests and
/// all scripts except the page's own filter, so that even an escaping mistake could not let a device's values run code.
#ifndef TAVIK_TOOL_REPORTS_HTML_PAGE_H
#define TAVIK_TOOL_REPORTS_HTML_PAGE_H

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "text/TextDifference.h"

namespace tavik::tool {

/// A visible text as HTML, for content and for attributes in double quotes.
std::string escapedHtml(std::string_view visibleText);
/// Any text as HTML: invisible characters, and those that would reorder their neighbors, are written as escapes.
std::string html(std::string_view text);

/// A visible text as HTML with its marks. In a text of more than `limit` bytes, parts far from the first mark are
/// replaced by a note.
std::string markedHtml(std::string_view visibleText, const std::vector<Span>& marks, std::size_t limit);

/// The page up to its content. `title`: any text.
std::string pageBegin(std::string_view title);
/// The end of the page with the time when it was made: the current time, or SOURCE_DATE_EPOCH.
std::string pageEnd();

/// The controls that filter elements with "data-result", shown if scripts run. `results`: value and label.
std::string filterBar(std::string_view what, const std::vector<std::pair<std::string, std::string>>& results);

}  // namespace tavik::tool

#endif
