/// @file
/// What came of one device of a batch.
#ifndef TAVIK_TOOL_CHECK_DEVICE_RESULT_H
#define TAVIK_TOOL_CHECK_DEVICE_RESULT_H

#include <tavik/Value.h>

#include <string>

#include "ExitStatus.h"
#include "check/CheckRun.h"

namespace tavik::tool {

/// What came of a line: a check run, or why there was none.
struct DeviceResult {
  Value id;                ///< the line's number where the line does not tell
  ExitStatus status;       ///< of the device alone
  std::string inputError;  ///< of the status kUnusable
  CheckOutcome outcome;    ///< of the others
  Dictionary attributes;   ///< likewise

  [[nodiscard]] bool passed() const { return status == ExitStatus::kPassed; }
};

}  // namespace tavik::tool

#endif
