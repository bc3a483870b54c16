/// @file
/// All documents that one run of `tavik lint` examines.
#ifndef TAVIK_TOOL_LINT_LINTED_DOCUMENTS_H
#define TAVIK_TOOL_LINT_LINTED_DOCUMENTS_H

#include <deque>
#include <string_view>
#include <vector>

#include "lint/Check.h"
#include "lint/ExampleDevices.h"
#include "lint/LocalRules.h"
#include "lint/Rule.h"

namespace tavik::tool::lint {

struct LintedDocuments {
  /// `documents`: the library, then the local rules; borrowed. `devices`: examples; may be empty.
  explicit LintedDocuments(const std::deque<Document>& documents, std::vector<ExampleDevice> devices = {});
  LintedDocuments(const LintedDocuments&) = delete;
  LintedDocuments& operator=(const LintedDocuments&) = delete;

  /// The definition of a rule; null if the library has none, or if it is not a dictionary.
  [[nodiscard]] const Value* definition(std::string_view name) const;
  /// Its place; the rule must have a definition.
  [[nodiscard]] Place placeOf(std::string_view name) const { return library.entry(name, *definition(name)); }
  /// Visits each definition as a rule without a local entry.
  void forEachDefinition(const auto& visit) const {
    for (const std::string_view name : ruleNames) visit(Rule(placeOf(name), name, nullptr));
  }

  Place library;
  std::vector<std::string_view> ruleNames;  ///< of the library's rules that have a definition
  std::deque<LocalRules> localRules;
  std::vector<ExampleDevice> devices;
};

/// Runs every check.
void runChecks(const LintedDocuments& documents, Reporter& reporter);

}  // namespace tavik::tool::lint

#endif
