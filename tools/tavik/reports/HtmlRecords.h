/// @file
/// Records as rows of an HTML table: expected and found values, what the rule reads, and what to do.
#ifndef TAVIK_TOOL_REPORTS_HTML_RECORDS_H
#define TAVIK_TOOL_REPORTS_HTML_RECORDS_H

#include <tavik/Value.h>

#include <cstddef>
#include <string_view>

#include "reports/Html.h"
#include "reports/Report.h"
#include "rules/RuleNotes.h"

namespace tavik::tool {

/// A table of rules with the given rows.
Html ruleTable(std::string_view style, const Html& rows);

/// What a failed rule compares, explanations, and what to do. `note` may be null.
Html notesHtml(const RuleNote* note, bool pass);

/// Explanations that several failures share; may be empty.
Html deviceNotesHtml(const DeviceResult& result);

struct RowOptions {
  std::size_t textLimit;  ///< maximum number of bytes shown per text
  bool filtered;          ///< whether the row takes part in the page's filter
};

/// A row. Differences are marked if the record failed.
Html rowOf(const Value& record, const Html& notes, const RowOptions& options);

/// What to do about a device without a verdict.
std::string_view adviceFor(const DeviceResult& result);

/// A banner if the signatures of the rule documents were not verified; otherwise empty.
Html signaturesHtml(bool verified);

/// Where the rule documents came from, as entries of a description list.
Html provenanceHtml(const RuleContents& documents);

/// Identifies the device, as a description list; empty if it has no such attributes.
Html identityHtml(const DeviceResult& result);

}  // namespace tavik::tool

#endif
