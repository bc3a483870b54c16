/// @file
/// The style sheet and the script of HTML reports: report.css and report.js, embedded by the build.
#ifndef TAVIK_TOOL_REPORTS_REPORT_ASSETS_H
#define TAVIK_TOOL_REPORTS_REPORT_ASSETS_H

#include <cstdint>
#include <string_view>

namespace tavik::tool {

enum class Asset : std::uint8_t { kStyle, kScript };

std::string_view contentOf(Asset asset);

/// SHA-256 of the script in base64, for the content security policy.
std::string_view reportScriptHash();

}  // namespace tavik::tool

#endif
