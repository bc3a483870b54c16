/// @file
/// Bar charts as inline SVG of any width, each with a table of the same figures.
#ifndef TAVIK_TOOL_REPORTS_BAR_CHART_H
#define TAVIK_TOOL_REPORTS_BAR_CHART_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "reports/Html.h"

namespace tavik::tool {

/// Devices by verdict.
struct DeviceCounts {
  std::uint64_t passed = 0;
  std::uint64_t failed = 0;
  std::uint64_t odd = 0;  ///< no verdict, a fault, or an unusable line

  [[nodiscard]] std::uint64_t total() const noexcept { return passed + failed + odd; }
};

struct Bar {
  std::string label;  ///< visible text; empty in a chart with a single bar
  std::string value;  ///< visible text; empty in a chart with a single bar
  DeviceCounts counts;
};

/// "7.7 %"; "0.0 %" if the whole is zero.
std::string percentText(std::uint64_t part, std::uint64_t whole);

/// A chart whose longest bar fills the width. `id` must be unique in the page; `title` and `description` are for screen
/// readers.
Html barChart(std::string_view id, std::string_view title, std::string_view description, const std::vector<Bar>& bars);

}  // namespace tavik::tool

#endif
