// A batch as an HTML page: how many devices passed, failures by rule and part number, and every device that did not
// pass. The page is written at the end; the memory that is kept until then is bounded.

#include <fmt/format.h>
#include <tavik/TavikKernelVersion.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <iterator>
#include <map>
#include <mutex>
#include <utility>

#include "reports/BarChart.h"
#include "reports/HtmlPage.h"
#include "reports/HtmlRecords.h"
#include "reports/Report.h"
#include "text/Text.h"

namespace tavik::tool {
namespace {

// Beyond these limits, devices, rules and part numbers are only counted, and the page says so.
constexpr std::size_t kMostDevices = 10000;
constexpr std::size_t kMostBytes = std::size_t{16} << 20;  // of the devices' HTML
constexpr std::size_t kMostTableRows = 200;
constexpr std::size_t kMostBars = 12;
constexpr std::size_t kMostRulesOfDevice = 40;
constexpr std::size_t kTextLimit = 600;

/// Collects HTML in any order and keeps the first ones by line number, as many as fit. Which ones are kept does not
/// depend on the order of arrival.
class FirstOnes {
 public:
  FirstOnes(std::size_t most, std::size_t mostBytes) : most_(most), mostBytes_(mostBytes) {}

  void add(std::size_t line, Html html) {
    ++count_;
    if (line >= end_) return;
    bytes_ += html.text().size();
    items_.emplace(line, std::move(html));
    while (items_.size() > most_ || bytes_ > mostBytes_) {
      const auto last = std::prev(items_.end());
      end_ = last->first;
      bytes_ -= last->second.text().size();
      items_.erase(last);
    }
  }
  /// Whether there may be room for the text of a line. May run concurrently with `add`.
  [[nodiscard]] bool takes(std::size_t line) const noexcept { return line < end_; }

  [[nodiscard]] const std::map<std::size_t, Html>& items() const noexcept { return items_; }
  [[nodiscard]] std::size_t leftOut() const noexcept { return count_ - items_.size(); }

