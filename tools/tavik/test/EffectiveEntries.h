/// @file
/// The entries of the local rules that are in effect for at least one kind of device.
#ifndef TAVIK_TOOL_TEST_EFFECTIVE_ENTRIES_H
#define TAVIK_TOOL_TEST_EFFECTIVE_ENTRIES_H

#include <tavik/RuleOrigins.h>
#include <tavik/Value.h>

#include <string>
#include <vector>

#include "rules/KindRules.h"

namespace tavik::tool {

/// An entry that gives devices a rule or a rule set; a rule set has no definition.
struct EffectiveEntry : KindRule {
  DeviceKind kind;           ///< the first kind for which the entry is in effect
  bool isRedundant = false;  ///< without it, another entry gives every device the same rule

  /// The kind of devices to which the entry's layer applies: for generic entries and rule sets, all devices.
  [[nodiscard]] DeviceKind scope() const;
  /// "part number HN10, region EU", "GenericRules", "StorageRuleSet".
  [[nodiscard]] std::string layerText() const;
};

/// Borrows the documents.
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
