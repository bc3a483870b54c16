/// @file
/// The coverage of the test cases for a pair of rule documents: the rules, overrides, part numbers and regions that
/// passed and failed in at least one case.
#ifndef TAVIK_TOOL_TEST_COVERAGE_H
#define TAVIK_TOOL_TEST_COVERAGE_H

#include <tavik/RuleOrigins.h>
#include <tavik/Value.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "check/Outcome.h"
#include "test/CaseFile.h"
#include "test/IndexedRules.h"

namespace tavik::tool {

/// The number of cases in which something passed and failed.
struct Seen {
  std::uint64_t passed = 0;
  std::uint64_t failed = 0;
  bool canFail = true;  ///< false: it passes for every device

  void add(bool pass) { ++(pass ? passed : failed); }
  /// The number of different results that cases can have.
  [[nodiscard]] std::size_t possible() const { return canFail ? 2 : 1; }
  [[nodiscard]] std::size_t covered() const { return std::size_t{passed != 0} + std::size_t{canFail && failed != 0}; }
};

class Coverage {
 public:
  /// An item that cases can cover, with its names: a rule; a rule and the place of a local value; a part number; a part
  /// number and a region.
  struct Item {
    std::vector<std::string> names;
    Seen seen;
  };

  /// All items: each rule that some device gets, each value in the local rules that is in effect, each part number and
  /// region of the local rules.
  ///
  /// Borrows both; `kinds` finds rules of `origins`.
  Coverage(const RuleOrigins& origins, IndexedRulesCache& kinds);

  /// Counts a case: the rules that it has expectations for, and the device. A run without a verdict covers nothing.
  void add(const RuleTest& test, const CheckOutcome& outcome);

  [[nodiscard]] const std::vector<Item>& rules() const { return rules_.items; }
  [[nodiscard]] const std::vector<Item>& overrides() const { return overrides_.items; }
  [[nodiscard]] const std::vector<Item>& partNumbers() const { return partNumbers_.items; }
  [[nodiscard]] const std::vector<Item>& regions() const { return regions_.items; }

  /// The number of results that all items can have, and of those that cases have covered.
  [[nodiscard]] std::size_t possible() const;
  [[nodiscard]] std::size_t covered() const;

 private:
  struct Group {
    std::vector<Item> items;
    std::map<std::vector<std::string>, std::size_t> places;

    Item& at(std::vector<std::string> names);
    void add(const std::vector<std::string>& names, bool pass);
  };

  void addRule(const RuleOrigin& rule, const IndexedRules& kind, bool pass);
  [[nodiscard]] std::size_t sum(std::size_t (Seen::*count)() const) const;

  IndexedRulesCache& kinds_;
  Group rules_;
  Group overrides_;
  Group partNumbers_;
  Group regions_;
};

}  // namespace tavik::tool

#endif
