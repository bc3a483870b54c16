#include "reports/HtmlPage.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <ctime>

#include "text/Text.h"

namespace tavik::tool {
namespace {

constexpr std::string_view kStyle = R"css(
:root{color-scheme:light dark;--page:#fff;--text:#1c2128;--faint:#545d68;--panel:#f4f6f8;--line:#d0d7de;--link:#0a58b8;
--bad:#b01c12;--bad-panel:#fdecea;--bad-mark:#ffcfc9;--bad-ink:#6d0f08;--good:#17612f;--good-panel:#e7f5ea;
--good-mark:#bfe8c8;--good-ink:#0a4420;--odd:#7a4b00;--odd-panel:#fff3d6;--bar-bad:#c8352b;--bar-good:#2f8f4e;--bar-odd:#b07a10}
@media(prefers-color-scheme:dark){:root{--page:#12161c;--text:#e6eaf0;--faint:#a6b0bd;--panel:#1b212a;--line:#3a4350;
--link:#7db4ff;--bad:#ff9d92;--bad-panel:#351a18;--bad-mark:#752219;--bad-ink:#ffe6e2;--good:#7fdc9c;--good-panel:#14301e;
--good-mark:#1c5c34;--good-ink:#ddf8e5;--odd:#f0c060;--odd-panel:#33280f;--bar-bad:#e5645a;--bar-good:#4cb070;--bar-odd:#d9a33c}}
*{box-sizing:border-box}
html{font-size:16px;-webkit-text-size-adjust:100%}
body{margin:0;background:var(--page);color:var(--text);font:1rem/1.5 system-ui,-apple-system,"Segoe UI",Roboto,sans-serif}
main,footer{max-width:70rem;margin:0 auto;padding:0 1rem}
footer{padding-bottom:2rem;color:var(--faint);font-size:.875rem}
h1{font-size:1.5rem;line-height:1.25;margin:.25rem 0;overflow-wrap:anywhere}
h2{font-size:1.25rem;line-height:1.3;margin:2rem 0 .5rem}
p{margin:.25rem 0 .75rem}
small,.faint{color:var(--faint);font-size:.875rem}
code,.value{font-family:ui-monospace,SFMono-Regular,Menlo,Consolas,"DejaVu Sans Mono",monospace;font-size:.9375rem}
code,.value,td,th,dd,li,summary,bdi{overflow-wrap:anywhere}
:focus-visible{outline:3px solid var(--link);outline-offset:2px}
.verdict{margin:1rem 0;padding:1rem 1.25rem;border:1px solid var(--line);border-left:.5rem solid;border-radius:.5rem}
.verdict p{font-size:1.0625rem;margin:.25rem 0}
.verdict .word{font-weight:700;letter-spacing:.05em;margin:0}
.passed{border-left-color:var(--bar-good);background:var(--good-panel)}.passed .word{color:var(--good)}
.failed{border-left-color:var(--bar-bad);background:var(--bad-panel)}.failed .word{color:var(--bad)}
.odd{border-left-color:var(--bar-odd);background:var(--odd-panel)}.odd .word{color:var(--odd)}
.banner{margin:1rem 0;padding:.5rem 1.25rem;border:1px solid var(--bar-odd);border-radius:.5rem;background:var(--odd-panel);font-weight:600}
dl{display:flex;flex-wrap:wrap;gap:.5rem 2rem;margin:1rem 0}
dt{color:var(--faint);font-size:.875rem}
dd{margin:0;font-weight:600}
table{width:100%;border-collapse:collapse;table-layout:fixed}
th,td{text-align:left;vertical-align:top;padding:.5rem .75rem;border-bottom:1px solid var(--line)}
thead th{color:var(--faint);font-size:.875rem;font-weight:600;border-bottom-width:2px}
tbody th{font-weight:600}
tbody th small{display:block;font-weight:400}
table.rules th:first-child{width:38%}
.failures tbody tr{background:var(--page)}
.failures tbody th{border-left:.25rem solid var(--bar-bad)}
.value{white-space:pre-wrap}
.to-do{display:block;font-weight:400;margin-top:.25rem;padding:.25rem .5rem;background:var(--odd-panel);border-radius:.25rem;font-size:.875rem}
mark{border-radius:.2em;padding:0 .1em;text-decoration:underline;text-decoration-thickness:2px;text-underline-offset:2px;
background:var(--bad-mark);color:var(--bad-ink)}
.wanted mark{background:var(--good-mark);color:var(--good-ink)}
.cut{color:var(--faint);font-style:italic;font-family:system-ui,sans-serif;font-size:.875rem}
.filter{display:flex;flex-wrap:wrap;gap:.5rem 1rem;align-items:end;margin:1rem 0;padding:.75rem 1rem;background:var(--panel);
border:1px solid var(--line);border-radius:.5rem}
.filter[hidden]{display:none}
.filter label{display:block;font-size:.875rem;color:var(--faint)}
.filter input,.filter select{display:block;font:inherit;min-height:2.5rem;padding:.25rem .5rem;color:var(--text);background:var(--page);
border:1px solid var(--faint);border-radius:.375rem;max-width:100%}
.filter div:first-child{flex:1 1 14rem}.filter input{width:100%}
.filter output{flex:0 0 auto;min-height:2.5rem;display:flex;align-items:center}
summary{cursor:pointer;padding:.5rem 0}summary h2{display:inline}
details.device{border:1px solid var(--line);border-left:.25rem solid var(--bar-bad);border-radius:.375rem;margin:.375rem 0;content-visibility:auto;contain-intrinsic-size:auto 3rem}
details.device.odd{background:none;border-left-color:var(--bar-odd)}
details.device>summary{padding:.5rem .75rem}
details.device>div{padding:0 .75rem .5rem}
.badge{display:inline-block;font-size:.8125rem;font-weight:700;padding:0 .5rem;border-radius:.25rem;background:var(--bad-panel);color:var(--bad)}
.odd>summary .badge{background:var(--odd-panel);color:var(--odd)}
.name{font-weight:600}
ul.plain{list-style:none;padding:0;margin:.5rem 0;columns:14rem;column-gap:1.5rem}
ul.legend{list-style:none;padding:0;margin:.25rem 0;display:flex;flex-wrap:wrap;gap:.25rem 1.5rem}
figure{margin:0 0 1rem}
svg{display:block;width:100%;overflow:hidden}
svg text{fill:var(--text);font:14px system-ui,sans-serif}
.track{fill:var(--panel);stroke:var(--line)}.bar-bad{fill:var(--bar-bad)}.bar-good{fill:var(--bar-good)}.bar-odd{fill:var(--bar-odd)}
.key{display:inline-block;width:.75rem;height:.75rem;margin-right:.375rem;vertical-align:baseline;border-radius:.125rem}
.key.bar-bad{background:var(--bar-bad)}.key.bar-good{background:var(--bar-good)}.key.bar-odd{background:var(--bar-odd)}
.columns{display:grid;grid-template-columns:repeat(auto-fit,minmax(min(22rem,100%),1fr));gap:0 2.5rem}
td.number,th.number{text-align:right;width:7rem}
[data-result][hidden]{display:none}
@media(max-width:40rem){
table.rules thead{position:absolute;clip-path:inset(50%);width:1px;height:1px;overflow:hidden}
table.rules,table.rules tbody,table.rules tr,table.rules th,table.rules td{display:block;width:auto}
table.rules tr{border:1px solid var(--line);border-radius:.375rem;margin:.5rem 0;padding:.25rem 0}
table.rules tr[hidden]{display:none}
table.rules th:first-child,table.rules td{width:auto}table.rules th,table.rules td{border-bottom:0;padding:.125rem .75rem}
table.rules td{display:grid;grid-template-columns:5rem 1fr;gap:.5rem}
table.rules td::before{content:attr(data-label);font:400 .875rem/1.7 system-ui,sans-serif;color:var(--faint)}
.failures tbody th{border-left:0}.failures.rules tr{border-left:.25rem solid var(--bar-bad)}
.verdict{padding:.75rem 1rem}}
@media print{
:root{color-scheme:light;--page:#fff;--text:#000;--faint:#444;--panel:#fff;--line:#999;--link:#000;--bad:#8a1108;--bad-panel:#fff;--bad-mark:#ffd9d4;
--bad-ink:#000;--good:#0c4a20;--good-panel:#fff;--good-mark:#d5f0db;--good-ink:#000;--odd:#5c3900;--odd-panel:#fff}
html{font-size:9.5pt}.to-do{border:1px solid var(--line)}main,footer{max-width:none;padding:0}
.filter,.screen{display:none!important}
tr,.verdict,figure svg,li{break-inside:avoid}h2,summary{break-after:avoid}
thead{display:table-header-group}
*{-webkit-print-color-adjust:exact;print-color-adjust:exact}
details.device{content-visibility:visible}}
@page{margin:15mm}
)css";

/// Its hash stands in the page's policy: whoever changes one changes the other.
constexpr std::string_view kScript = R"js(
(function () {
  'use strict';
  var bar = document.getElementById('filter');
  if (bar) {
    var text = document.getElementById('filter-text'), result = document.getElementById('filter-result');
    var shown = document.getElementById('filter-shown');
    var items = Array.prototype.map.call(document.querySelectorAll('[data-result]'), function (element) {
      return {element: element, text: (element.querySelector('summary,th') || element).textContent.toLowerCase()};
    });
    var sections = document.querySelectorAll('[data-section]');
    var apply = function () {
      var words = text.value.toLowerCase().trim(), count = 0;
      items.forEach(function (item) {
        var wanted = (!result.value || item.element.dataset.result === result.value) && item.text.indexOf(words) >= 0;
        item.element.hidden = !wanted;
        if (wanted) ++count;
      });
      Array.prototype.forEach.call(sections, function (section) {
        section.hidden = !section.querySelector('[data-result]:not([hidden])');
        if (section.tagName === 'DETAILS' && (words || result.value) && !section.hidden) section.open = true;
      });
      shown.value = count + ' of ' + items.length + ' shown';
    };
    bar.hidden = false;
    var wait;
    text.addEventListener('input', function () { clearTimeout(wait); wait = setTimeout(apply, items.length > 2000 ? 250 : 0); });
    result.addEventListener('change', apply);
    bar.addEventListener('submit', function (event) { event.preventDefault(); apply(); });
    apply();
  }
  var opened = [];
  addEventListener('beforeprint', function () {
    opened = Array.prototype.filter.call(document.querySelectorAll('details:not([hidden])'), function (d) { return !d.open; });
    if (opened.length > 200) opened = [];
    opened.forEach(function (d) { d.open = true; });
  });
  addEventListener('afterprint', function () { opened.forEach(function (d) { d.open = false; }); });
})();
)js";
constexpr std::string_view kScriptHash = "H2/OyWWSNjeSVpf0PpDgTZ5NnP5H/n6fNwQ/ZQsZEXY=";

/// Appends the part of a text that lies in `window`, with the marks that fall into it.
void appendWindow(std::string& out, std::string_view text, const std::vector<Span>& marks, Span window) {
  std::size_t done = window.begin;
  for (const Span& mark : marks) {
    const std::size_t begin = std::clamp(mark.begin, done, window.end);
    const std::size_t end = std::clamp(mark.end, done, window.end);
    if (begin >= end) continue;
    out += escapedHtml(text.substr(done, begin - done));
    out += "<mark>" + escapedHtml(text.substr(begin, end - begin)) + "</mark>";
    done = end;
  }
  out += escapedHtml(text.substr(done, window.end - done));
}

std::time_t timeOfReport() {
  const char* const fixed = std::getenv("SOURCE_DATE_EPOCH");
  const std::string_view text = fixed == nullptr ? "" : fixed;
  std::int64_t seconds = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), seconds);
  constexpr std::int64_t kEndOfYear9999 = 253402300799;
  const bool usable = !text.empty() && error == std::errc() && end == text.data() + text.size() && seconds >= 0 &&
                      seconds <= kEndOfYear9999;
  return usable ? static_cast<std::time_t>(seconds) : std::time(nullptr);
}

}  // namespace

std::string escapedHtml(std::string_view visibleText) {
  std::string out;
  out.reserve(visibleText.size());
  for (const char character : visibleText) {
    switch (character) {
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '&':
        out += "&amp;";
        break;
      case '"':
        out += "&quot;";
        break;
      default:
        out += character;
    }
  }
  return out;
}

std::string html(std::string_view text) { return escapedHtml(visible(text)); }

std::string markedHtml(std::string_view visibleText, const std::vector<Span>& marks, std::size_t limit) {
  std::string out;
  if (visibleText.size() <= limit) {
    appendWindow(out, visibleText, marks, {0, visibleText.size()});
    return out;
  }
  const std::size_t firstMark = marks.empty() ? 0 : marks.front().begin;
  const std::size_t begin = atCharacter(visibleText, firstMark - std::min(firstMark, limit / 4));
  const std::size_t end = atCharacter(visibleText, std::min(begin + limit, visibleText.size()));
  const auto leftOut = [&](std::size_t bytes) {
    if (bytes != 0) out += fmt::format(R"(<span class="cut">[{} bytes left out]</span>)", bytes);
  };
  leftOut(begin);
  appendWindow(out, visibleText, marks, {begin, end});
  leftOut(visibleText.size() - end);
  return out;
}

std::string pageBegin(std::string_view title) {
  return fmt::format(R"(<!DOCTYPE html>
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
                     kScriptHash, html(title), kStyle);
}

std::string pageEnd() {
  const std::tm time = fmt::gmtime(timeOfReport());
  return fmt::format(
      "</main>\n<footer>Made by tavik on <time datetime=\"{:%Y-%m-%dT%H:%M:%SZ}\">{:%Y-%m-%d %H:%M:%S} UTC</time>."
      "</footer>\n<script>{}</script>\n</body>\n</html>\n",
      time, time, kScript);
}

std::string filterBar(std::string_view what, const std::vector<std::pair<std::string, std::string>>& results) {
  std::string bar = fmt::format(R"(<form class="filter" id="filter" role="search" hidden>
<div><label for="filter-text">{}</label><input id="filter-text" type="search" autocomplete="off"></div>
<div><label for="filter-result">Result</label><select id="filter-result"><option value="">all</option>)",
                                what);
  for (const auto& [value, label] : results) bar += fmt::format(R"(<option value="{}">{}</option>)", value, label);
  return bar + "</select></div>\n<output id=\"filter-shown\" for=\"filter-text filter-result\"></output></form>\n";
}

}  // namespace tavik::tool
