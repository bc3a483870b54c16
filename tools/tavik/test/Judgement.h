/// @file
/// Compares a check run with the expectations of a test case.
#ifndef TAVIK_TOOL_TEST_JUDGEMENT_H
#define TAVIK_TOOL_TEST_JUDGEMENT_H

#include <tavik/Value.h>

#include <optional>
#include <string>
#include <vector>

#include "check/Outcome.h"
#include "test/CaseFile.h"

namespace tavik::tool {

/// A difference from the expectations.
struct Mismatch {
  std::optional<std::string> rule;      ///< absent for the run as a whole
  std::string message;                  ///< without the rule's name
  Dictionary expected;                  ///< expected entries of the record, or of the error, fault or station
  Dictionary found;                     ///< what was found; empty if nothing was found
  std::string checks = {};              ///< what the rule is about; empty for a rule that the device does not get
  std::vector<std::string> notes = {};  ///< lines that explain the record
};

/// Empty if the run meets the expectations.
std::vector<Mismatch> mismatches(const Expectation& expected, const CheckOutcome& outcome);

}  // namespace tavik::tool

#endif
