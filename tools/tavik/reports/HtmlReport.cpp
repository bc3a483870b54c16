// One device's report as an HTML page: the verdict and what to do, the device, the failures, and everything else.

#include <fmt/format.h>

#include <string_view>

#include "reports/HtmlPage.h"
#include "reports/HtmlRecords.h"
#include "reports/Report.h"
#include "text/Text.h"

namespace tavik::tool {
namespace {

constexpr std::size_t kTextLimit = 4000;

/// The rows of a section.
struct Rows {
  Html html = {};
  std::size_t count = 0;
};

struct Sections {
  Rows failed = {};
  Rows passed = {};
  Rows hidden = {};

  [[nodiscard]] std::size_t rules() const noexcept { return failed.count + passed.count + hidden.count; }
};

Sections sectionsOf(const DeviceResult& result) {
  Sections sections;
  const std::span<const Value> records = decidingRecords(result.outcome);
  for (std::size_t i = 0; i < records.size(); ++i) {
    const bool pass = passed(records[i]);
    const bool hidden = pass && records[i].ifDictionary()->contains("hideResult");
    Rows& rows = !pass ? sections.failed : hidden ? sections.hidden : sections.passed;
    rows.html += rowOf(records[i], notesHtml(result.noteOn(i), pass), {.textLimit = kTextLimit, .filtered = true});
    ++rows.count;
  }
  return sections;
}

/// The result in large letters, and what it means.
struct Headline {
  std::string_view style;
  std::string_view word;
  std::string sentence;
};

Headline headlineOf(const DeviceResult& result, const Sections& sections) {
  const std::string all = counted(sections.rules(), "rule");
  if (const std::optional<Reason>& reason = result.outcome.reason) {
    const std::string why = shortened(visible(reason->text()), 500);
    const std::string_view what = result.outcome.fault ? "A fault ended the run" : "No rule was checked";
    return {"odd", "NO VERDICT", fmt::format("{}: {}. {}", what, why, adviceFor(result))};
  }
  if (result.passed()) return {"passed", "PASSED", fmt::format("{} checked, all passed. No action needed.", all)};
  return {"failed", "FAILED",
          fmt::format("{} of {} failed. Fix what is listed below, then check the device again.", sections.failed.count,
                      all)};
}

/// Where the rules send a device, depending on the result of its check.
Html nextHtml(const DeviceResult& result) {
  if (result.outcome.reason) return {};
  const bool pass = result.passed();
  const Value* const next = result.outcome.station.find(pass ? "OnPass" : "OnFail");
  if (next == nullptr) return {};
  return markup("<p>The rules send it to <strong><bdi>{}</bdi></strong> ({}).</p>\n", shortened(lineOf(next), 200),
                pass ? "OnPass" : "OnFail");
}

Html section(std::string_view title, const Html& note, std::string_view style, const Rows& rows) {
  if (rows.count == 0) return {};
  return markup("<section data-section><h2>{} ({})</h2>\n{}{}</section>\n", title, rows.count, note,
                ruleTable(style, rows.html));
}

Html folded(std::string_view title, const Rows& rows) {
  if (rows.count == 0) return {};
  return markup("<details data-section><summary><h2>{} ({})</h2></summary>\n{}</details>\n", title, rows.count,
                ruleTable("", rows.html));
}

Html versionsHtml(const CheckOutcome& outcome, const RuleContents& documents) {
  Html entries;
  for (const Value& value : versionRecords(outcome)) {
    const Dictionary& record = *value.ifDictionary();
    entries += listEntry(lineOf(record.find("rule")), lineOf(record.find("actual")));
  }
  entries += provenanceHtml(documents);
  return descriptionList(markup("<h2>Checked with</h2>\n"), entries);
}

/// The attributes that the rules forward to the station.
Html stationHtml(const Dictionary& station) {
  Html entries;
  for (const auto [key, value] : station)
    entries += listEntry(shortened(visible(key), 80), shortened(lineOf(&value), 200));
  return descriptionList(markup("<h2>For the station</h2>\n"), entries);
}

}  // namespace

std::string htmlReport(const DeviceResult& result, const RuleContents& documents) {
  const Sections sections = sectionsOf(result);
  const Headline headline = headlineOf(result, sections);
  const std::string device = "Device " + shortened(lineOf(&result.id), 80);
  Html page = pageBegin(fmt::format("{}: {}", device, headline.word));
  page += signaturesHtml(documents.verified);
  page += markup("<header class=\"verdict {}\"><p class=\"word\">{}</p>\n<h1>{}</h1>\n<p>{}</p>\n{}</header>\n",
                 headline.style, headline.word, device, headline.sentence, nextHtml(result));
  page += deviceNotesHtml(result) + identityHtml(result);
  if (sections.rules() > 1) page += filterBar("Find a rule", {{"failed", "failed"}, {"passed", "passed"}});
  page += section(result.outcome.reason ? "Why there is no verdict" : "Failed rules",
                  markup("<p class=\"faint\">What the rule expects is next to what was found; where they can be "
                         "compared, the difference is <mark>marked</mark>.</p>\n"),
                  "failures", sections.failed);
  page += section("Passed rules", {}, "", sections.passed);
  page += folded("Passed rules that hide their result", sections.hidden);
  page += stationHtml(result.outcome.station) + versionsHtml(result.outcome, documents) + pageEnd();
  return page.text();
}

}  // namespace tavik::tool
