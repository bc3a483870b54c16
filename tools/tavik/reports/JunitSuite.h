/// @file
/// JUnit XML for CI servers: suites of cases that passed, failed or could not be run.
#ifndef TAVIK_TOOL_REPORTS_JUNIT_SUITE_H
#define TAVIK_TOOL_REPORTS_JUNIT_SUITE_H

#include <cstddef>
#include <string>
#include <string_view>

namespace tavik::tool {

/// The text before the first suite and after the last.
inline constexpr std::string_view kJunitBegin = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites>\n";
inline constexpr std::string_view kJunitEnd = "</testsuites>\n";

/// All texts may contain anything: characters that XML cannot represent are written as escapes.
class JunitSuite {
 public:
  /// Servers group cases by class: "package.name", split at periods.
  explicit JunitSuite(std::string_view className);

  /// Text as one part of a class name.
  static std::string classNamePart(std::string_view text);

  /// `note`: any number of lines, or none.
  void pass(std::string_view name, std::string_view note = {});
  /// `message`: one line of visible text; `details`: any number of lines.
  void fail(std::string_view name, std::string_view type, std::string_view message, std::string_view details);
  void error(std::string_view name, std::string_view type, std::string_view why);
  void property(std::string_view name, std::string_view value);

  [[nodiscard]] std::string text(std::string_view name) const;

 private:
  void open(std::string_view name);
  void close(std::string_view element, std::string_view type, std::string_view message, std::string_view details);

  std::string className_;
  std::string cases_;
  std::string properties_;
  std::size_t tests_ = 0;
  std::size_t failures_ = 0;
  std::size_t errors_ = 0;
};

}  // namespace tavik::tool

#endif
