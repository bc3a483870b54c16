/// @file
/// Devices of test cases: changes of what rules read, as case files describe them, and rules evaluated for a changed
/// device.
#ifndef TAVIK_TOOL_TEST_DEVICE_H
#define TAVIK_TOOL_TEST_DEVICE_H

#include <tavik/RuleEvaluation.h>
#include <tavik/Value.h>

#include <memory>
#include <optional>
#include <string_view>

#include "test/DeviceRules.h"

namespace tavik::tool {

/// The packed attribute that has this field: "SysCfgData" for "SysCfgData.COLR"; empty for other attributes.
std::string_view packedAttributeOf(std::string_view name);

/// Sets or adds an attribute. If it is a field, the packed attribute is replaced by its fields: otherwise the check
/// would unpack it over the change.
void setAttribute(Dictionary& attributes, std::string_view name, const Value& value);

/// Removes an attribute in the same way. Returns whether the device has it.
bool removeAttribute(Dictionary& attributes, std::string_view name);

/// A change of one value that rules read.
struct ValueChange {
  RuleOperand operand;
  std::optional<Value> value;  ///< absent: removed

  void applyTo(Dictionary& attributes, Dictionary& sources) const;
};

/// Borrows the documents that the rules come from.
class Device {
 public:
  /// attributes: with packed attributes as the host gave them.
  Device(Dictionary attributes, Dictionary sources, std::shared_ptr<const DeviceRules> rules);

  [[nodiscard]] const Dictionary& attributes() const noexcept { return attributes_; }
  [[nodiscard]] const Dictionary& sources() const noexcept { return sources_; }
  [[nodiscard]] const DeviceRules& rules() const noexcept { return *rules_; }
  /// The value that a rule reads; null if it is missing.
  [[nodiscard]] const Value* find(const RuleOperand& operand) const;

  [[nodiscard]] RuleEvaluation evaluate(const RuleOrigin& rule) const { return evaluator_.evaluate(rule); }
  /// The record of a rule; absent if the rule ends the run.
  [[nodiscard]] std::optional<Dictionary> record(const RuleOrigin& rule) const;
  /// The same after a change. operands: everything that the rule reads.
  [[nodiscard]] std::optional<Dictionary> recordAfter(const ValueChange& change, const RuleOrigin& rule,
                                                      const std::vector<RuleOperand>& operands) const;
  /// The device after a change. Absent if it gets other rules, or the same rules with other values.
  [[nodiscard]] std::optional<Device> after(const ValueChange& change, DeviceRulesCache& cache) const;

 private:
  Dictionary attributes_;
  Dictionary sources_;
  std::shared_ptr<const DeviceRules> rules_;
  RuleEvaluator evaluator_;
};

}  // namespace tavik::tool

#endif
