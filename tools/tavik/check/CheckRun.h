/// @file
/// One check run as a host sees it: what came of it, what it means for the exit status, and its JSON.
#ifndef TAVIK_TOOL_CHECK_CHECK_RUN_H
#define TAVIK_TOOL_CHECK_CHECK_RUN_H

#include <tavik/Error.h>
#include <tavik/PreparedRules.h>
#include <tavik/Value.h>

#include <optional>
#include <string>

#include "ExitStatus.h"
#include "check/Fault.h"

namespace tavik::tool {

/// The records of versions that every run which comes to its rules begins with.
inline constexpr std::size_t kVersionRecords = 3;

struct CheckOutcome {
  std::optional<Array> records;
  Dictionary station;
  std::optional<Error> error;
  std::optional<Fault> fault;
  std::optional<std::string>
      rule;  ///< where a fault or a malformed expression ended the run, once it had come to its rules
};

/// Runs a check; a fault is part of the outcome. The platform of the rules must be a HostPlatform.
CheckOutcome runCheck(const PreparedRules& rules, const Dictionary& attributes, const Dictionary& sources);

ExitStatus statusOf(const CheckOutcome& outcome);

/// Why a run ended without a verdict about the device, for people; only for kFault and kNoVerdict.
std::string whyNoVerdict(const CheckOutcome& outcome);

/// Whether a record passed.
bool passed(const Value& record);

/// Appends the entries of the outcome's JSON object, without its braces.
void appendOutcome(std::string& out, const CheckOutcome& outcome);

}  // namespace tavik::tool

#endif
