// A difference as a page to keep with the release.

#include <fmt/format.h>

#include <algorithm>
#include <set>
#include <string_view>

#include "check/Provenance.h"
#include "diff/ChangeText.h"
#include "diff/DiffReport.h"
#include "reports/HtmlPage.h"
#include "reports/HtmlRecords.h"
#include "text/Text.h"

namespace tavik::tool {
namespace {

constexpr std::size_t kTextLimit = 2000;  // bytes of one text
constexpr std::size_t kTitleLimit = 120;  // columns

Html textHtml(std::string_view text) { return markedHtml(text, {}, kTextLimit); }

std::string_view idOf(ResultChange category) {
  constexpr std::string_view kIds[] = {"no-longer-passes", "now-passes", "other-reason", "texts"};
  return kIds[static_cast<std::size_t>(category)];
}

std::string titleOf(const RulesDifference& difference) {
  const auto version = [&](std::string_view name) {
    return shortened(lineOf(difference.versions.find(name)), kTitleLimit);
  };
  return fmt::format("Rule changes from {} to {}", version("old"), version("new"));
}

Html headerHtml(const RulesDifference& difference) {
  const bool breaks = difference.devices && difference.devices->count(ResultChange::kNoLongerPasses) != 0;
  const std::string_view style = difference.empty() ? "passed" : breaks ? "failed" : "odd";
  const std::string_view word = difference.empty() ? "NO CHANGES" : breaks ? "DEVICES NO LONGER PASS" : "CHANGES";
  const std::string devices = difference.devices ? difference.devices->summary() : "No devices were checked";
  return markup(
      "<header class=\"verdict {}\"><p class=\"word\">{}</p>\n<h1>{}</h1>\n<p>{}.</p>\n<p>{}.</p>\n</header>\n", style,
      word, titleOf(difference), devices,
      difference.rules.empty() ? "No device gets different rules" : "Devices get different rules, as listed below");
}

Html warningsHtml(const RulesDifference& difference) {
  Html text = signaturesHtml(difference.verified);
  for (const std::string& warning : difference.warnings) {
    text += markup("<p class=\"banner\" role=\"note\">Warning: {}</p>\n", visible(warning));
  }
  return text;
}

Html rowOf(std::string_view id, const Html& title, const Html& first, const Html& second) {
  return markup(
      "<tr role=\"row\"{}><th scope=\"row\" role=\"rowheader\">{}</th>"
      "<td role=\"cell\">{}</td><td role=\"cell\">{}</td></tr>\n",
      id.empty() ? Html() : markup(" data-result=\"{}\"", id), title, first, second);
}

Html tableOf(std::string_view style, std::string_view first, std::string_view second, std::string_view third,
             const Html& rows) {
  return markup(
      "<table class=\"changes {}\"><thead><tr><th scope=\"col\">{}</th><th scope=\"col\">{}</th>"
      "<th scope=\"col\">{}</th></tr></thead><tbody>\n{}</tbody></table>\n",
      style, first, second, third, rows);
}

Html documentsHtml(const RulesDifference& difference) {
  Html rows;
  for (const auto& [name, document] : difference.documents) {
    const bool isLibrary = name.ends_with("_library");
    Html digest = markup("<code>{}</code>", document.sha256);
    if (!document.keys.empty()) digest += markup("<br>{}", textHtml(signersText(document)));
    rows +=
        rowOf("", markup("{} {}", name.starts_with("old") ? "Old" : "New", isLibrary ? "rule library" : "local rules"),
              textHtml(lineOf(difference.versions.find(name))), digest);
  }
  return markup("<h2>Documents</h2>\n{}", tableOf("", "Document", "Version", "SHA-256", rows));
}

Html deviceGroupHtml(const DeviceGroup& group) {
  Html rows;
  for (const DeviceGroup::Record& record : group.records) {
    rows += rowOf("", textHtml(record.title), textHtml(record.before), textHtml(record.after));
  }
  const bool isBad = group.category == ResultChange::kNoLongerPasses;
  Html text = markup(
      "<details class=\"device{}\" data-result=\"{}\" open><summary><span class=\"name\">{}</span><br>"
      "<bdi>{}</bdi></summary><div>\n",
      isBad ? "" : " odd", idOf(group.category), textHtml(group.title()), group.devicesText());
  if (!group.sameTexts) {
    text += markup("<p class=\"faint\">Texts of <bdi>{}</bdi>; those of the other devices vary.</p>\n",
                   group.names.front());
  }
  if (!group.records.empty()) text += tableOf("", "Rule", "Old", "New", rows);
  if (group.recordsLeftOut != 0)
    text += markup("<p class=\"faint\">and {}</p>\n", counted(group.recordsLeftOut, "more rule"));
  return text + markup("</div></details>\n");
}

Html devicesHtml(const DeviceChanges& devices) {
  if (devices.changed() == 0) return {};
  Html text = markup("<section data-section><h2>Devices</h2>\n");
  for (const DeviceGroup& group : devices.groups().all()) text += deviceGroupHtml(group);
  if (const std::size_t rest = devices.groups().leftOut(); rest != 0) {
    text += markup("<p class=\"faint\">and {} with other changes</p>\n", counted(rest, "more device"));
  }
  return text + markup("</section>\n");
}

Html changeRow(const RuleChange& change) {
  const ChangeText words = textOf(change);
  Html lines;
  for (const std::string& line : words.lines) lines += markup("<div class=\"value\">{}</div>", textHtml(line));
  return rowOf(words.mark, textHtml(words.title), markup("{}", words.mark), lines);
}

void writeRules(const RuleChanges& rules, BufferedOutput& output) {
  if (rules.empty()) return;
  output.append("<h2>Rules</h2>\n");
  for (const ChangeGroup& group : rules.groups()) {
    Html rows;
    for (const ChangedRule& change : group.changes) rows += changeRow(change.change());
    output.append(markup("<section data-section><h3>{}</h3>\n{}</section>\n",
                         rules.kinds().text(group.devices.members()),
                         tableOf("words", "Rule", "Change", "Details", rows))
                      .text());
  }
}

/// What the filter offers: the changes that the page has.
Html filterHtml(const RulesDifference& difference) {
  std::vector<std::pair<std::string, std::string>> results;
  for (std::size_t i = 0; difference.devices && i < kResultChanges; ++i) {
    const auto category = static_cast<ResultChange>(i);
    const std::size_t count = difference.devices->count(category);
    if (count != 0) results.emplace_back(idOf(category), countText(category, count, true));
  }
  std::set<std::string_view> marks;
  for (const ChangeGroup& group : difference.rules.groups()) {
    for (const ChangedRule& change : group.changes) marks.insert(textOf(change.change()).mark);
  }
  for (const std::string_view mark : marks) results.emplace_back(mark, mark);
  return results.empty() ? Html() : filterBar("Find a rule or device", results);
}

}  // namespace

void writeDifferenceHtml(const RulesDifference& difference, BufferedOutput& output) {
  const Html begin = pageBegin(titleOf(difference)) + warningsHtml(difference) + headerHtml(difference) +
                     filterHtml(difference) + (difference.devices ? devicesHtml(*difference.devices) : Html());
  output.append(begin.text());
  writeRules(difference.rules, output);
  output.append((documentsHtml(difference) + pageEnd()).text());
}

}  // namespace tavik::tool
