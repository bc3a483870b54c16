/// @file
/// The coverage of the test cases for a pair of rule documents: the rules, overrides, part numbers and regions that
/// passed and failed in at least one case.
#ifndef TAVIK_TOOL_TEST_COVERAGE_H
#define TAVIK_TOOL_TEST_COVERAGE_H

#include <tavik/RuleOrigins.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "check/Outcome.h"
#include "test/CaseFile.h"
#include "test/Device.h"
#include "test/EffectiveEntries.h"

namespace tavik::tool {

class Coverage {
 public:
  enum class Subject : std::uint8_t { kRule, kPartNumber, kRegion, kOverride };

  /// Something that cases can cover, and the number of cases in which it passed and failed.
  struct Item {
    /// A rule; a part number; a part number and a region; or a rule and the place of a local value.
    std::vector<std::string> names;
    std::uint64_t passed = 0;
    std::uint64_t failed = 0;
    bool canFail = true;  ///< false: it passes for every device

    /// The number of different results that cases can have.
    [[nodiscard]] std::size_t possible() const { return canFail ? 2 : 1; }
    [[nodiscard]] std::size_t covered() const { return std::size_t{passed != 0} + std::size_t{canFail && failed != 0}; }
  };

  Coverage(const RuleOrigins& origins, DeviceRulesCache& cache);

  /// Counts a case: the rules that it has expectations for, and the device. A run without a verdict covers nothing.
  void add(const RuleTest& test, const CheckOutcome& outcome);

  [[nodiscard]] const std::vector<Item>& items(Subject subject) const {
    return groups_[static_cast<std::size_t>(subject)].items;
  }
  /// The number of results that all items can have, and of those that cases have covered.
  [[nodiscard]] std::size_t possible() const { return sum(&Item::possible); }
  [[nodiscard]] std::size_t covered() const { return sum(&Item::covered); }

 private:
  struct Group {
    std::vector<Item> items;
    std::map<std::vector<std::string>, std::size_t> places;
  };

  Item& at(Subject subject, const std::vector<std::string>& names);
  /// Ignores names that are not those of an item.
  void count(Subject subject, const std::vector<std::string>& names, bool pass);
  [[nodiscard]] std::size_t sum(std::size_t (Item::*number)() const) const;

  DeviceRulesCache& cache_;
  Group groups_[4];  // by subject
};

}  // namespace tavik::tool

#endif
