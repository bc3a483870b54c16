/// @file
/// Records as rows of an HTML table: what was expected beside what was found, what the rule reads, and what to do.
#ifndef TAVIK_TOOL_REPORTS_HTML_RECORDS_H
#define TAVIK_TOOL_REPORTS_HTML_RECORDS_H

#include <tavik/Value.h>

#include <cstddef>
#include <string>
#include <string_view>

#include "reports/Report.h"
#include "rules/RuleNotes.h"

namespace tavik::tool {

/// The beginning of a table of rules, and its end.
std::string ruleTableBegin(std::string_view style);
inline constexpr std::string_view kTableEnd = "</tbody></table>\n";

/// What a failed rule compares, what explains the record, and what to do. `note` may be null.
std::string notesHtml(const RuleNote* note, bool pass);

/// What explains several failures at once; empty if there is no such thing.
std::string deviceNotesHtml(const DeviceResult& result);

struct RowOptions {
  std::size_t textLimit;  ///< bytes of a text that are shown
  bool filtered;          ///< the row takes part in the page's filter
};

/// Appends a row. Differences are marked if the record failed.
void appendRow(std::string& out, const Value& record, const std::string& notes, const RowOptions& options);

/// What to do about a device without a verdict.
std::string_view adviceFor(const DeviceResult& result);

/// A banner if the signatures of the rule documents were not verified; else empty.
std::string signaturesHtml(const RuleContents& documents);

/// What tells the device from others, as a description list; empty when it says nothing of the kind.
std::string identityHtml(const DeviceResult& result);

}  // namespace tavik::tool

#endif
