/// @file
/// Records as rows of an HTML table: what was expected beside what was found, what the rule reads, and what to do.
#ifndef TAVIK_TOOL_REPORTS_HTML_RECORDS_H
#define TAVIK_TOOL_REPORTS_HTML_RECORDS_H

#include <tavik/Value.h>

#include <cstddef>
#include <string>
#include <string_view>

#include "reports/Report.h"

namespace tavik::tool {

/// The beginning of a table of rules, and its end.
std::string ruleTableBegin(std::string_view style);
inline constexpr std::string_view kTableEnd = "</tbody></table>\n";

struct RowOptions {
  const Dictionary& library;  ///< the rule library, which says what a rule reads
  std::size_t textLimit;      ///< bytes of a text that are shown
  bool filtered;              ///< the row takes part in the page's filter
};

/// Appends a row. Differences are marked where the record failed.
void appendRow(std::string& out, const Dictionary& record, const RowOptions& options);

/// What to do about a message of the kernel, as a sentence; empty where the message speaks for itself.
std::string_view adviceFor(std::string_view message);
/// What to do about a device that no rule decided on.
std::string_view adviceFor(const DeviceResult& result);

/// What tells the device from others, as a description list; empty when it says nothing of the kind.
std::string identityHtml(const DeviceResult& result);

}  // namespace tavik::tool

#endif
