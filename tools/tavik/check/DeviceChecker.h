/// @file
/// The devices of a batch: a line of JSON in, what came of its check run out.
#ifndef TAVIK_TOOL_CHECK_DEVICE_CHECKER_H
#define TAVIK_TOOL_CHECK_DEVICE_CHECKER_H

#include <tavik/PreparedRules.h>
#include <tavik/Value.h>

#include <optional>

#include "check/DeviceResult.h"
#include "io/Json.h"
#include "io/LineReader.h"

namespace tavik::tool {

/// Checks devices one after the other, keeping its working memory. For one thread at a time.
class DeviceChecker {
 public:
  explicit DeviceChecker(const PreparedRules& rules) : rules_(rules) {}

  /// `line` holds anything; {"id": any, "attributes": {...}, "sources": {"sfc": {...}}} is what gets a check run.
  DeviceResult check(Line& line);

 private:
  Value idOf(const Line& line, const std::optional<Value>& content);

  const PreparedRules& rules_;
  JsonReader reader_;
};

}  // namespace tavik::tool

#endif
