/// @file
/// The rules of a kind of device, indexed for evaluating single rules.
#ifndef TAVIK_TOOL_TEST_INDEXED_RULES_H
#define TAVIK_TOOL_TEST_INDEXED_RULES_H

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

/// Borrows the documents that the rules come from.
class IndexedRules {
 public:
  IndexedRules(RuleOrigins::Device device, std::optional<Value> partNumber, std::optional<Value> region);

  [[nodiscard]] const std::vector<RuleOrigin>& rules() const noexcept { return device_.rules; }
  [[nodiscard]] const std::vector<RuleSetOrigin>& sets() const noexcept { return device_.sets; }
  [[nodiscard]] const std::vector<RuleFacts>& facts() const noexcept { return facts_; }
  /// The part number and region of the devices; null if the devices do not have it.
  [[nodiscard]] DeviceKind selectors() const noexcept {
    return {partNumber_ ? &*partNumber_ : nullptr, region_ ? &*region_ : nullptr};
  }

  /// The number of a rule in evaluation order; absent if there is no such rule.
  [[nodiscard]] std::optional<std::size_t> find(std::string_view rule) const;
  /// The numbers of the rules that read a value, ascending; for a field, also those that read the packed attribute.
  [[nodiscard]] std::vector<std::size_t> readers(const RuleOperand& operand) const;
  /// Whether the rules and their expected values are the same for both.
  [[nodiscard]] bool hasSameRules(const IndexedRules& other) const;
  /// The names of the attributes that rules read.
  [[nodiscard]] std::vector<std::string_view> attributeNames() const;

 private:
  RuleOrigins::Device device_;
  std::optional<Value> partNumber_;
  std::optional<Value> region_;
  std::vector<RuleFacts> facts_;
  std::unordered_map<std::string_view, std::size_t> numbers_;
  std::map<RuleOperand, std::vector<std::size_t>> readers_;
};

/// Finds the rules of devices, once for each part number and region.
class IndexedRulesCache {
 public:
  /// Borrows `origins`.
  explicit IndexedRulesCache(const RuleOrigins& origins) : origins_(origins) {}

  /// Null if the rules of the device cannot be assembled.
  std::shared_ptr<const IndexedRules> of(const Dictionary& attributes);

 private:
  const RuleOrigins& origins_;
  std::map<std::pair<std::optional<std::string>, std::optional<std::string>>, std::shared_ptr<const IndexedRules>>
      known_;
};

}  // namespace tavik::tool

#endif
