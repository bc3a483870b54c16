// One device's report as an HTML page: the verdict and what to do, who the device is, the failures, and all the rest.

#include <fmt/format.h>

#include <string_view>

#include "reports/HtmlPage.h"
#include "reports/HtmlRecords.h"
#include "reports/Report.h"
#include "text/Text.h"

namespace tavik::tool {
namespace {

constexpr std::size_t kTextLimit = 4000;

/// The rows of a page by where they stand.
struct Rows {
  std::string failed;
  std::string passed;
  std::string hidden;
  std::size_t failedCount = 0;
  std::size_t passedCount = 0;
  std::size_t hiddenCount = 0;

  [[nodiscard]] std::size_t rules() const noexcept { return failedCount + passedCount + hiddenCount; }
};

Rows rowsOf(const CheckOutcome& outcome, const Dictionary& library) {
  Rows rows;
  if (!outcome.records) return rows;
  const RowOptions options{.library = library, .textLimit = kTextLimit, .filtered = true};
  for (std::size_t i = versionRecords(outcome); i < outcome.records->size(); ++i) {
    const Value& value = outcome.records->at(i);
    const Dictionary& record = *value.ifDictionary();
    const bool pass = passed(value);
    const bool hidden = pass && record.contains("hideResult");
    ++(!pass ? rows.failedCount : hidden ? rows.hiddenCount : rows.passedCount);
    appendRow(!pass ? rows.failed : hidden ? rows.hidden : rows.passed, record, options);
  }
  return rows;
}

struct Verdict {
  std::string_view style;
  std::string_view word;
  std::string sentence;
};

std::string reasonHtml(const DeviceResult& result) {
  const std::string why = shortened(visible(whyNoVerdict(result.outcome)), 500);
  return fmt::format("{}. {}", escapedHtml(why), adviceFor(result));
}

Verdict verdictOf(const DeviceResult& result, const Rows& rows) {
  const std::string all = counted(rows.rules(), "rule");
  switch (result.status) {
    case ExitStatus::kPassed:
      return {"passed", "PASSED", fmt::format("{} checked, all passed. There is nothing to put right.", all)};
    case ExitStatus::kFailed:
      return {"failed", "FAILED",
              fmt::format("{} of {} failed. Put right what is listed below, then check the device again.",
                          rows.failedCount, all)};
    case ExitStatus::kFault:
      return {"odd", "NO VERDICT", "A fault ended the run: " + reasonHtml(result)};
    default:
      return {"odd", "NO VERDICT", "No rule was checked: " + reasonHtml(result)};
  }
}

/// Where the rules send a device, by the result of its check.
std::string nextHtml(const DeviceResult& result) {
  const bool pass = result.passed();
  const Value* const next = result.outcome.station.find(pass ? "OnPass" : "OnFail");
  if (next == nullptr || (!pass && result.status != ExitStatus::kFailed)) return "";
  return fmt::format("<p>The rules send it to <strong><bdi>{}</bdi></strong> ({}).</p>\n",
                     escapedHtml(shortened(lineOf(next), 200)), pass ? "OnPass" : "OnFail");
}

std::string section(std::string_view title, std::size_t count, std::string_view note, std::string_view style,
                    const std::string& rows) {
  if (count == 0) return "";
  return fmt::format("<section data-section><h2>{} ({})</h2>\n{}{}{}{}</section>\n", title, count, note,
                     ruleTableBegin(style), rows, kTableEnd);
}

std::string folded(std::string_view title, std::size_t count, const std::string& rows) {
  if (count == 0) return "";
  return fmt::format("<details data-section><summary><h2>{} ({})</h2></summary>\n{}{}{}</details>\n", title, count,
                     ruleTableBegin(""), rows, kTableEnd);
}

std::string versionsHtml(const CheckOutcome& outcome) {
  std::string entries;
  for (std::size_t i = 0; i < versionRecords(outcome); ++i) {
    const Dictionary& record = *outcome.records->at(i).ifDictionary();
    entries += fmt::format("<div><dt>{}</dt><dd>{}</dd></div>", escapedHtml(lineOf(record.find("rule"))),
                           escapedHtml(lineOf(record.find("actual"))));
  }
  return entries.empty() ? "" : "<h2>Checked with</h2>\n<dl>" + entries + "</dl>\n";
}

/// What the rules hand over to the station.
std::string stationHtml(const Dictionary& station) {
  std::string entries;
  for (const auto [key, value] : station) {
    entries += fmt::format("<div><dt>{}</dt><dd>{}</dd></div>", escapedHtml(shortened(visible(key), 80)),
                           escapedHtml(shortened(lineOf(&value), 200)));
  }
  return entries.empty() ? "" : "<h2>For the station</h2>\n<dl>" + entries + "</dl>\n";
}

}  // namespace

std::string htmlReport(const DeviceResult& result, const Dictionary& library) {
  const Rows rows = rowsOf(result.outcome, library);
  const Verdict verdict = verdictOf(result, rows);
  const std::string device = "Device " + shortened(lineOf(&result.id), 80);
  std::string page = pageBegin(fmt::format("{}: {}", device, verdict.word));
  page += fmt::format("<header class=\"verdict {}\"><p class=\"word\">{}</p>\n<h1>{}</h1>\n<p>{}</p>\n{}</header>\n",
                      verdict.style, verdict.word, html(device), verdict.sentence, nextHtml(result));
  page += identityHtml(result);
  if (rows.rules() > 1) page += filterBar("Find a rule", {{"failed", "failed"}, {"passed", "passed"}});
  page +=
      section(result.status == ExitStatus::kNoVerdict ? "Why there is no verdict" : "Failed rules", rows.failedCount,
              "<p class=\"faint\">What the rule expects stands beside what was found; where they can be compared, "
              "the difference is <mark>marked</mark>.</p>\n",
              "failures", rows.failed);
  page += section("Passed rules", rows.passedCount, "", "", rows.passed);
  page += folded("Passed rules that hide their result", rows.hiddenCount, rows.hidden);
  return page + stationHtml(result.outcome.station) + versionsHtml(result.outcome) + pageEnd();
}

}  // namespace tavik::tool
