/// @file
/// The output of `tavik check` and `tavik batch`: lines for programs and terminals, JUnit XML for CI, an HTML page for
/// people, a property list for hosts.
#ifndef TAVIK_TOOL_REPORTS_REPORT_H
#define TAVIK_TOOL_REPORTS_REPORT_H

#include <tavik/Value.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "check/DeviceResult.h"
#include "reports/Tally.h"
#include "text/Terminal.h"

namespace tavik::tool {

/// The contents of the rule documents.
struct RuleContents {
  Dictionary library;
  Dictionary rules;
  bool verified;  ///< whether their signatures were verified
  std::shared_ptr<const Provenance> provenance;

  /// The value of "signatures" in JSON, JUnit XML and property lists.
  [[nodiscard]] std::string_view signatures() const { return verified ? "verified" : "not verified"; }
};

/// How a batch ended.
struct BatchEnd {
  Tally tally;
  std::string whyEarly;  ///< why devices were not checked; empty if all were
};

/// Formats the results of a batch one by one as the text for standard output.
class ResultWriter {
 public:
  ResultWriter() = default;
  ResultWriter(const ResultWriter&) = delete;
  ResultWriter& operator=(const ResultWriter&) = delete;
  virtual ~ResultWriter() = default;

  /// The text before the first device.
  [[nodiscard]] virtual std::string begin() const { return ""; }
  /// Appends whole lines about one device, to be written in input order, or keeps the result for the end. `line`: the
  /// number of the device's line. Thread-safe, in any order.
  virtual void add(std::string& out, std::size_t line, const DeviceResult& result) = 0;
  /// The text after the last device.
  virtual std::string end(const BatchEnd& /*end*/) { return ""; }
};

/// The writer of a batch for "json", "table", "junit", "html" or "plist".
std::unique_ptr<ResultWriter> makeResultWriter(std::string_view format, const RuleContents& documents);

std::unique_ptr<ResultWriter> makeTextWriter();
std::unique_ptr<ResultWriter> makeJunitWriter(const RuleContents& documents);
std::unique_ptr<ResultWriter> makeHtmlWriter(const RuleContents& documents);
std::unique_ptr<ResultWriter> makePlistWriter();

/// One device's report.
std::string junitReport(const DeviceResult& result, const RuleContents& documents);
std::string htmlReport(const DeviceResult& result, const RuleContents& documents);
/// Throws `Unusable` if the outcome is nested too deep for a property list.
std::string plistReport(const std::vector<JsonEntry>& entries);

}  // namespace tavik::tool

#endif
