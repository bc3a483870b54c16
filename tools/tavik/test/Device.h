/// @file
/// Devices of test cases with their rules: changes of what the rules read, as case files describe them, and single
/// rules evaluated for the changed device.
#ifndef TAVIK_TOOL_TEST_DEVICE_H
#define TAVIK_TOOL_TEST_DEVICE_H

#include <tavik/RuleEvaluation.h>
#include <tavik/RuleOrigins.h>
#include <tavik/Value.h>

#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "rules/RuleFacts.h"

namespace tavik::tool {

/// The packed attribute that has this field: "SysCfgData" for "SysCfgData.COLR"; empty for other attributes.
std::string_view packedAttributeOf(std::string_view name);

/// Sets or adds an attribute. If it is a field, the packed attribute is replaced by its fields: otherwise the check
/// would unpack it over the change.
void setAttribute(Dictionary& attributes, std::string_view name, const Value& value);

/// Removes an attribute in the same way. Returns whether the device has it.
bool removeAttribute(Dictionary& attributes, std::string_view name);

/// The rules of a device. Borrows the documents that they come from.
class DeviceRules {
 public:
  DeviceRules(RuleOrigins::Device device, const Value* partNumber, const Value* region);

  [[nodiscard]] const std::vector<RuleOrigin>& rules() const noexcept { return device_.rules; }
  [[nodiscard]] const std::vector<RuleSetOrigin>& sets() const noexcept { return device_.sets; }
  [[nodiscard]] const std::vector<RuleFacts>& facts() const noexcept { return facts_; }
  /// The device's part number and region; null if it does not have them.
  [[nodiscard]] DeviceKind selectors() const noexcept {
    return {partNumber_ ? &*partNumber_ : nullptr, region_ ? &*region_ : nullptr};
  }

  /// The number of a rule in evaluation order; absent if the device does not get the rule.
  [[nodiscard]] std::optional<std::size_t> find(std::string_view rule) const;
  /// The numbers of the rules that read a value or, for a field of packed data, any part of this data; ascending.
  [[nodiscard]] const std::vector<std::size_t>& readers(const RuleOperand& operand) const;
  /// Whether the rules and their expected values are the same for both.
  [[nodiscard]] bool hasSameRules(const DeviceRules& other) const;

 private:
  RuleOrigins::Device device_;
  std::optional<Value> partNumber_;
  std::optional<Value> region_;
  std::vector<RuleFacts> facts_;
  std::unordered_map<std::string_view, std::size_t> numbers_;
  std::map<RuleOperand, std::vector<std::size_t>> readers_;
};

/// Finds the rules of devices, once for each part number and region.
class DeviceRulesCache {
 public:
  /// Borrows `origins`.
  explicit DeviceRulesCache(const RuleOrigins& origins) : origins_(origins) {}

  /// Null if the rules of the device cannot be assembled.
  std::shared_ptr<const DeviceRules> of(const Dictionary& attributes);

 private:
  const RuleOrigins& origins_;
  std::map<std::pair<std::optional<std::string>, std::optional<std::string>>, std::shared_ptr<const DeviceRules>>
      known_;
};

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
