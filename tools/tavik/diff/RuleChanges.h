/// @file
/// The effect of a change to rule documents on the rules of each part number and region; equal changes are grouped.
#ifndef TAVIK_TOOL_DIFF_RULE_CHANGES_H
#define TAVIK_TOOL_DIFF_RULE_CHANGES_H

#include <tavik/Value.h>

#include <cstdint>
#include <string>
#include <vector>

#include "rules/DeviceKinds.h"
#include "rules/KindRules.h"
#include "rules/KindSet.h"

namespace tavik::tool {

struct RuleChange {
  enum class Category : std::uint8_t {
    kGained,
    kLost,
    kChanged,   ///< the rule differs
    kForwards,  ///< rules that forward attributes to the station have a different order: the last one takes effect
    kAccepted,  ///< devices without rules get some
    kRefused,   ///< devices lose all rules
    kRefusal,   ///< devices get no rules, for a different reason
  };

  Category category;
  std::string rule = {};  ///< for the first three
  /// For a rule, the entries that differ, with "value" as the expected value; all entries of a gained or lost rule. For
  /// kForwards "rules", for the last three "reason".
  Dictionary before = {};
  Dictionary after = {};
  /// Where "value" is defined: "part_number", "region", "generic", "set NAME" or "library"; empty if it is not defined.
  std::string valueFromBefore = {};
  std::string valueFromAfter = {};

  /// As in the JSON output.
  [[nodiscard]] Value value() const;
};

/// Changes that affect the same devices.
struct ChangeGroup {
  KindSet devices;  ///< kinds of device
  std::vector<RuleChange> changes;
};

class RuleChanges {
 public:
  /// Borrows the two only during the call. Takes time in proportion to the size of the documents and of the changes.
  RuleChanges(const KindRules& before, const KindRules& after);

  [[nodiscard]] const DeviceKinds& kinds() const noexcept { return kinds_; }
  /// The changes that affect the most devices come first.
  [[nodiscard]] const std::vector<ChangeGroup>& groups() const noexcept { return groups_; }
  [[nodiscard]] bool empty() const noexcept { return groups_.empty(); }

 private:
  DeviceKinds kinds_;
  std::vector<ChangeGroup> groups_;
};

}  // namespace tavik::tool

#endif
