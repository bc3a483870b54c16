/// @file
/// One device of a batch: a line of JSON in, a line about its check run out.
#ifndef TAVIK_TOOL_CHECK_DEVICE_LINE_H
#define TAVIK_TOOL_CHECK_DEVICE_LINE_H

#include <tavik/PreparedRules.h>
#include <tavik/Value.h>

#include <optional>
#include <string>

#include "check/CheckRun.h"
#include "io/Json.h"
#include "io/LineReader.h"
#include "text/Terminal.h"

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

/// {"id": ..., "records": ..., "station": ..., "error": ...} or {"id": ..., "input_error": "..."}, with a line end.
void appendJson(std::string& out, const DeviceResult& result);

/// The verdict, the id, and what failed, as one line for people.
void appendText(std::string& out, const DeviceResult& result, const Screen& screen);

}  // namespace tavik::tool

#endif