 private:
  std::size_t most_;
  std::size_t mostBytes_;
  std::map<std::size_t, Html> items_;
  std::size_t bytes_ = 0;
  std::size_t count_ = 0;
  std::atomic<std::size_t> end_ = static_cast<std::size_t>(-1);  // texts from this line on are not kept
};

DeviceCounts countsOf(const Tally& tally) {
  const std::uint64_t odd = tally.inputErrors() + tally.faults() + tally.noVerdicts();
  return {.passed = tally.devices() - tally.failed(), .failed = tally.failed() - odd, .odd = odd};
}

Bar partNumberBar(const std::string& label, const Tally& tally) {
  const std::string share = percentText(tally.failed(), tally.devices());
  return {label, fmt::format("{} of {} ({})", tally.failed(), tally.devices(), share), countsOf(tally)};
}

/// Part numbers with the most devices that did not pass come first.
std::vector<Bar> partNumberBars(const TallyByPartNumber& byPartNumber) {
  std::vector<std::pair<std::string_view, const Tally*>> parts;
  for (const auto& [name, tally] : byPartNumber.parts()) parts.emplace_back(name, &tally);
  std::ranges::stable_sort(parts, std::ranges::greater(), [](const auto& part) { return part.second->failed(); });
  Tally rest = byPartNumber.others();
  for (; parts.size() >= kMostTableRows; parts.pop_back()) rest.add(*parts.back().second);
  std::vector<Bar> bars;
  bars.reserve(parts.size() + 1);
  for (const auto& [name, tally] : parts) bars.push_back(partNumberBar(std::string(name), *tally));
  if (rest.devices() != 0) bars.push_back(partNumberBar("all others", rest));
  return bars;
}

struct ResultLabel {
  std::string_view value;
  std::string_view text;
};

ResultLabel labelOf(const DeviceResult& result) {
  if (!result.inputError.empty()) return {"input", "input error"};
  if (!result.outcome.reason) return {"failed", "failed"};
  return result.outcome.fault ? ResultLabel{"fault", "fault"} : ResultLabel{"no-verdict", "no verdict"};
}

std::string nameOf(const DeviceResult& result) { return shortened(lineOf(&result.id), 120); }

Html summaryHtml(const DeviceResult& result, std::string_view failures) {
  const ResultLabel label = labelOf(result);
  const bool odd = result.outcome.verdict != Verdict::kFailed;
  Html text = markup(
      "<details class=\"device{}\" data-result=\"{}\"><summary><span class=\"badge\">{}</span> "
      "<bdi class=\"name\">{}</bdi>",
      odd ? " odd" : "", label.value, label.text, nameOf(result));
  for (const std::string_view key : {"ModelNumber", "RegionInfo"}) {
    const Value* const value = result.attributes.find(key);
    if (value != nullptr) text += markup(" <small><bdi>{}</bdi></small>", shortened(lineOf(value), 60));
  }
  return text + markup(" · {}</summary><div>\n", failures);
}

Html failedHtml(const DeviceResult& result) {
  const std::span<const Value> records = result.outcome.ruleRecords();
  std::string names;
  Html rows;
  std::size_t count = 0;
  for (std::size_t i = 0; i < records.size(); ++i) {
    if (passed(records[i]) || ++count > kMostRulesOfDevice) continue;
    names += (names.empty() ? "" : ", ") + lineOf(records[i].ifDictionary()->find("rule"));
    rows += rowOf(records[i], notesHtml(result.noteOn(i), false), {.textLimit = kTextLimit, .filtered = false});
  }
  Html text = summaryHtml(result, names) + deviceNotesHtml(result) + identityHtml(result) + ruleTable("failures", rows);
  if (count > kMostRulesOfDevice) {
    text += markup("<p class=\"faint\">{} more failed rules of this device are not listed.</p>\n",
                   count - kMostRulesOfDevice);
  }
  return text + markup("</div></details>\n");
}

Html oddHtml(const DeviceResult& result) {
  const std::optional<Reason>& reason = result.outcome.reason;
  const std::string why = shortened(visible(reason ? reason->text() : result.inputError), kTextLimit);
  return summaryHtml(result, why) + identityHtml(result) + markup("<p>{}</p>\n</div></details>\n", adviceFor(result));
}

Html deviceHtml(const DeviceResult& result) {
  if (result.passed()) return markup("<li data-result=\"passed\">{}</li>\n", nameOf(result));
  return result.outcome.verdict == Verdict::kFailed ? failedHtml(result) : oddHtml(result);
}

Html verdictHtml(const BatchEnd& end, const DeviceCounts& all) {
  const std::uint64_t devices = end.tally.devices();
  const bool pass = end.tally.failed() == 0 && end.whyEarly.empty();
  Html sentence = markup("{} of {} did not pass.", end.tally.failed(), counted(devices, "device"));
  if (end.tally.failed() == 0) sentence = markup("{} checked, all passed.", counted(devices, "device"));
  if (devices == 0) sentence = markup("No device was checked.");
  if (all.odd != 0) sentence += markup(" {} got no verdict; the reason is given for each.", counted(all.odd, "device"));
  if (all.failed != 0)
    sentence += markup(" Begin with the rules that failed most: failures on many devices often have a single cause.");
  if (!end.whyEarly.empty()) {
    sentence += markup(" <strong>Not every device was checked: {}.</strong>", end.whyEarly);
  }
  return markup("<header class=\"verdict {}\"><p class=\"word\">{}</p>\n<h1>{}</h1>\n<p>{}</p>\n</header>\n",
                pass ? "passed" : "failed", pass ? "PASSED" : "FAILED", "Batch of " + counted(devices, "device"),
                sentence);
}

Html tableOf(std::string_view head, const std::vector<Bar>& bars, std::string_view counts) {
  Html table = markup(
      "<details><summary>As a table</summary><table><thead><tr><th scope=\"col\">{}</th>"
      "<th scope=\"col\" class=\"number\">{}</th></tr></thead><tbody>\n",
      head, counts);
  const std::size_t shown = std::min(bars.size(), kMostTableRows);
  for (std::size_t i = 0; i < shown; ++i) {
    table += markup("<tr><th scope=\"row\">{}</th><td class=\"number\">{}</td></tr>\n", bars[i].label, bars[i].value);
  }
  table += markup("</tbody></table>\n");
  if (bars.size() > shown) table += markup("<p class=\"faint\">{} more are not listed.</p>\n", bars.size() - shown);
  return table + markup("</details>\n");
}

Html figure(std::string_view id, std::string_view title, const std::vector<Bar>& bars, std::string_view head,
            std::string_view counts) {
  const std::vector<Bar> shown(bars.begin(),
                               bars.begin() + static_cast<std::ptrdiff_t>(std::min(bars.size(), kMostBars)));
  const Html note = bars.size() > shown.size()
                        ? markup("<p class=\"faint\">The first {} of {}.</p>\n", shown.size(), bars.size())
                        : Html();
  return markup("<section><h2>{}</h2>\n{}<figure>{}</figure>\n{}</section>\n", title, note,
                barChart(id, title, "The table below has the same figures.", shown), tableOf(head, bars, counts));
}

Html passRateHtml(const Tally& tally, const DeviceCounts& all) {
  if (all.total() == 0) return {};
  const std::string rate = percentText(all.passed, all.total());
  Html legend = markup(
      "<li><span class=\"key bar-good\"></span>{} passed ({})</li>"
      "<li><span class=\"key bar-bad\"></span>{} failed ({})</li>",
      all.passed, rate, all.failed, percentText(all.failed, all.total()));
  const std::pair<std::uint64_t, std::string> odd[] = {
      {tally.noVerdicts(), fmt::format("{} without a verdict", tally.noVerdicts())},
      {tally.faults(), fmt::format("{} ended with a fault", tally.faults())},
      {tally.inputErrors(), counted(tally.inputErrors(), "unusable line")}};
  for (const auto& [count, what] : odd) {
    if (count != 0) legend += markup(R"(<li><span class="key bar-odd"></span>{}</li>)", what);
  }
  const std::string description =
      fmt::format("{} passed, {} failed, {} got no verdict.", all.passed, all.failed, all.odd);
  return markup(
      "<section><h2>Pass rate: {}</h2>\n<figure>{}<figcaption><ul class=\"legend\">{}</ul></figcaption>"
      "</figure></section>\n",
      rate, barChart("pass-rate", "Pass rate " + rate, description, {{"", "", all}}), legend);
}

Html rulesHtml(const Tally& tally) {
  std::vector<Bar> bars;
  for (const auto& [rule, count] : tally.rulesThatFailed()) {
    bars.push_back({visible(rule), counted(count, "device"), {.failed = count}});
  }
  return bars.empty() ? Html() : figure("rules", "Failures by rule", bars, "Rule", "Devices");
}

Html partsHtml(const TallyByPartNumber& byPartNumber) {
  const std::vector<Bar> bars = partNumberBars(byPartNumber);
  return bars.empty() ? Html() : figure("parts", "Not passed by part number", bars, "Part number", "Not passed");
}

Html listHtml(const FirstOnes& list) {
  Html text;
  for (const auto& [line, item] : list.items()) text += item;
  return text;
}

Html leftOutHtml(const FirstOnes& list) {
  if (list.leftOut() == 0) return {};
  return markup(
      "<p class=\"faint\">Only the first {} are listed here; {} more are "
      "counted above. Use --format json for every device.</p>\n",
      list.items().size(), list.leftOut());
}

class HtmlWriter : public ResultWriter {
 public:
  explicit HtmlWriter(const RuleContents& documents) : documents_(documents) {}

