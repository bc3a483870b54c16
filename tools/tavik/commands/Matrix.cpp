// `tavik matrix`: rules by part number and region.

#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "commands/Command.h"
#include "commands/CommonOptions.h"
#include "io/ArgumentName.h"
#include "io/Inputs.h"
#include "io/StandardOutput.h"
#include "matrix/MatrixReport.h"
#include "rules/HostPlatform.h"
#include "rules/RuleDocuments.h"
#include "text/NearestName.h"
#include "text/Text.h"

namespace tavik::tool {
namespace {

constexpr Help::Part kDescription[] = {
    paragraph(
        R"(Lists the rules that devices get, with the expected value for each part number and region and where it is
defined: "library", "part number", "region", "GenericRules" or "set NAME". Rules are in the order of the library.
"not checked" means that devices do not get the rule; "every other device" is the most common case.)"),
    heading("Formats"),
    item("table", "for the terminal: rules that differ by device, then those that are the same for every device"),
    item("csv",
         "for spreadsheets: one line per rule and expected value. Values are JSON, so that text is in quotes. Cells "
         "that a spreadsheet could take for a formula begin with an apostrophe"),
    item("html",
         "a page with one column for all part numbers and regions that have the same rules; differences from the "
         "first column are marked. A matrix with more than 250,000 cells is listed by rule. SOURCE_DATE_EPOCH "
         "overrides the date"),
    item("json",
         R"({"versions": {...}, "rules": [{"rule", "attribute", "predicate", "values": [{"checked", "value", "from",
"count", "group"}, ...]}, ...], "groups": [[{"part_number", "region"}, ...], ...], "refused": [...], "documents":
{...}}; see docs/reviewing-rules.md)"),
};
constexpr std::string_view kExamples[] = {
    "tavik matrix --library rules.signed --rules product.signed",
    "tavik matrix --library rules.signed --rules product.signed --format html > rules.html",
    "tavik matrix --unsigned --library rules.plist --rules product.plist --part-number HN10-064 --rule Color",
};
constexpr ExitMeaning kExitStatuses[] = {
    {ExitStatus::kPassed, "listed"},
    {ExitStatus::kUnusable, "the command line or an input is invalid"},
    {ExitStatus::kNoVerdict, "a document is not trusted, empty or malformed"},
};
constexpr Help kHelp = {"List rules by part number and region, with expected values", kDescription, kExamples,
                        kExitStatuses};

struct MatrixOptions : RuleOptions {
  std::vector<std::string> names;
  std::vector<std::string> partNumbers;
  std::string format;
};

[[noreturn]] void rejectName(std::string_view option, std::string_view name, std::string_view why,
                             std::span<const std::string_view> known) {
  throw Unusable(fmt::format("{} {}: {}{}", option, name, why, didYouMean(name, known)));
}

/// The local rules with these part numbers only; all if there are none.
Dictionary withPartNumbers(const Dictionary& localRules, const std::vector<std::string>& partNumbers) {
  const Dictionary* const table = localRules.findDictionary("MPNRules");
  std::vector<std::string_view> known;
  if (table != nullptr) {
    for (const auto [name, entries] : *table) known.push_back(name);
  }
  Dictionary kept;
  for (const std::string& name : partNumbers) {
    const Value* const entries = table == nullptr ? nullptr : table->find(name);
    if (entries == nullptr) rejectName("--part-number", name, "the local rules do not list it", known);
    kept.set(name, *entries);
  }
  Dictionary rules = localRules;
  if (!partNumbers.empty()) rules.set("MPNRules", std::move(kept));
  return rules;
}

void requireRules(const KindRules& rules, const RuleMatrix& matrix, const std::vector<std::string>& names) {
  for (const std::string& name : names) {
    const bool isThere =
        std::ranges::any_of(matrix.rows(), [&](const RuleMatrix::Row& row) { return row.name == name; });
    if (isThere) continue;
    const RuleMatrix all(rules, {});
    std::vector<std::string_view> known;
    for (const RuleMatrix::Row& row : all.rows()) known.push_back(row.name);
    rejectName("--rule", name, "no device gets this rule", known);
  }
}

void write(const MatrixReport& report, std::string_view format) {
  BufferedOutput output;
  if (format == "json") {
    writeMatrixJson(report, output);
  } else if (format == "csv") {
    writeMatrixCsv(report, output);
  } else if (format == "html") {
    writeMatrixHtml(report, output);
  } else {
    writeMatrixText(report, Screen::standardOutput(), output);
  }
  output.flush();
}

ExitStatus runMatrix(const MatrixOptions& options) {
  const auto platform = std::make_shared<const HostPlatform>(options.platform);
  warnAboutTrust("matrix", options.platform);
  Inputs inputs;
  const auto kernel = readLibrary(inputs, "--library", options.library, platform);
  const auto local = readLocalRules(inputs, "--rules", options.rules, *kernel);
  const KindRules rules(kernel->library(), withPartNumbers(local->localRules(), options.partNumbers));
  RuleMatrix matrix(rules, options.names);
  requireRules(rules, matrix, options.names);
  const auto provenance = local->provenance();
  write({.matrix = matrix,
         .versions = {{"library", *kernel->library().find("version")}, {"rules", *local->localRules().find("version")}},
         .provenance = *provenance,
         .verified = !options.platform.unsignedDocuments},
        options.format);
  platform->checkLog();
  return ExitStatus::kPassed;
}

Run define(CLI::App& app) {
  const auto options = std::make_shared<MatrixOptions>();
  addRules(app, *options);
  const auto addNames = [&](const char* option, std::vector<std::string>& names, const char* help) {
    app.add_option(option, names, help)->type_name("NAME")->allow_extra_args(false);
  };
  addNames("--rule", options->names, "List only this rule; repeatable");
  addNames("--part-number", options->partNumbers, "List only this part number, with its regions; repeatable");
  addPlatform(app, options->platform);
  addFormat(app, options->format, {"table", "json", "csv", "html"});
  return [options] { return runMatrix(*options); };
}

}  // namespace

const Command kMatrix = {"matrix", kHelp, define};

}  // namespace tavik::tool
