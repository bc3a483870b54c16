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

/// Whether a run that ends with an error or a fault meets the expectations.
bool isExpectedEnd(const Expectation& expected, const std::optional<Error>& error, const std::optional<Fault>& fault);

/// Whether the record of one rule meets the expectations. named: the expectation that names the rule, null if there is
/// none. record: null if the device does not get the rule.
bool isExpectedRecord(const RuleExpectation* named, OtherRules others, const Dictionary* record);

}  // namespace tavik::tool

#endif
