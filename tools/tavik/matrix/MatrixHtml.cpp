// The matrix as a page: rules as rows, and part numbers and regions as columns, merged where all rules are the same.

#include <fmt/format.h>

#include "check/Provenance.h"
#include "matrix/MatrixReport.h"
#include "reports/HtmlPage.h"
#include "reports/HtmlRecords.h"
#include "text/Text.h"

namespace tavik::tool {
namespace {

/// A larger matrix is shown as a list.
constexpr std::size_t kMostCells = 250000;
constexpr std::size_t kTextLimit = 600;   // bytes
constexpr std::size_t kTitleLimit = 120;  // columns

Html textHtml(std::string_view visibleText) { return markedHtml(visibleText, {}, kTextLimit); }

std::string titleOf(const MatrixReport& report) {
  return "Rules of " + shortened(lineOf(report.versions.find("rules")), kTitleLimit);
}

Html rowBegin(const RuleMatrix::Row& row) {
  Html text = markup("<tr data-result=\"{}\"><th scope=\"row\"><bdi>{}</bdi><small>",
                     row.variants.size() > 1 ? "differs" : "same", textHtml(visible(row.name)));
  for (const std::string_view key : {"attribute", "predicate"}) {
    const Value* const value = row.definition == nullptr ? nullptr : row.definition->find(key);
    if (value != nullptr) text += markup("{} ", textHtml(lineOf(value)));
  }
  return text + markup("{}</small></th>", row.definition == nullptr ? "not defined by the library" : "");
}

Html variantHtml(const RuleMatrix::Variant& variant) {
  Html text = variant.rule == nullptr ? markup("<span class=\"faint\">not checked</span>")
                                      : markup("<span class=\"value\">{}</span>", textHtml(expectedText(variant)));
  return variant.from.empty() ? text : text + markup("<small>{}</small>", originText(variant.from));
}

Html headerHtml(const MatrixReport& report, std::size_t columns) {
  const RuleMatrix& matrix = report.matrix;
  Html text = signaturesHtml(report.verified) +
              markup("<h1>{}</h1>\n<p>{}. {}</p>\n", titleOf(report), sizeText(matrix),
                     columns == 0 ? "The matrix is too large to show as columns; it is listed by rule."
                                  : "Part numbers and regions with the same rules share a column. ≠ marks what "
                                    "differs from the first column.");
  for (const auto& [reason, kinds] : matrix.refused()) {
    text += markup("<p class=\"banner\" role=\"note\">No rules: {}: {}</p>\n",
                   textHtml(matrix.kinds().text(kinds.members())), textHtml(visible(reason)));
  }
  return text + filterBar("Find a rule", {{"differs", "different by device"}, {"same", "the same for every device"}});
}

Html headCells(const std::vector<std::string>& labels) {
  Html cells;
  for (const std::string& label : labels) {
    cells += markup("<th scope=\"col\"><bdi>{}</bdi></th>", shortened(label, kTitleLimit));
  }
  return cells;
}

/// The labels that do not fit in the table's head.
Html labelsHtml(const std::vector<std::string>& labels) {
  Html items;
  for (std::size_t i = 0; i < labels.size(); ++i) {
    if (displayWidth(labels[i]) > kTitleLimit) items += markup("<li value=\"{}\">{}</li>\n", i + 1, labels[i]);
  }
  return items.empty() ? Html() : markup("<h2>Columns</h2>\n<ol>\n{}</ol>\n", items);
}

void writeColumns(const RuleMatrix& matrix, const std::vector<RuleMatrix::Column>& columns, BufferedOutput& output) {
  std::vector<std::string> labels;
  for (const RuleMatrix::Column& column : columns) labels.push_back(matrix.kinds().text(column.kinds.members()));
  const Html begin = markup(
      "<div class=\"matrix\" tabindex=\"0\" role=\"region\" aria-label=\"Rules by part number and region\">\n"
      "<table><thead><tr><th scope=\"col\">Rule</th>{}</tr></thead><tbody>\n",
      headCells(labels));
  output.append(begin.text());
  for (std::size_t i = 0; i < matrix.rows().size(); ++i) {
    Html row = rowBegin(matrix.rows()[i]);
    for (const RuleMatrix::Column& column : columns) {
      const bool differs = column.cells[i] != columns.front().cells[i];
      row += markup("<td{}>{}{}</td>", differs ? markup(" class=\"differs\"") : Html(), differs ? "≠ " : "",
                    variantHtml(*column.cells[i]));
    }
    output.append(row.text() + "</tr>\n");
  }
  output.append("</tbody></table></div>\n" + labelsHtml(labels).text());
}

void writeList(RuleMatrix& matrix, BufferedOutput& output) {
  output.append(
      "<table class=\"changes\"><thead><tr><th scope=\"col\">Rule</th><th scope=\"col\">Expected value</th>"
      "<th scope=\"col\">Devices</th></tr></thead>\n");
  for (const RuleMatrix::Row& row : matrix.rows()) {
    Html text = rowBegin(row);
    for (const RuleMatrix::Variant& variant : row.variants) {
      if (&variant != row.variants.data()) text += markup("</tr>\n<tr><th></th>");
      text += markup("<td>{}</td><td>{}</td>", variantHtml(variant), textHtml(matrix.devicesText(row, variant)));
    }
    output.append("<tbody>" + text.text() + "</tr></tbody>\n");
  }
  output.append("</table>\n");
}

Html documentsHtml(const MatrixReport& report) {
  Html entries = listEntry("Rule library", lineOf(report.versions.find("library"))) +
                 listEntry("Local rules", lineOf(report.versions.find("rules")));
  for (const auto& [name, text] : propertiesOf(report.provenance)) entries += listEntry(name, text);
  return descriptionList(markup("<h2>Documents</h2>\n"), entries);
}

}  // namespace

void writeMatrixHtml(const MatrixReport& report, BufferedOutput& output) {
  const std::size_t count = report.matrix.countColumns();
  const bool fits = count * report.matrix.rows().size() <= kMostCells;
  output.append((pageBegin(titleOf(report)) + headerHtml(report, fits ? count : 0)).text());
  if (fits && count != 0) {
    writeColumns(report.matrix, report.matrix.columns(), output);
  } else if (!fits) {
    writeList(report.matrix, output);
  }
  output.append((documentsHtml(report) + pageEnd()).text());
}

}  // namespace tavik::tool
