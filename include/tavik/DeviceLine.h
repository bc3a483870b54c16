/// @file
/// The line format of batches: one JSON object per device in, one per result out.
#ifndef TAVIK_DEVICE_LINE_H
#define TAVIK_DEVICE_LINE_H

#include <tavik/CheckOutcome.h>
#include <tavik/PreparedRules.h>
#include <tavik/Value.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace tavik {

/// A device as one line of JSON: {"id": any, "attributes": {...}, "sources": {"sfc": {...}}}. "id" and "sources" are
/// optional, null is not allowed, and other keys are rejected.
struct TAVIK_EXPORT DeviceLine {
  Value id;                     ///< by default the line number
  Dictionary attributes = {};   ///< of a usable line
  Dictionary sources = {};      ///< of a usable line
  std::string inputError = {};  ///< why the line cannot be used: "line 3: ..."; empty if it can

  /// Reads a line, which is not trusted. number: that of the line, for messages. Thread-safe.
  static DeviceLine read(std::string_view line, std::size_t number);
  /// A line that cannot be used for this reason. The beginning of the line may still give its "id".
  static DeviceLine unusable(std::string_view line, std::size_t number, std::string_view why);
};

/// A line with its result. `attributes` also has the fields of the packed attributes, as the rules read them.
struct TAVIK_EXPORT LineResult : DeviceLine {
  CheckOutcome outcome = {};  ///< of a usable line; otherwise without a verdict and without a reason
};

/// Reads a line and checks its device with prepared rules. A line that exhausts memory cannot be used, nor can a line
/// whose records are larger than 64 MiB. Raises what the platform raises. Thread-safe.
TAVIK_EXPORT LineResult checkLine(const PreparedRules& rules, std::string_view line, std::size_t number);

/// Appends the result as one line of JSON, which ends with a line feed: {"id", "records", "station", "error", "fault",
/// "verdict", "reason"}, or {"id", "input_error"} for a line that cannot be used. "fault" is present only if a fault
/// ended the run. "records" and "error" are null where `CheckOutcome` has none; "reason" is null if there is a verdict.
///
/// Returns false, with `out` unchanged, if JSON cannot represent a value: a date outside the years 1 to 9999, or more
/// than kPropertyListDepthLimit + 8 levels. Thread-safe.
TAVIK_EXPORT bool appendJsonLine(std::string& out, const LineResult& result);

}  // namespace tavik

#endif
