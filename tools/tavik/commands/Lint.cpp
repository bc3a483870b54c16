// `tavik lint`: finds mistakes in rule documents before they affect a device.

#include <fmt/format.h>

#include <algorithm>
#include <deque>
#include <memory>

#include "commands/Command.h"
#include "commands/CommonOptions.h"
#include "io/ArgumentName.h"
#include "io/Encoding.h"
#include "io/Inputs.h"
#include "io/StandardError.h"
#include "io/StandardOutput.h"
#include "lint/LintReport.h"
#include "lint/LintedDocuments.h"
#include "lint/Pages.h"
#include "reports/Sarif.h"
#include "rules/HostPlatform.h"
#include "rules/RuleDocuments.h"

namespace tavik::tool {
namespace {

using lint::Document;

constexpr Help::Part kDescription[] = {
    paragraph("Each finding says what is wrong, what effect it has on the line, and what to do; docs/lint.md "
              "has a section about each kind. Without --rules, only the library is checked."),
};
constexpr std::string_view kExamples[] = {
    "tavik lint --unsigned --library library.plist --rules local.plist",
    "tavik lint --public-key pub.pem --library library.signed --rules a.signed --rules b.signed --format json",
};
constexpr ExitMeaning kExitStatuses[] = {
    {ExitStatus::kPassed, "no errors"},
    {ExitStatus::kFailed, "at least one error"},
    {ExitStatus::kUnusable, "the command line or an input is invalid"},
    {ExitStatus::kNoVerdict, "a document is not trusted or empty"},
};
constexpr Help kHelp = {"Find mistakes in rule documents", kDescription, kExamples, kExitStatuses};

struct LintOptions {
  std::optional<std::string> library;
  std::vector<std::string> rules;
  PlatformOptions platform;
  std::string format;
  std::optional<std::string> print;
};

class DocumentReader {
 public:
  explicit DocumentReader(const PlatformOptions& options) : options_(options), platform_(options) {}

  Document read(Document::Role role, const std::string& file) {
    const std::string_view argument = role == Document::Role::kLibrary ? "--library" : "--rules";
    const std::string name = nameOf(argument, file);
    const std::string bytes = inputs_.bytes(argument, file, kLargestRuleDocument);
    ValueLocations locations;
    const Value value = parseValue(name, bytes, locations);
    if (value.ifDictionary() == nullptr) throw Unusable(name + ": is not a dictionary");
    const bool isLibrary = role == Document::Role::kLibrary;
    Dictionary content = validatedContent(name, *value.ifDictionary(), platform_,
                                          isLibrary ? DocumentRole::kLibrary : DocumentRole::kLocalRules);
    if (!options_.unsignedDocuments) locations.clear();  // they refer to the signed form
    return {role, file, Value(std::move(content)), std::move(locations)};
  }

  void checkLog() const { platform_.checkLog(); }

 private:
  const PlatformOptions& options_;
  HostPlatform platform_;
  Inputs inputs_;
};

std::string report(const LintOptions& options, const std::vector<lint::PlacedFinding>& findings,
                   const std::deque<Document>& documents) {
  if (options.format == "json") return lintJson(findings);
  if (options.format == "sarif") return lintSarif(findings);
  if (options.format == "gcc") return lintLines(findings);
  return lintTable(findings, documents, Screen::standardOutput());
}

ExitStatus runLint(const LintOptions& options) {
  if (options.print) {
    writeStandardOutput(*options.print == "findings" ? std::string(lint::findingsPage()) : lint::predicateTable());
    return ExitStatus::kPassed;
  }
  if (!options.library) throw Unusable("--library is required; see tavik lint --help");
  warnAboutTrust("lint", options.platform);
  DocumentReader reader(options.platform);
  std::deque<Document> documents;
  documents.push_back(reader.read(Document::Role::kLibrary, *options.library));
  for (const std::string& file : options.rules) documents.push_back(reader.read(Document::Role::kRules, file));
  reader.checkLog();

  const lint::LintedDocuments parts(documents);
  lint::Reporter reporter;
  runChecks(parts, reporter);
  if (reporter.dropped() != 0) {
    printToStandardError("lint", fmt::format("{} more findings are not shown", reporter.dropped()));
  }
  const std::vector<lint::PlacedFinding> findings = placed(std::move(reporter).take(), documents);
  writeStandardOutput(report(options, findings, documents));
  const auto isError = [](const lint::PlacedFinding& found) {
    return found.finding.check->severity == lint::Severity::kError;
  };
  return std::ranges::any_of(findings, isError) ? ExitStatus::kFailed : ExitStatus::kPassed;
}

Run define(CLI::App& app) {
  const auto options = std::make_shared<LintOptions>();
  addText(app, "--library", options->library, "FILE", "The signed rule library");
  app.add_option("--rules", options->rules, "Signed local rules; repeatable")
      ->type_name("FILE")
      ->allow_extra_args(false);
  addPlatform(app, options->platform);
  addFormat(app, options->format, {"table", "json", "sarif", "gcc"});
  addChoice(app, "--print", options->print, "PAGE", "Print a reference page in Markdown without checking a document",
            {"findings", "predicates"});
  return [options] { return runLint(*options); };
}

}  // namespace

const Command kLint = {"lint", kHelp, define};

}  // namespace tavik::tool
