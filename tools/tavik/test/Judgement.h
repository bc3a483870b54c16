/// @file
/// Whether a check run is what a test case expects, and what of it is not.
#ifndef TAVIK_TOOL_TEST_JUDGEMENT_H
#define TAVIK_TOOL_TEST_JUDGEMENT_H

#include <tavik/Value.h>

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "check/CheckRun.h"
#include "test/CaseFile.h"

namespace tavik::tool {

/// One thing that is not as expected.
struct Mismatch {
  std::optional<std::string> rule;  ///< absent: the run as a whole
  std::string message;              ///< in words, without the rule's name
  Dictionary expected;              ///< what was expected: entries of the record, or of the error, fault or station
  Dictionary found;                 ///< what was found; empty when there is nothing
};

/// The records of the device's rules. None when the run gave no verdict, for whatever reason.
std::span<const Value> ruleRecords(const CheckOutcome& outcome);

/// Empty when the run is as expected.
std::vector<Mismatch> mismatches(const Expectation& expected, const CheckOutcome& outcome);

}  // namespace tavik::tool

#endif
