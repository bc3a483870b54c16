/// @file
/// A mutant: the rule documents with one small change. A test suite that tests a rule catches its mutants.
#ifndef TAVIK_TOOL_TEST_MUTANT_H
#define TAVIK_TOOL_TEST_MUTANT_H

#include <tavik/Error.h>
#include <tavik/RuleOrigins.h>
#include <tavik/Value.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "test/EffectiveEntries.h"
#include "test/IndexedRules.h"

namespace tavik::tool {

struct Mutant {
  enum class Target : std::uint8_t {
    kDefinition,    ///< the definition of the rule `subject`, replaced by `definition`
    kDefinedValue,  ///< the same, if only its value differs
    kEntry,         ///< the entry `entry` of a rule, replaced by `content` or removed
    kSet,           ///< the entry `entry` of a rule set, removed
    kKind,          ///< the part number or region of `kind`, removed
  };

  std::string_view mutation;  ///< the name of the kind of change: "value"
  Target target;
  std::string subject;   ///< the rule, rule set, part number or region that changes
  std::string change;    ///< what changes: "value 65 instead of 64"
  std::string location;  ///< in which part of the documents: "rule library", "part number HN20"
  DeviceKind kind;       ///< one of the kinds of devices concerned
  std::optional<Dictionary> definition = std::nullopt;
  const EffectiveEntry* entry = nullptr;
  std::optional<Value> content = std::nullopt;
};

/// A rule of a device that a mutant changes.
struct ChangedRule {
  std::size_t number;              ///< in evaluation order
  std::optional<RuleOrigin> rule;  ///< absent: the device does not get it
};

/// The consequences of a mutant for a kind of device. Borrows both.
class MutantEffect {
 public:
  MutantEffect(const Mutant& mutant, const IndexedRules& kind);

  [[nodiscard]] bool empty() const { return rules.empty() && !error; }
  [[nodiscard]] const ChangedRule* of(std::size_t number) const;

  std::vector<ChangedRule> rules;
  std::optional<Error> error;  ///< the rules cannot be assembled

 private:
  void changeDefinition(const Mutant& mutant, const IndexedRules& kind);
  void changeEntry(const Mutant& mutant, const EffectiveEntry& entry, const IndexedRules& kind);
};

}  // namespace tavik::tool

#endif
