/// @file
/// Finds test cases: small changes of a device after which a rule fails, or shows the difference from a mutant.
#ifndef TAVIK_TOOL_TEST_CASE_SEARCH_H
#define TAVIK_TOOL_TEST_CASE_SEARCH_H

#include <tavik/Value.h>

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "test/CaseDevice.h"
#include "test/CaseFile.h"
#include "test/Mutant.h"

namespace tavik::tool {

/// A test case, relative to the device of another one.
struct FoundCase {
  std::optional<DeviceChange> change;  ///< absent: the device as it is
  RuleExpectation expected;
  std::vector<std::string> alsoFailing = {};  ///< the other rules that fail

  [[nodiscard]] Expectation expectation() const;
  /// "TotalDiskCapacity 65000000000", "without TotalDiskCapacity", "sfc: mpn "HN10""; empty without a change.
  [[nodiscard]] std::string changeText() const;
  /// The case as a case file spells it, with a name made from the rule and the change. device: the one before the
  /// change.
  [[nodiscard]] Dictionary inCaseFile(const CaseDevice& device) const;
};

/// An expectation as a case file spells it: "pass", "fail", or an object with entries of the record.
Value inCaseFile(const RuleExpectation& expectation);

/// Borrows the device and the cache.
class CaseSearch {
 public:
  CaseSearch(const CaseDevice& device, KindRulesCache& kinds) : device_(device), kinds_(kinds) {}

  /// A change after which the rule with this number fails: one after which no other rule fails, if there is one among
  /// the first candidates. Absent if none was found.
  std::optional<FoundCase> failing(std::size_t number) { return search(number, nullptr); }
  /// A case that catches the change of a rule: by its result if possible, otherwise by its record.
  std::optional<FoundCase> catching(const ChangedRule& changed);

 private:
  std::optional<FoundCase> search(std::size_t number, const RuleOrigin* mutant);
  [[nodiscard]] std::vector<Value> hintsFor(const RuleOperand& operand, std::size_t number,
                                            const RuleOrigin* mutant) const;
  /// The other rules that fail after the change; absent if the check ends.
  std::optional<std::vector<std::string>> alsoFailing(std::size_t number, const DeviceChange& change);
  const std::vector<bool>& failingBefore();

  const CaseDevice& device_;
  KindRulesCache& kinds_;
  std::vector<bool> failingBefore_;  // by number; empty: not known yet
};

}  // namespace tavik::tool

#endif
