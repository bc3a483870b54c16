/// @file
/// What the records of a device's rules do not tell: what the rules compare, why values that look alike differ, what
/// several failures have in common, and what to do.
#ifndef TAVIK_TOOL_RULES_RULE_NOTES_H
#define TAVIK_TOOL_RULES_RULE_NOTES_H

#include <tavik/RuleEvaluation.h>
#include <tavik/RuleOrigins.h>
#include <tavik/Value.h>

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tavik::tool {

/// About one rule of a device.
struct RuleNote {
  const RuleOrigin* rule;
  RuleEvaluation evaluation;
  bool lacksSource = false;  ///< the host did not give a source that the rule reads

  /// What explains the record, such as "found a number, expected text"; a failed record if not `pass`.
  [[nodiscard]] std::vector<std::string> remarks(bool pass) const;
  /// What to do about a rule that failed; empty if the record speaks for itself.
  [[nodiscard]] std::string_view advice() const;
};

class RuleNotes {
 public:
  /// Evaluates the device's rules without a log, because the check run has logged them. Borrows `origins`.
  RuleNotes(const Dictionary& attributes, const Dictionary& sources, const RuleOrigins& origins);

  /// About the rule with this number in the order of evaluation. Null if the device has no such rule.
  [[nodiscard]] const RuleNote* at(std::size_t number) const;
  /// The same by name.
  [[nodiscard]] const RuleNote* of(std::string_view name) const;

  /// The sources that rules need and the host did not give, each with the number of these rules.
  [[nodiscard]] const std::map<std::string, std::size_t>& missingSources() const noexcept { return missingSources_; }
  /// What explains several failures at once: missing sources, and packed data that cannot be decoded.
  [[nodiscard]] const std::vector<std::string>& aboutDevice() const noexcept { return aboutDevice_; }

 private:
  void noteMissingSources(const Dictionary& sources);
  void notePackedData(const Dictionary& attributes);
  [[nodiscard]] bool lacksFieldOf(std::string_view prefix) const;

  std::optional<RuleOrigins::Device> device_;
  std::vector<RuleNote> notes_;
  std::map<std::string, std::size_t> missingSources_;
  std::vector<std::string> aboutDevice_;
};

inline constexpr std::string_view kRulesAtFault = "The rules are at fault, not the device: tell their author.";

/// The remarks on an evaluation, whether of a rule or of an expression by itself.
std::vector<std::string> remarksOn(const RuleEvaluation& evaluation, bool pass);

}  // namespace tavik::tool

#endif
