/// @file
/// Whether a check run is what a test case expects, and what of it is not.
#ifndef TAVIK_TOOL_TEST_JUDGEMENT_H
#define TAVIK_TOOL_TEST_JUDGEMENT_H

#include <tavik/Value.h>

#include <optional>
#include <string>
#include <vector>

#include "check/Outcome.h"
#include "test/CaseFile.h"

namespace tavik::tool {

/// One thing that is not as expected.
struct Mismatch {
  std::optional<std::string> rule;  ///< absent: the run as a whole
  std::string message;              ///< in words, without the rule's name
  Dictionary expected;              ///< what was expected: entries of the record, or of the error, fault or station
  Dictionary found;                 ///< what was found; empty when there is nothing
  std::string checks = {};          ///< what the rule is about, in words; empty for a rule that the device does not get
  std::vector<std::string> notes = {};  ///< lines that explain the record
};

/// Empty when the run is as expected.
std::vector<Mismatch> mismatches(const Expectation& expected, const CheckOutcome& outcome);

}  // namespace tavik::tool

#endif
