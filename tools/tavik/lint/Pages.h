/// @file
/// The reference pages that `tavik lint` prints: what it can find, and what predicates take.
#ifndef TAVIK_TOOL_LINT_PAGES_H
#define TAVIK_TOOL_LINT_PAGES_H

#include <string>
#include <string_view>

namespace tavik::tool::lint {

/// docs/lint.md, whole.
std::string_view findingsPage();

/// What the page says about a finding.
struct FindingText {
  std::string_view what;  ///< one sentence
  std::string why;        ///< the effects, on one line
  std::string_view before;
  std::string_view after;  ///< empty if there is nothing to show
};
FindingText findingText(std::string_view name);

/// The table in docs/predicates.md.
std::string predicateTable();

}  // namespace tavik::tool::lint

#endif
