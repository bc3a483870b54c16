/// @file
/// The devices of a batch: a line of JSON in, what came of its check run out.
#ifndef TAVIK_TOOL_CHECK_DEVICE_CHECKER_H
#define TAVIK_TOOL_CHECK_DEVICE_CHECKER_H

#include <tavik/PreparedRules.h>

#include "check/DeviceResult.h"
#include "io/LineReader.h"

namespace tavik::tool {

/// Checks devices. Thread-safe.
class DeviceChecker {
 public:
  explicit DeviceChecker(const PreparedRules& rules) : rules_(rules) {}

  /// `line` holds anything; {"id": any, "attributes": {...}, "sources": {"sfc": {...}}} is what gets a check run.
  [[nodiscard]] DeviceResult check(const Line& line) const;

 private:
  const PreparedRules& rules_;
};

}  // namespace tavik::tool

#endif
