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

#include "reports/Html.h"
#include "text/TextDifference.h"

namespace tavik::tool {

/// A visible text as HTML with its marks. In a text of more than `limit` bytes, parts far from the first mark are
/// replaced by a note.
Html markedHtml(std::string_view visibleText, const std::vector<Span>& marks, std::size_t limit);

/// An entry of a description list.
Html listEntry(std::string_view label, std::string_view text);
/// The list under a heading, either of which may be empty; empty without entries.
Html descriptionList(const Html& heading, const Html& entries);

/// The page up to its content. `title`: any text.
Html pageBegin(std::string_view title);
/// The end of the page with the time when it was made: the current time, or SOURCE_DATE_EPOCH.
Html pageEnd();

/// The controls that filter elements with "data-result", shown if scripts run. `results`: value and label.
Html filterBar(std::string_view what, const std::vector<std::pair<std::string, std::string>>& results);

}  // namespace tavik::tool

#endif
