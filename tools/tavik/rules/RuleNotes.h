/// @file
/// What the records of a device's rules do not tell: what the rules compare, and what to do if they fail.
#ifndef TAVIK_TOOL_RULES_RULE_NOTES_H
#define TAVIK_TOOL_RULES_RULE_NOTES_H

#include <tavik/RuleEvaluation.h>
#include <tavik/RuleOrigins.h>
#include <tavik/Value.h>

#include <cstddef>
#include <optional>
#include <string_view>

namespace tavik::tool {

class RuleNotes {
 public:
  /// Borrows `origins`. Evaluations are not logged: the check run was.
  RuleNotes(const Dictionary& attributes, const Dictionary& sources, const RuleOrigins& origins);

  struct Note {
    const RuleOrigin* rule;
    RuleEvaluation evaluation;
  };
  /// About the rule with this number in the order of evaluation. Absent if the device has no such rule.
  [[nodiscard]] std::optional<Note> at(std::size_t number) const;
  /// The same by name.
  [[nodiscard]] std::optional<Note> of(std::string_view name) const;

 private:
  RuleEvaluator evaluator_;
  std::optional<RuleOrigins::Device> device_;
};

inline constexpr std::string_view kRulesAtFault = "The rules are at fault, not the device: tell their author.";

/// What to do about a rule that failed; empty if the record speaks for itself.
std::string_view adviceFor(const RuleEvaluation& evaluation);

}  // namespace tavik::tool

#endif
