/// @file
/// Explains the records of a device's rules: what the rules compare, why values that look alike differ, what several
/// failures have in common, and what to do.
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

  /// Remarks that explain the record, such as "found a number, expected text"; `pass` is the record's result.
  [[nodiscard]] std::vector<std::string> remarks(bool pass) const;
  /// What to do about a failed rule; empty if the record is clear enough.
  [[nodiscard]] std::string_view advice() const;
};

class RuleNotes {
 public:
  /// Evaluates the rules of `device` with `evaluator`, which was made for `attributes` and `sources`.
  RuleNotes(const RuleEvaluator& evaluator, const Dictionary& attributes, const Dictionary& sources,
            RuleOrigins::Device device);
  RuleNotes(const RuleNotes&) = delete;
  RuleNotes& operator=(const RuleNotes&) = delete;
  RuleNotes(RuleNotes&&) = default;
  RuleNotes& operator=(RuleNotes&&) = default;
  ~RuleNotes() = default;

  [[nodiscard]] const RuleOrigins::Device& device() const noexcept { return device_; }
  /// One for each rule, in evaluation order.
  [[nodiscard]] const std::vector<RuleNote>& all() const noexcept { return notes_; }
  /// The note on the rule with this number in evaluation order. Null if the device has no such rule.
  [[nodiscard]] const RuleNote* at(std::size_t number) const;
  /// The same by name.
  [[nodiscard]] const RuleNote* of(std::string_view name) const;

  /// The sources that rules need but the host did not provide, each with the number of these rules.
  [[nodiscard]] const std::map<std::string, std::size_t>& missingSources() const noexcept { return missingSources_; }
  /// Explanations that several failures share: missing sources, and packed data that cannot be decoded.
  [[nodiscard]] const std::vector<std::string>& aboutDevice() const noexcept { return aboutDevice_; }

 private:
  void noteMissingSources(const Dictionary& sources);
  void notePackedData(const Dictionary& attributes);
  [[nodiscard]] bool lacksFieldOf(std::string_view prefix) const;

  RuleOrigins::Device device_;
  std::vector<RuleNote> notes_;
  std::map<std::string, std::size_t> missingSources_;
  std::vector<std::string> aboutDevice_;
};

/// Notes without a log, because the check run has already logged the rules. Borrows `origins`. Without notes if the
/// device's rules cannot be assembled.
RuleNotes notesAfterCheck(const Dictionary& attributes, const Dictionary& sources, const RuleOrigins& origins);

inline constexpr std::string_view kRulesAtFault = "The problem is in the rules, not in the device. Tell their author.";

/// The remarks on an evaluation, either of a rule or of a single expression.
std::vector<std::string> remarksOn(const RuleEvaluation& evaluation, bool pass);

}  // namespace tavik::tool

#endif
