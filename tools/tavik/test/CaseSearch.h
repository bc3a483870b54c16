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

#include "test/CaseFile.h"
#include "test/Device.h"
#include "test/Mutant.h"

namespace tavik::tool {

/// A test case, relative to the device of another one.
struct FoundCase {
  std::optional<ValueChange> change;  ///< absent: the device as it is
  RuleExpectation expected;
  std::vector<std::string> alsoFailing;  ///< the other rules that fail

  [[nodiscard]] Expectation expectation() const;
  /// `TotalDiskCapacity = 65000000000`, `without TotalDiskCapacity`, `sfc: mpn = "HN10"`; empty without a change.
  [[nodiscard]] std::string changeText() const;
  /// The case as a case file spells it, with a name made from the rule and the change. device: the one before the
  /// change.
  [[nodiscard]] Dictionary inCaseFile(const Device& device) const;
};

/// An expectation as a case file spells it: "pass", "fail", or an object with entries of the record.
Value inCaseFile(const RuleExpectation& expectation);

/// Borrows the device and the cache.
class CaseSearch {
 public:
  CaseSearch(const Device& device, DeviceRulesCache& cache) : device_(&device), cache_(&cache) {}

  /// The best case that catches the change of a rule: by its result after a change of the device, if possible alone;
  /// otherwise by its record without a change, or after one. Absent if none was found.
  std::optional<FoundCase> catching(const MutatedRule& changed);

  /// The number of rules that fail without a change.
  std::size_t failures();

 private:
  class Attempts;

  /// The other rules that fail after the change; absent if the check ends.
  std::optional<std::vector<std::string>> alsoFailing(std::size_t number, const std::optional<ValueChange>& change);
  const std::vector<bool>& failing();

  const Device* device_;
  DeviceRulesCache* cache_;
  std::vector<bool> failing_;  // without a change, by the number of the rule; empty: not known yet
};

/// The first of the kinds of devices for which a case catches the mutant, as far as can be said without such a device:
/// of `like`, only the part number and the region are replaced. Considers the first few kinds that the mutant concerns.
std::optional<DeviceKind> kindShowing(const Mutant& mutant, const Device& like, std::span<const DeviceKind> kinds,
                                      DeviceRulesCache& cache);

}  // namespace tavik::tool

#endif
