#include "reports/HtmlPage.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>

#include "text/Text.h"

namespace tavik::tool {
namespace {

/// Appends the part of a text within `window`, with the marks in it.
void appendWindow(Html& out, std::string_view text, const std::vector<Span>& marks, Span window) {
  std::size_t done = window.begin;
  for (const Span& mark : marks) {
    const std::size_t begin = std::clamp(mark.begin, done, window.end);
    const std::size_t end = std::clamp(mark.end, done, window.end);
    if (begin >= end) continue;
    out += markup("{}<mark>{}</mark>", text.substr(done, begin - done), text.substr(begin, end - begin));
    done = end;
  }
  out += markup("{}", text.substr(done, window.end - done));
}

std::time_t timeOfReport() {
  const char* const fixed = std::getenv("SOURCE_DATE_EPOCH");
  const auto seconds = numberIn<std::int64_t>(fixed == nullptr ? "" : fixed);
  constexpr std::int64_t kEndOfYear9999 = 253402300799;
  const bool usable = seconds && *seconds >= 0 && *seconds <= kEndOfYear9999;
  return usable ? static_cast<std::time_t>(*seconds) : std::time(nullptr);
}

}  // namespace

Html markedHtml(std::string_view visibleText, const std::vector<Span>& marks, std::size_t limit) {
  Html out;
  if (visibleText.size() <= limit) {
    appendWindow(out, visibleText, marks, {0, visibleText.size()});
    return out;
  }
  const std::size_t firstMark = marks.empty() ? 0 : marks.front().begin;
  const std::size_t begin = atCharacter(visibleText, firstMark - std::min(firstMark, limit / 4));
  const std::size_t end = atCharacter(visibleText, std::min(begin + limit, visibleText.size()));
  const auto leftOut = [&](std::size_t bytes) {
    if (bytes != 0) out += markup(R"(<span class="cut">[{} bytes left out]</span>)", bytes);
  };
  leftOut(begin);
  appendWindow(out, visibleText, marks, {begin, end});
  leftOut(visibleText.size() - end);
  return out;
}

Html listEntry(std::string_view label, std::string_view text) {
  return markup("<div><dt>{}</dt><dd>{}</dd></div>", label, text);
}

Html descriptionList(const Html& heading, const Html& entries) {
  return entries.empty() ? Html() : markup("{}<dl>{}</dl>\n", heading, entries);
}

Html pageBegin(std::string_view title) {
  return markup(R"(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta http-equiv="Content-Security-Policy" content="default-src 'none'; style-src 'unsafe-inline'; script-src 'sha256-{}'; base-uri 'none'; form-action 'none'">
<meta name="viewport" content="width=device-width, initial-scale=1">
<meta name="color-scheme" content="light dark">
<title>{}</title>
<style>{}</style>
</head>
<body>
<main>
)",
                reportScriptHash(), title, Asset::kStyle);
}

Html pageEnd() {
  const std::tm time = fmt::gmtime(timeOfReport());
  return markup(
      "</main>\n<footer>Made by tavik on <time datetime=\"{}\">{} UTC</time>.</footer>\n"
      "<script>{}</script>\n</body>\n</html>\n",
      fmt::format("{:%Y-%m-%dT%H:%M:%SZ}", time), fmt::format("{:%Y-%m-%d %H:%M:%S}", time), Asset::kScript);
}

Html filterBar(std::string_view what, const std::vector<std::pair<std::string, std::string>>& results) {
  Html bar = markup(R"(<form class="filter" id="filter" role="search" hidden>
<div><label for="filter-text">{}</label><input id="filter-text" type="search" autocomplete="off"></div>
<div><label for="filter-result">Result</label><select id="filter-result"><option value="">all</option>)",
                    what);
  for (const auto& [value, label] : results) bar += markup(R"(<option value="{}">{}</option>)", value, label);
  return bar +
         markup("</select></div>\n<output id=\"filter-shown\" for=\"filter-text filter-result\"></output></form>\n");
}

}  // namespace tavik::tool
