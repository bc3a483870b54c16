/// @file
/// What a change of rule documents does to the rules of each part number and region, equal changes gathered.
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
    kChanged,   ///< the rule is another one
    kForwards,  ///< rules that forward attributes to the station come in another order: the last one counts
    kAccepted,  ///< devices that got no rules get some
    kRefused,   ///< and the other way round
    kRefusal,   ///< they get none for another reason
  };

  Category category;
  std::string rule = {};  ///< of the first three
  /// Of a rule, the entries that differ, with "value" as it is expected: all of one that is gained or lost. Of
  /// kForwards "rules", of the last three "reason".
  Dictionary before = {};
  Dictionary after = {};
  /// Who says "value": "part_number", "region", "generic", "set NAME" or "library"; empty: nobody.
  std::string valueFromBefore = {};
  std::string valueFromAfter = {};

  [[nodiscard]] Value value() const;
};

/// Changes that the same devices see.
struct ChangeGroup {
  std::vector<std::size_t> devices;  ///< kinds of device, ascending
  std::vector<const RuleChange*> changes;
};

class RuleChanges {
 public:
  RuleChanges(const RuleOrigins& before, const RuleOrigins& after);

  [[nodiscard]] const DeviceKinds& kinds() const noexcept { return kinds_; }
  /// What most devices see comes first.
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
