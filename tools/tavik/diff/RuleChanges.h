/// @file
/// The effect of a change to rule documents on the rules of each part number and region; equal changes are grouped.
#ifndef TAVIK_TOOL_DIFF_RULE_CHANGES_H
#define TAVIK_TOOL_DIFF_RULE_CHANGES_H

#include <tavik/Value.h>

#include <cstdint>
#include <deque>
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

/// A change in little memory; borrows the rules.
struct ChangedRule {
  const KindRule* before;             ///< null if only the new version has the rule
  const KindRule* after;              ///< null if only the old version has the rule
  const RuleChange* other = nullptr;  ///< a change of something else than a rule; the two rules are null

  [[nodiscard]] RuleChange change() const;
};

/// Changes that affect the same devices.
struct ChangeGroup {
  KindSet devices;  ///< kinds of device
  std::vector<ChangedRule> changes;
};

class RuleChanges {
 public:
  /// A change that is not about a rule, and the kinds of device that it affects.
  struct Other {
    RuleChange change;
    KindSet kinds = {};
  };

  /// The contents of the library and the local rules of each version. Takes time in proportion to the size of the
  /// documents and of the changes.
  RuleChanges(Dictionary libraryBefore, Dictionary rulesBefore, Dictionary libraryAfter, Dictionary rulesAfter);
  RuleChanges(const RuleChanges&) = delete;
  RuleChanges& operator=(const RuleChanges&) = delete;

  [[nodiscard]] const DeviceKinds& kinds() const noexcept { return kinds_; }
  /// The changes that affect the most devices come first.
  [[nodiscard]] const std::vector<ChangeGroup>& groups() const noexcept { return groups_; }
  [[nodiscard]] bool empty() const noexcept { return groups_.empty(); }

 private:
  KindRules before_;
  KindRules after_;
  DeviceKinds kinds_;
  std::deque<Other> others_;
  std::vector<ChangeGroup> groups_;
};

}  // namespace tavik::tool

#endif
