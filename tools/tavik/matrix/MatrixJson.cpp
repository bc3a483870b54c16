// The matrix for programs: JSON, and lines of comma-separated values for spreadsheets.

#include <fmt/format.h>

#include <unordered_map>

#include "check/Provenance.h"
#include "io/Json.h"
#include "io/JsonObject.h"
#include "matrix/MatrixReport.h"
#include "text/Csv.h"
#include "text/Text.h"

namespace tavik::tool {
namespace {

/// Sets of kinds by number, so that each is written only once.
class KindGroups {
 public:
  std::size_t numberOf(const KindSet& kinds) {
    const auto [place, isNew] = numbers_.try_emplace(&kinds, groups_.size());
    if (isNew) groups_.push_back(&kinds);
    return place->second;
  }
  [[nodiscard]] const std::vector<const KindSet*>& all() const noexcept { return groups_; }

 private:
  std::unordered_map<const KindSet*, std::size_t> numbers_;
  std::vector<const KindSet*> groups_;
};

Dictionary variantObject(const MatrixReport& report, const RuleMatrix::Row& row, const RuleMatrix::Variant& variant,
                         KindGroups& groups) {
  Dictionary object{{"checked", Value(variant.rule != nullptr)}};
  const Value* const value = variant.rule == nullptr ? nullptr : variant.rule->value();
  if (value != nullptr) object.set("value", *value);
  if (!variant.from.empty()) object.set("from", variant.from);
  object.set("count", integer(variant.kinds));
  const bool isUsual = &variant == &row.usual();
  if (!isUsual) object.set("group", integer(groups.numberOf(report.matrix.kindsOf(row, variant))));
  return object;
}

Dictionary rowObject(const MatrixReport& report, const RuleMatrix::Row& row, KindGroups& groups) {
  Dictionary object{{"rule", row.name}};
  for (const std::string_view key : {"attribute", "predicate"}) {
    if (row.definition != nullptr && row.definition->contains(key)) object.set(key, *row.definition->find(key));
  }
  Array values;
  for (const RuleMatrix::Variant& variant : row.variants) values.append(variantObject(report, row, variant, groups));
  object.set("values", std::move(values));
  return object;
}

Array refusedArray(const RuleMatrix& matrix) {
  Array all;
  for (const auto& [reason, kinds] : matrix.refused()) {
    all.append(Dictionary{{"devices", matrix.kinds().value(kinds.members())}, {"reason", reason}});
  }
  return all;
}

std::string csvLine(std::initializer_list<std::string_view> visibleCells) {
  std::string line;
  for (const std::string_view cell : visibleCells) line += (line.empty() ? "" : ",") + csvCell(cell);
  return line + "\r\n";
}

std::string definitionEntry(const RuleMatrix::Row& row, std::string_view key) {
  const Value* const value = row.definition == nullptr ? nullptr : row.definition->find(key);
  return value == nullptr ? "" : lineOf(value);
}

}  // namespace

void writeMatrixJson(const MatrixReport& report, BufferedOutput& output) {
  output.append("{\"versions\": " + toJson(report.versions) + ", \"rules\": [");
  KindGroups groups;
  const char* separator = "";
  for (const RuleMatrix::Row& row : report.matrix.rows()) {
    output.append(separator + toJson(rowObject(report, row, groups)));
    separator = ",\n";
  }
  output.append("],\n\"groups\": [");
  separator = "";
  for (const KindSet* const kinds : groups.all()) {
    output.append(separator + toJson(report.matrix.kinds().value(kinds->members())));
    separator = ",\n";
  }
  output.append("],\n\"refused\": " + toJson(refusedArray(report.matrix)) + ", ");
  std::string documents;
  appendEntries(documents, entriesOf(report.provenance));
  output.append(documents + "}\n");
}

void writeMatrixCsv(const MatrixReport& report, BufferedOutput& output) {
  output.append(csvLine({"rule", "attribute", "predicate", "checked", "expected value", "from",
                         "number of part numbers and regions", "part numbers and regions"}));
  for (const RuleMatrix::Row& row : report.matrix.rows()) {
    for (const RuleMatrix::Variant& variant : row.variants) {
      const Value* const value = variant.rule == nullptr ? nullptr : variant.rule->value();
      output.append(
          csvLine({visible(row.name), definitionEntry(row, "attribute"), definitionEntry(row, "predicate"),
                   variant.rule == nullptr ? "no" : "yes", value == nullptr ? "" : visible(toJson(*value)),
                   originText(variant.from), std::to_string(variant.kinds), report.matrix.devicesText(row, variant)}));
    }
  }
}

}  // namespace tavik::tool
