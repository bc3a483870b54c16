/// @file
/// Bar charts as inline SVG that fits any width, each with the same figures as a table.
#ifndef TAVIK_TOOL_REPORTS_BAR_CHART_H
#define TAVIK_TOOL_REPORTS_BAR_CHART_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tavik::tool {

/// Devices by verdict.
struct DeviceCounts {
  std::uint64_t passed = 0;
  std::uint64_t failed = 0;
  std::uint64_t odd = 0;  ///< neither: no verdict, a fault, a line that cannot be used

  [[nodiscard]] std::uint64_t total() const noexcept { return passed + failed + odd; }
};

struct Bar {
  std::string label;  ///< visible text; empty in a chart of one bar
  std::string value;  ///< likewise
  DeviceCounts counts;
};

/// "7.7 %"; absent parts of nothing are "0.0 %".
std::string percentText(std::uint64_t part, std::uint64_t whole);

/// A chart whose longest bar fills the width. `id` is unique in the page; `title` and `description` are texts for those
/// who do not see it.
std::string barChart(std::string_view id, std::string_view title, std::string_view description,
                     const std::vector<Bar>& bars);

}  // namespace tavik::tool

#endif
