/// @file
/// The effect of a change to rule documents on the rules of each part number and region; equal changes are grouped.
#ifndef TAVIK_TOOL_DIFF_RULE_CHANGES_H
#define TAVIK_TOOL_DIFF_RULE_CHANGES_H

#include <tavik/RuleOrigins.h>
#include <tavik/Value.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "rules/DeviceKinds.h"

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

  [[nodiscard]] Value value() const;
};

/// Changes that affect the same devices.
struct ChangeGroup {
  std::vector<std::size_t> devices;  ///< kinds of device, ascending
  std::vector<const RuleChange*> changes;
};

class RuleChanges {
 public:
  RuleChanges(const RuleOrigins& before, const RuleOrigins& after);

  [[nodiscard]] const DeviceKinds& kinds() const noexcept { return kinds_; }
  /// The changes that affect the most devices come first.
  [[nodiscard]] std::vector<ChangeGroup> groups() const;
  [[nodiscard]] bool empty() const noexcept { return changes_.empty(); }

 private:
  void compare(std::size_t kind, const RuleOrigins& before, const RuleOrigins& after);
  void compareRules(std::size_t kind, const RuleOrigins::Device& before, const RuleOrigins::Device& after);
  void add(std::size_t kind, RuleChange change);

  struct Seen {
    RuleChange change;
    std::vector<std::size_t> devices;
  };

  DeviceKinds kinds_;
  std::vector<Seen> changes_;
  std::unordered_map<std::string, std::size_t> places_;  // of a change, by its JSON
};

}  // namespace tavik::tool

#endif
