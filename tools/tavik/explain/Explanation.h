/// @file
/// The output of `tavik explain` about a device and its rules, as text and as JSON.
#ifndef TAVIK_TOOL_EXPLAIN_EXPLANATION_H
#define TAVIK_TOOL_EXPLAIN_EXPLANATION_H

#include <tavik/RuleEvaluation.h>
#include <tavik/Value.h>

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "rules/DeviceKinds.h"
#include "rules/RuleNotes.h"
#include "text/Terminal.h"

namespace tavik::tool {

/// A requested rule that the device does not get.
struct RuleNotThere {
  std::string name;
  bool defined;                        ///< in the rule library
  std::vector<std::size_t> devices;    ///< the kinds of device that get it
  std::optional<std::string> nearest;  ///< a rule of the device, or else of others, that may have been meant
};

struct Explanation {
  const Value* partNumber;  ///< null if the device has none
  const Value* region;      ///< likewise
  DeviceKinds kinds;
  const RuleNotes& notes;
  std::vector<const RuleNote*> rules = {};  ///< the requested rules
  std::vector<RuleNotThere> notThere = {};
};

/// One line per rule, with unusual details below.
std::string overviewText(const Explanation& explanation, const Screen& screen);
/// Every rule step by step.
std::string stepsText(const Explanation& explanation, const Screen& screen);
/// One object on one line.
std::string explanationJson(const Explanation& explanation);

/// Why a predicate is unknown in the form that the rule calls; empty if it is known.
std::string troubleOf(const RuleEvaluation::Call& call);

/// {"part_number": ..., "region": ...}; either may be missing.
Value deviceValue(const Value* partNumber, const Value* region);

}  // namespace tavik::tool

#endif
