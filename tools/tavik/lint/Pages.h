/// @file
/// The reference pages that `tavik lint` prints: its findings, and the arguments of predicates.
#ifndef TAVIK_TOOL_LINT_PAGES_H
#define TAVIK_TOOL_LINT_PAGES_H

#include <tavik/PredicateFacts.h>

#include <string>
#include <string_view>

namespace tavik::tool::lint {

/// The whole of docs/lint.md.
std::string_view findingsPage();

/// The page's text about a finding.
struct FindingText {
  std::string_view what;  ///< one sentence
  std::string why;        ///< the effects, on one line
  std::string_view before;
  std::string_view after;  ///< empty if there is no example
};
FindingText findingText(std::string_view name);

/// What a predicate takes, as a list in Markdown.
std::string predicateText(const PredicateFacts& facts);

/// The table in docs/predicates.md.
std::string predicateTable();

}  // namespace tavik::tool::lint

#endif
