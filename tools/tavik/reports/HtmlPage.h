/// @file
/// The frame of an HTML report: one file without any outside resource. A content security policy lets nothing be
/// fetched and no script run but the page's own filter, so that not even a mistake in escaping would let a device's
/// values act.
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
/// Any text as HTML: what would not be seen, or would reorder its neighbours, is written as an escape.
std::string html(std::string_view text);

/// A visible text as HTML with its marks. Of a text of more than `limit` bytes what is far from the first mark is left
/// out, which is said in its place.
std::string markedHtml(std::string_view visibleText, const std::vector<Span>& marks, std::size_t limit);

/// The page up to its content. `title`: any text.
std::string pageBegin(std::string_view title);
/// The rest; says when the page was made: now, or when SOURCE_DATE_EPOCH says.
std::string pageEnd();

/// The controls that filter elements with "data-result", shown where scripts run. `results`: value and label.
std::string filterBar(std::string_view what, const std::vector<std::pair<std::string, std::string>>& results);

}  // namespace tavik::tool

#endif
