/// @file
/// The reference pages that are made of the tables in the code: what `tavik lint` can find, and what there is to be
/// known of the predicates.
#ifndef TAVIK_TOOL_LINT_PAGES_H
#define TAVIK_TOOL_LINT_PAGES_H

#include <string>

namespace tavik::tool::lint {

/// docs/lint.md, whole.
std::string findingsPage();

/// The table in docs/predicates.md.
std::string predicateTable();

}  // namespace tavik::tool::lint

#endif
