/// @file
/// The entries of the local rules that are in effect for at least one kind of device.
#ifndef TAVIK_TOOL_TEST_EFFECTIVE_ENTRIES_H
#define TAVIK_TOOL_TEST_EFFECTIVE_ENTRIES_H

#include <tavik/RuleOrigins.h>
#include <tavik/Value.h>

#include <string>
#include <string_view>
#include <vector>

namespace tavik::tool {

/// An entry that gives devices a rule or a rule set.
struct EffectiveEntry {
  std::string_view name;         ///< of the rule or the rule set
  const Dictionary* definition;  ///< of the rule; null if there is none
  LocalEntry entry;
  DeviceKind kind;           ///< the first kind for which the entry is in effect
  bool isRedundant = false;  ///< without it, another entry gives every device the same rule

  /// Whether the entry is in the layers of devices of this kind, if it is in effect for any of them.
  [[nodiscard]] bool appliesTo(const Value* partNumber, const Value* region) const;
  /// "part number HN10, region EU", "GenericRules", "StorageRuleSet".
  [[nodiscard]] std::string layerText() const;
  /// The expected value of the rule; null if there is none.
  [[nodiscard]] const Value* value() const;
};

/// Borrows the documents of `origins`.
struct EffectiveEntries {
  explicit EffectiveEntries(const RuleOrigins& origins);

  /// The kinds of devices whose rules can be assembled.
  std::vector<DeviceKind> kinds;
  /// Of rules, in the order of the kinds.
  std::vector<EffectiveEntry> rules;
  /// Of rule sets.
  std::vector<EffectiveEntry> sets;
};

/// A selector of devices as text; empty if it is missing or not a string.
std::string selectorText(const Value* value);

/// "part number HN10, region EU", or "any part number".
std::string kindText(const DeviceKind& kind);

}  // namespace tavik::tool

#endif
