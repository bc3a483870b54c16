/// @file
/// What `tavik explain` has to say of a device and its rules, as text and as JSON.
#ifndef TAVIK_TOOL_EXPLAIN_EXPLANATION_H
#define TAVIK_TOOL_EXPLAIN_EXPLANATION_H

#include <tavik/RuleEvaluation.h>
#include <tavik/RuleOrigins.h>
#include <tavik/Value.h>

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "rules/DeviceKinds.h"
#include "text/Terminal.h"

namespace tavik::tool {

struct ExplainedRule {
  const RuleOrigin* origin;
  RuleEvaluation evaluation;
};

/// A rule that was asked about and that the device does not get.
struct RuleNotThere {
  std::string name;
  bool defined;                        ///< by the rule library
  std::vector<std::size_t> devices;    ///< the kinds of device that get it
  std::optional<std::string> nearest;  ///< a rule of the device, or else of others, that may have been meant
};

struct Explanation {
  std::optional<Value> partNumber;
  std::optional<Value> region;
  DeviceKinds kinds;
  RuleOrigins::Device device;
  std::vector<ExplainedRule> rules;  ///< those that were asked about
  std::vector<RuleNotThere> notThere;
  std::vector<std::string> aboutDevice = {};  ///< what explains several failures at once
};

/// Every rule in a line, with what is out of the ordinary below.
std::string overviewText(const Explanation& explanation, const Screen& screen);
/// Every rule step by step.
std::string stepsText(const Explanation& explanation, const Screen& screen);
/// One object on a line.
std::string explanationJson(const Explanation& explanation);

/// Why a predicate is unknown in the form that the rule calls; empty if it is known.
std::string troubleOf(const RuleEvaluation::Call& call);

/// {"part_number": ..., "region": ...}, either of which may be left out.
Value deviceValue(const std::optional<Value>& partNumber, const std::optional<Value>& region);

}  // namespace tavik::tool

#endif
