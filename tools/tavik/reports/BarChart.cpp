#include "reports/BarChart.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "text/Text.h"

namespace tavik::tool {
namespace {

constexpr int kLabelHeight = 20;
constexpr int kBarHeight = 12;
constexpr int kRowHeight = kLabelHeight + kBarHeight + 8;
constexpr std::size_t kLineWidth = 42;  // columns that fit on a phone

double shareOf(std::uint64_t part, std::uint64_t whole) {
  return whole == 0 ? 0 : 100.0 * static_cast<double>(part) / static_cast<double>(whole);
}

void appendBar(Html& svg, const DeviceCounts& counts, std::uint64_t longest, int y) {
  const std::array<std::pair<const char*, std::uint64_t>, 3> parts = {
      {{"bar-good", counts.passed}, {"bar-bad", counts.failed}, {"bar-odd", counts.odd}}};
  double x = 0;
  for (const auto& [style, count] : parts) {
    const double width = shareOf(count, longest);
    if (count != 0) {
      svg += markup(R"(<rect class="{}" x="{:.3f}%" y="{}" width="{:.3f}%" height="{}"/>)", style, x, y, width,
                    kBarHeight);
    }
    x += width;
  }
}

void appendLabels(Html& svg, const Bar& bar, int y) {
  const std::size_t room = kLineWidth - std::min(displayWidth(bar.value), kLineWidth / 2);
  svg += markup(R"(<text x="0" y="{}">{}</text><text x="100%" y="{}" text-anchor="end">{}</text>)", y,
                shortened(bar.label, room), y, bar.value);
}

}  // namespace

std::string percentText(std::uint64_t part, std::uint64_t whole) {
  return fmt::format("{:.1f} %", shareOf(part, whole));
}

Html barChart(std::string_view id, std::string_view title, std::string_view description, const std::vector<Bar>& bars) {
  std::uint64_t longest = 0;
  for (const Bar& bar : bars) longest = std::max(longest, bar.counts.total());
  Html svg = markup(
      "<svg role=\"img\" aria-labelledby=\"{0}-title {0}-description\" height=\"{1}\"><title "
      "id=\"{0}-title\">{2}</title>"
      "<desc id=\"{0}-description\">{3}</desc>",
      id, kRowHeight * static_cast<int>(bars.size()), title, description);
  int y = 0;
  for (const Bar& bar : bars) {
    appendLabels(svg, bar, y + kLabelHeight - 5);
    svg += markup(R"(<rect class="track" x="0" y="{}" width="100%" height="{}"/>)", y + kLabelHeight, kBarHeight);
    appendBar(svg, bar.counts, longest, y + kLabelHeight);
    y += kRowHeight;
  }
  return svg + markup("</svg>\n");
}

}  // namespace tavik::tool
