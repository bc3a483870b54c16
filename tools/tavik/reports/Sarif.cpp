#include "reports/Sarif.h"

#include <fmt/format.h>
#include <tavik/TavikKernelVersion.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "io/ArgumentName.h"
#include "io/Json.h"
#include "lint/Pages.h"

namespace tavik::tool::lint {
namespace {

Value text(std::string_view words) { return Dictionary{{"text", words}}; }

std::string codeBlock(std::string_view code) { return fmt::format("```json\n{}\n```", code); }

Value sarifRule(const Check& check) {
  const FindingText about = findingText(check.name);
  const std::string help = fmt::format("{}\n\nBefore:\n\n{}", about.why, about.before) +
                           (about.after.empty() ? "" : fmt::format("\n\nAfter:\n\n{}", about.after));
  const std::string markdown = fmt::format("{}\n\nBefore:\n\n{}", about.why, codeBlock(about.before)) +
                               (about.after.empty() ? "" : fmt::format("\n\nAfter:\n\n{}", codeBlock(about.after)));
  return Dictionary{{"id", check.name},
                    {"shortDescription", text(about.what)},
                    {"fullDescription", text(about.why)},
                    {"help", Dictionary{{"text", help}, {"markdown", markdown}}},
                    {"defaultConfiguration", Dictionary{{"level", levelOf(check.severity)}}}};
}

Value sarifLocation(const PlacedFinding& placed) {
  const Finding& finding = placed.finding;
  Dictionary location;
  if (finding.document->file != kStandardStream) {
    Dictionary physical{{"artifactLocation", Dictionary{{"uri", uriOf(finding.document->file)}}}};
    if (placed.position) {
      physical.set("region", Dictionary{{"startLine", integer(placed.position->line)},
                                        {"startColumn", integer(placed.position->column)}});
    }
    location.set("physicalLocation", physical);
  }
  Dictionary logical{{"fullyQualifiedName", finding.path}, {"kind", "property"}};
  if (!finding.rule.empty()) logical.set("name", finding.rule);
  if (!finding.path.empty()) location.set("logicalLocations", Array::of(logical));
  return location;
}

Value sarifResult(const PlacedFinding& placed, std::size_t ruleIndex) {
  const Finding& finding = placed.finding;
  return Dictionary{{"ruleId", finding.check->name},
                    {"ruleIndex", integer(ruleIndex)},
                    {"level", levelOf(finding.check->severity)},
                    {"message", text(finding.message())},
                    {"locations", Array::of(sarifLocation(placed))}};
}

}  // namespace

std::string lintSarif(const std::vector<PlacedFinding>& findings) {
  const std::vector<const Check*> checks = allChecks();
  Array rules;
  for (const Check* check : checks) rules.append(sarifRule(*check));
  Array results;
  results.reserve(findings.size());
  for (const PlacedFinding& placed : findings) {
    const auto index = std::ranges::find(checks, placed.finding.check) - checks.begin();
    results.append(sarifResult(placed, static_cast<std::size_t>(index)));
  }
  const Dictionary driver{
      {"name", "tavik lint"}, {"version", fmt::format("{:.2f}", TavikKernelVersionNumber)}, {"rules", rules}};
  const Dictionary run{
      {"tool", Dictionary{{"driver", driver}}}, {"columnKind", "unicodeCodePoints"}, {"results", results}};
  const Dictionary log{
      {"$schema", "https://json.schemastore.org/sarif-2.1.0.json"}, {"version", "2.1.0"}, {"runs", Array::of(run)}};
  return toJson(log, JsonLayout::kIndented) + "\n";
}

}  // namespace tavik::tool::lint
