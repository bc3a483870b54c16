// The matrix for a terminal: rules that differ, each with its values and the devices they are for, then the others.

#include <fmt/format.h>

#include "io/Json.h"
#include "matrix/MatrixReport.h"
#include "text/Text.h"

namespace tavik::tool {
namespace {

std::string definitionText(const RuleMatrix::Row& row) {
  if (row.definition == nullptr) return "not defined by the library";
  std::string text;
  for (const std::string_view key : {"attribute", "predicate"}) {
    if (const Value* const value = row.definition->find(key)) text += (text.empty() ? "" : "  ") + lineOf(value);
  }
  return text;
}

std::string differingText(RuleMatrix& matrix, const RuleMatrix::Row& row, const Screen& screen) {
  Table table;
  for (const RuleMatrix::Variant& variant : row.variants) {
    table.add(variant.rule == nullptr ? Style::kFaint : Style::kPlain,
              {"  " + expectedText(variant), originText(variant.from), matrix.devicesText(row, variant)});
  }
  return fmt::format("\n{}  {}\n{}", styled(visible(row.name), Style::kHeading, screen), definitionText(row),
                     table.text(screen));
}

std::string headText(const MatrixReport& report, std::size_t differing) {
  const RuleMatrix& matrix = report.matrix;
  std::string text = fmt::format("local rules  {}\nlibrary      {}\n\n", lineOf(report.versions.find("rules")),
                                 lineOf(report.versions.find("library")));
  text += sizeText(matrix);
  if (matrix.kinds().all().size() > 1)
    text += fmt::format("; {} {} by device", differing, differing == 1 ? "differs" : "differ");
  text += "\n";
  for (const auto& [reason, refused] : matrix.refused()) {
    text += fmt::format("no rules: {}: {}\n", matrix.kinds().text(refused.members()), visible(reason));
  }
  return text;
}

}  // namespace

std::string sizeText(const RuleMatrix& matrix) {
  const std::vector<DeviceKinds::Selectors>& kinds = matrix.kinds().all();
  const std::string rules = counted(matrix.rows().size(), "rule");
  if (kinds.size() != 1) return fmt::format("{} for {} part numbers and regions", rules, kinds.size());
  return rules + (kinds[0].partNumber ? " for 1 part number and region" : " for every device");
}

std::string expectedText(const RuleMatrix::Variant& variant) {
  if (variant.rule == nullptr) return "not checked";
  const Value* const value = variant.rule->value();
  return value == nullptr ? "no expected value" : visible(toJson(*value));
}

void writeMatrixText(const MatrixReport& report, const Screen& screen, BufferedOutput& output) {
  std::size_t differing = 0;
  for (const RuleMatrix::Row& row : report.matrix.rows())
    differing += static_cast<std::size_t>(row.variants.size() > 1);
  output.append(headText(report, differing));
  for (const RuleMatrix::Row& row : report.matrix.rows()) {
    if (row.variants.size() > 1) output.append(differingText(report.matrix, row, screen));
  }
  if (differing == report.matrix.rows().size()) return;
  Table table(true);
  table.add(Style::kHeading, {"The same for every device", "expected", "from", "attribute and predicate"});
  for (const RuleMatrix::Row& row : report.matrix.rows()) {
    if (row.variants.size() > 1) continue;
    const RuleMatrix::Variant& variant = row.variants[0];
    table.add(Style::kPlain, {visible(row.name), expectedText(variant), originText(variant.from), definitionText(row)});
  }
  output.append("\n" + table.text(screen));
}

}  // namespace tavik::tool
