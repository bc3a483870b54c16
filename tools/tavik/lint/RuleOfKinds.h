/// @file
/// Rules as kinds of device get them, and their kinds, in messages.
#ifndef TAVIK_TOOL_LINT_RULE_OF_KINDS_H
#define TAVIK_TOOL_LINT_RULE_OF_KINDS_H

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <map>
#include <span>
#include <string>
#include <vector>

#include "lint/LintedDocuments.h"
#include "lint/Rule.h"
#include "rules/DeviceKinds.h"
#include "rules/KindRules.h"
#include "rules/RuleFacts.h"

namespace tavik::tool::lint {

/// Whether the rule requires that the device lacks its attribute.
inline bool forbids(const KindRule& rule) { return requiresAbsence(rule.name); }

/// The kinds of one local rules document, for messages.
class KindTexts {
 public:
  explicit KindTexts(const KindRules& rules) : kinds_(rules.origins()), rules_(rules) {}

  /// "CW110 (EU/3)". `kinds`: positions, ascending.
  [[nodiscard]] std::string of(std::span<const std::size_t> kinds) const {
    return kinds.size() == 1 && !rules_.kinds()[kinds[0]].selectors.partNumber ? "every device" : kinds_.text(kinds);
  }
  /// The kinds of these parts together.
  const std::string& of(const std::vector<const RulePart*>& parts) {
    const auto [place, isNew] = texts_.try_emplace(parts);
    if (!isNew) return place->second;
    std::vector<std::size_t> kinds;
    for (const RulePart* part : parts) std::ranges::copy(part->kinds(), std::back_inserter(kinds));
    std::ranges::sort(kinds);
    kinds.erase(std::unique(kinds.begin(), kinds.end()), kinds.end());
    return place->second = of(kinds);
  }

 private:
  DeviceKinds kinds_;
  const KindRules& rules_;
  std::map<std::vector<const RulePart*>, std::string> texts_;
};

/// A rule of some kinds, and its definition's place.
class RuleOfKinds {
 public:
  RuleOfKinds(const LintedDocuments& documents, const LocalRules& local, const KindRule& rule)
      : documents_(documents), local_(local), rule_(rule) {}

  /// Calls `use` with the rule as checks see it.
  void with(const auto& use) const {
    use(Rule(documents_.placeOf(rule_.name), rule_.name, local_.entryOf(rule_.entry.content)));
  }

  /// The value's place if the local rules have it, otherwise the definition's.
  void report(Reporter& reporter, const Statement& statement) const {
    with([&](const Rule& rule) {
      if (rule.valueIsLocal()) return reporter.at(*rule.value(), rule.name(), statement);
      reporter.atKey(rule.definition(), rule.name(), statement);
    });
  }

 private:
  const LintedDocuments& documents_;
  const LocalRules& local_;
  const KindRule& rule_;
};

}  // namespace tavik::tool::lint

#endif
