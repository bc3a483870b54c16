/// @file
/// What came of one device of a batch.
#ifndef TAVIK_TOOL_CHECK_DEVICE_RESULT_H
#define TAVIK_TOOL_CHECK_DEVICE_RESULT_H

#include <tavik/CheckOutcome.h>
#include <tavik/Value.h>

#include <string>
#include <vector>

#include "ExitStatus.h"
#include "check/Outcome.h"

namespace tavik::tool {

/// What came of a line: a check run, or why there was none.
struct DeviceResult {
  Value id;                     ///< the line's number where the line does not tell
  std::string inputError = {};  ///< why the line cannot be used; empty if it can
  CheckOutcome outcome = {};    ///< of a line that can be used
  Dictionary attributes = {};   ///< likewise
  Dictionary sources = {};      ///< likewise

  /// Of the device alone.
  [[nodiscard]] ExitStatus status() const { return inputError.empty() ? statusOf(outcome) : ExitStatus::kUnusable; }
  [[nodiscard]] bool passed() const { return outcome.verdict == Verdict::kPassed; }
};

/// The entries of the result's JSON object.
std::vector<JsonEntry> entriesOf(const DeviceResult& result);

}  // namespace tavik::tool

#endif
