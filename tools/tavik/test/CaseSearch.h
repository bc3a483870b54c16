/// @file
/// Finds test cases: small changes of a device after which a rule fails, or shows the difference from a mutant.
#ifndef TAVIK_TOOL_TEST_CASE_SEARCH_H
#define TAVIK_TOOL_TEST_CASE_SEARCH_H

#include <tavik/Value.h>

#include <cstddef>
#include <optional>
#include <span>
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
  /// `TotalDiskCapacity = 65000000000`, `without TotalDiskCapacity`, `sfc: mpn = "HN10"`; empty without a change.
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
  CaseSearch(const CaseDevice& device, IndexedRulesCache& kinds) : device_(device), kinds_(kinds) {}

  /// A change after which the rule with this number fails: one after which no other rule fails, if there is one among
  /// the first candidates. Absent if none was found.
  std::optional<FoundCase> failing(std::size_t number);
  /// A case that catches the change of a rule: by its result if possible, otherwise by its record.
  std::optional<FoundCase> catching(const ChangedRule& changed);

  /// The number of rules that fail without a change.
  std::size_t failuresBefore();

 private:
  class Attempts;

  std::optional<FoundCase> searchChange(Attempts& attempts) const;
  std::optional<FoundCase> withoutChange(const ChangedRule& changed);
  /// The other rules that fail after the change; absent if the check ends.
  std::optional<std::vector<std::string>> alsoFailing(std::size_t number, const DeviceChange& change);
  const std::vector<bool>& failingBefore();
  /// The names of the failing rules other than the one with this number. failing: by number.
  [[nodiscard]] std::vector<std::string> othersIn(const std::vector<bool>& failing, std::size_t number) const;

  const CaseDevice& device_;
  IndexedRulesCache& kinds_;
  std::vector<bool> failingBefore_;  // by number; empty: not known yet
};

/// The first of the kinds of devices for which a case catches the mutant, as far as can be said without such a device:
/// of `like`, only the part number and the region are replaced. Considers the first few kinds that the mutant concerns.
std::optional<DeviceKind> kindShowing(const Mutant& mutant, const CaseDevice& like, std::span<const DeviceKind> kinds,
                                      IndexedRulesCache& cache);

}  // namespace tavik::tool

#endif
