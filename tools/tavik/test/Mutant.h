/// @file
/// A mutant: the rule documents with one small change. A test suite that tests a rule catches its mutants.
#ifndef TAVIK_TOOL_TEST_MUTANT_H
#define TAVIK_TOOL_TEST_MUTANT_H

#include <tavik/Error.h>
#include <tavik/RuleOrigins.h>
#include <tavik/Value.h>

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "test/Device.h"
#include "test/EffectiveEntries.h"

namespace tavik::tool {

struct Mutant {
  std::string_view mutation;  ///< the name of the kind of change: "value"
  std::string subject;        ///< the rule, rule set, part number or region that changes
  std::string change;         ///< what changes: "value 65 instead of 64"
  std::string location;       ///< in which part of the documents: "rule library", "part number HN20"
  DeviceKind kind;  ///< one of the kinds of devices concerned; the one that is removed if nothing else changes

  std::optional<Dictionary> definition = std::nullopt;  ///< the new definition of the rule `subject`
  const EffectiveEntry* entry = nullptr;                ///< an entry that is removed, or replaced by `content`
  std::optional<Value> content = std::nullopt;
};

/// Visits every mutant of the rules in effect, by rule. Changes that have no effect on any device, and changes of a
/// rule that passes before and after them for every device, are left out.
///
/// The mutants borrow `entries`.
void forEachMutant(const EffectiveEntries& entries, const std::function<void(const Mutant&)>& visit);

/// A rule of a device that a mutant changes.
struct MutatedRule {
  std::size_t number;              ///< in evaluation order
  std::optional<RuleOrigin> rule;  ///< absent: the device does not get it
};

/// The consequences of a mutant for the rules of a device.
struct MutantEffect {
  /// Borrows both.
  MutantEffect(const Mutant& mutant, const DeviceRules& rules);

  [[nodiscard]] bool empty() const { return rules.empty() && !error; }

  std::vector<MutatedRule> rules;  ///< those with other values or another predicate
  std::optional<Error> error;      ///< the rules cannot be assembled
};

}  // namespace tavik::tool

#endif
