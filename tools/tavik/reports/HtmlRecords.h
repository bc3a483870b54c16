/// @file
/// Records as rows of an HTML table: expected and found values, what the rule reads, and what to do.
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

/// What a failed rule compares, explanations, and what to do. `note` may be null.
std::string notesHtml(const RuleNote* note, bool pass);

/// Explanations that several failures share; may be empty.
std::string deviceNotesHtml(const DeviceResult& result);

struct RowOptions {
  std::size_t textLimit;  ///< maximum number of bytes shown per text
  bool filtered;          ///< whether the row takes part in the page's filter
};

/// Appends a row. Differences are marked if the record failed.
void appendRow(std::string& out, const Value& record, const std::string& notes, const RowOptions& options);

/// What to do about a device without a verdict.
std::string_view adviceFor(const DeviceResult& result);

/// A banner if the signatures of the rule documents were not verified; otherwise empty.
std::string signaturesHtml(const RuleContents& documents);

/// Identifies the device, as a description list; empty if it has no such attributes.
std::string identityHtml(const DeviceResult& result);

}  // namespace tavik::tool

#endif