  void add(std::string& /*out*/, std::size_t line, const DeviceResult& result) override {
    FirstOnes& list = result.passed() ? passed_ : notPassed_;
    Html html;
    if (list.takes(line)) html = deviceHtml(result);
    const std::lock_guard lock(mutex_);
    byPartNumber_.add(result);
    list.add(line, std::move(html));
  }

  std::string end(const BatchEnd& end) override;

 private:
  [[nodiscard]] Html devicesHtml(const Tally& tally) const;
  [[nodiscard]] Html versionsHtml() const;

  RuleContents documents_;
  std::mutex mutex_;
  FirstOnes notPassed_{kMostDevices, kMostBytes};
  FirstOnes passed_{kMostDevices, kMostBytes};
  TallyByPartNumber byPartNumber_;
};

Html HtmlWriter::devicesHtml(const Tally& tally) const {
  std::vector<std::pair<std::string, std::string>> kinds = {{"failed", "failed"}};
  if (tally.noVerdicts() != 0) kinds.emplace_back("no-verdict", "no verdict");
  if (tally.faults() != 0) kinds.emplace_back("fault", "fault");
  if (tally.inputErrors() != 0) kinds.emplace_back("input", "input error");
  kinds.emplace_back("passed", "passed");
  Html text = tally.devices() == 0 ? Html() : filterBar("Find a device, part number or rule", kinds);
  if (tally.failed() != 0) {
    text += markup("<section data-section><h2>Devices that did not pass ({})</h2>\n{}{}</section>\n", tally.failed(),
                   leftOutHtml(notPassed_), listHtml(notPassed_));
  }
  const std::uint64_t passes = tally.devices() - tally.failed();
  if (passes == 0) return text;
  return text + markup(
                    "<details data-section class=\"screen\"><summary><h2>Devices that passed "
                    "({})</h2></summary>\n{}"
                    "<ul class=\"plain\">\n{}</ul></details>\n",
                    passes, leftOutHtml(passed_), listHtml(passed_));
}

Html HtmlWriter::versionsHtml() const {
  return descriptionList(markup("<h2>Checked with</h2>\n"),
                         listEntry("TavikKernel lib version", fmt::format("{:.4f}", TavikKernelVersionNumber)) +
                             listEntry("TavikRules version", lineOf(documents_.library.find("version"))) +
                             listEntry("device Rules version", lineOf(documents_.rules.find("version"))) +
                             provenanceHtml(documents_));
}

std::string HtmlWriter::end(const BatchEnd& end) {
  const Tally& tally = end.tally;
  const DeviceCounts all = countsOf(tally);
  const Html page = pageBegin("Batch of " + counted(tally.devices(), "device")) + signaturesHtml(documents_.verified) +
                    verdictHtml(end, all) + passRateHtml(tally, all) +
                    markup("<div class=\"columns\">{}{}</div>\n", rulesHtml(tally), partsHtml(byPartNumber_)) +
                    devicesHtml(tally) + versionsHtml() + pageEnd();
  return page.text();
}

}  // namespace

std::unique_ptr<ResultWriter> makeHtmlWriter(const RuleContents& documents) {
  return std::make_unique<HtmlWriter>(documents);
}

}  // namespace tavik::tool
