/// @file
/// The coverage of the test cases for a pair of rule documents: the rules, part numbers and regions that passed and
/// failed in at least one case.
#ifndef TAVIK_TOOL_TEST_COVERAGE_H
#define TAVIK_TOOL_TEST_COVERAGE_H

#include <tavik/Value.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "check/Outcome.h"
#include "test/CaseFile.h"

namespace tavik::tool {

/// The number of cases in which something passed and failed.
struct Seen {
  std::uint64_t passed = 0;
  std::uint64_t failed = 0;

  void add(bool pass) { ++(pass ? passed : failed); }
  [[nodiscard]] bool whole() const { return passed != 0 && failed != 0; }
};

class Coverage {
 public:
  /// An item that cases can cover, with its names: a rule; a part number; a part number and a region.
  struct Item {
    std::vector<std::string> names;
    Seen seen;
  };

  /// All items: each rule that some device gets, each part number and region of the local rules.
  Coverage(const Dictionary& library, const Dictionary& localRules);

  /// Counts a case: the rules that it has expectations for, and the device. A run without a verdict covers nothing.
  void add(const RuleTest& test, const CheckOutcome& outcome);

  [[nodiscard]] const std::vector<Item>& rules() const { return rules_.items; }
  [[nodiscard]] const std::vector<Item>& partNumbers() const { return partNumbers_.items; }
  [[nodiscard]] const std::vector<Item>& regions() const { return regions_.items; }

 private:
  struct Group {
    std::vector<Item> items;
    std::map<std::vector<std::string>, std::size_t> places;

    void insert(std::vector<std::string> names);
    void add(const std::vector<std::string>& names, bool pass);
  };

  Group rules_;
  Group partNumbers_;
  Group regions_;
};

}  // namespace tavik::tool

#endif
