/// @file
/// The device of a test case: evaluates changed rules for it, and rules for a changed device.
#ifndef TAVIK_TOOL_TEST_CASE_DEVICE_H
#define TAVIK_TOOL_TEST_CASE_DEVICE_H

#include <tavik/RuleEvaluation.h>
#include <tavik/Value.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <vector>

#include "rules/RuleFacts.h"
#include "test/IndexedRules.h"

namespace tavik::tool {

/// A change of one value that rules read.
struct DeviceChange {
  RuleOperand operand;
  std::optional<Value> value;  ///< absent: removed
};

/// The values of a source after a change of one of them.
Dictionary changedSource(const DeviceChange& change, const Dictionary& sources);

class CaseDevice {
 public:
  /// attributes: with packed attributes as the host gave them.
  CaseDevice(Dictionary attributes, Dictionary sources, std::shared_ptr<const IndexedRules> kind);

  [[nodiscard]] const Dictionary& attributes() const noexcept { return attributes_; }
  [[nodiscard]] const Dictionary& sources() const noexcept { return sources_; }
  [[nodiscard]] const IndexedRules& kind() const noexcept { return *kind_; }
  /// The value that a rule reads; null if it is missing.
  [[nodiscard]] const Value* find(const RuleOperand& operand) const;

  [[nodiscard]] RuleEvaluation evaluate(const RuleOrigin& rule) const { return evaluator_.evaluate(rule); }
  /// The record of a rule after a change; absent if the rule ends the run. operands: everything that the rule reads.
  [[nodiscard]] std::optional<Dictionary> record(const RuleOrigin& rule, const std::vector<RuleOperand>& operands,
                                                 const DeviceChange* change) const;
  /// The device after a change. Null if it gets other rules, or the same rules with other values.
  [[nodiscard]] std::optional<CaseDevice> after(const DeviceChange& change, IndexedRulesCache& kinds) const;

 private:
  Dictionary attributes_;
  Dictionary sources_;
  std::shared_ptr<const IndexedRules> kind_;
  RuleEvaluator evaluator_;
};

/// The record of an evaluation; null if the rule ended the run.
const Dictionary* recordOf(const RuleEvaluation& evaluation);

}  // namespace tavik::tool

#endif
