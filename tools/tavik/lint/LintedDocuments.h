/// @file
/// All that one run of `tavik lint` looks at.
#ifndef TAVIK_TOOL_LINT_LINTED_DOCUMENTS_H
#define TAVIK_TOOL_LINT_LINTED_DOCUMENTS_H

#include <deque>
#include <string_view>
#include <vector>

#include "lint/Check.h"
#include "lint/LocalRules.h"

namespace tavik::tool::lint {

struct LintedDocuments {
  /// `documents`: the library, then the local rules; borrowed.
  explicit LintedDocuments(const std::deque<Document>& documents);
  LintedDocuments(const LintedDocuments&) = delete;
  LintedDocuments& operator=(const LintedDocuments&) = delete;

  /// The definition of a rule; null where the library has none, or one that is no dictionary.
  [[nodiscard]] const Value* definition(std::string_view name) const;

  Place library;
  std::vector<std::string_view> ruleNames;  ///< of the library, those with a definition
  std::deque<LocalRules> localRules;
};

/// Runs every check.
void runChecks(const LintedDocuments& documents, Reporter& reporter);

}  // namespace tavik::tool::lint

#endif
