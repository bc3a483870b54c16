/// @file
/// The rules of devices, indexed for evaluating single rules, and the entries of the local rules that give them.
#ifndef TAVIK_TOOL_TEST_DEVICE_RULES_H
#define TAVIK_TOOL_TEST_DEVICE_RULES_H

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

#include "rules/KindRules.h"
#include "rules/RuleFacts.h"

namespace tavik::tool {

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

  /// The number of a rule in evaluation order; absent if there is no such rule.
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

/// An entry that gives devices a rule or a rule set; a rule set has no definition.
struct EffectiveEntry : KindRule {
  DeviceKind kind;           ///< the first kind for which the entry is in effect
  bool isRedundant = false;  ///< without it, another entry gives every device the same rule

  /// The kind of devices to which the entry's layer applies: for generic entries and rule sets, all devices.
  [[nodiscard]] DeviceKind scope() const;
  /// "part number HN10, region EU", "GenericRules", "StorageRuleSet".
  [[nodiscard]] std::string layerText() const;
};

/// The entries of the local rules that are in effect for at least one kind of device. Borrows the documents.
struct EffectiveEntries {
  using ByName = std::vector<std::vector<EffectiveEntry>>;  ///< the entries of each name, at least one

  explicit EffectiveEntries(const RuleOrigins& origins);

  std::vector<DeviceKind> kinds;  ///< those whose rules can be assembled
  ByName rules;                   ///< in the order of the kinds
  ByName sets;
};

/// A selector of devices as text; empty if it is missing or not a string.
std::string selectorText(const Value* value);

/// Whether a device with these selectors is of the kind.
bool includes(const DeviceKind& kind, const DeviceKind& device);

/// "part number HN10, region EU", or "any part number".
std::string kindText(const DeviceKind& kind);

}  // namespace tavik::tool

#endif
