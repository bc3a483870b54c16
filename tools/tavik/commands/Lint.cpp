// `tavik lint`: finds mistakes in rule documents before they affect a device.

#include <fmt/format.h>

#include <algorithm>
#include <deque>
#include <memory>

#include "commands/Command.h"
#include "commands/CommonOptions.h"
#include "io/ArgumentName.h"
#include "io/Bytes.h"
#include "io/Encoding.h"
#include "io/Inputs.h"
#include "io/Output.h"
#include "io/StandardError.h"
#include "io/StandardOutput.h"
#include "lint/Baseline.h"
#include "lint/ExampleDevices.h"
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
    paragraph("With --devices, rules are also compared with example devices, which should pass: the input format of "
              "\"tavik batch\". The first 1000 are used."),
    paragraph(
        "--baseline names a JSON file of known findings, each with a \"reason\". They are not reported and do not "
        "count; entries without a reason and entries that no longer match a finding are reported. "
        "--write-baseline writes all findings to such a file, with the reasons that --baseline has for them."),
};
constexpr std::string_view kExamples[] = {
    "tavik lint --unsigned --library library.plist --rules local.plist",
    "tavik lint --public-key pub.pem --library library.signed --rules a.signed --rules b.signed --format json",
    "tavik lint --unsigned --library library.plist --rules local.plist --devices good.jsonl --fail-on warning",
};
constexpr ExitMeaning kExitStatuses[] = {
    {ExitStatus::kPassed, "no errors, or as --fail-on specifies"},
    {ExitStatus::kFailed, "at least one error, or as --fail-on specifies"},
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
  std::optional<std::string> devices;
  std::optional<std::string> baseline;
  std::optional<std::string> newBaseline;
  std::string failOn = "error";
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

  Document readBaseline(const std::string& file) {
    const std::string name = nameOf("--baseline", file);
    ValueLocations locations;
    Value value = parseValue(name, inputs_.bytes("--baseline", file, kLargestRuleDocument), locations);
    if (value.ifDictionary() == nullptr) throw Unusable(name + ": is not a dictionary");
    return {Document::Role::kBaseline, file, std::move(value), std::move(locations)};
  }

  std::vector<lint::ExampleDevice> readDevices(const std::string& file) {
    return lint::readExampleDevices(inputs_, file);
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

std::vector<lint::Finding> findingsIn(const lint::LintedDocuments& documents) {
  lint::Reporter reporter;
  runChecks(documents, reporter);
  if (reporter.dropped() != 0) {
    printToStandardError("lint", fmt::format("{} more findings are not shown", reporter.dropped()));
  }
  return std::move(reporter).take();
}

/// The findings that are not known, and those about the baseline.
std::vector<lint::Finding> withoutKnown(const lint::Baseline& baseline, std::vector<lint::Finding> findings) {
  lint::Reporter reporter;
  std::vector<lint::Finding> remaining = baseline.withoutKnown(std::move(findings), reporter);
  for (lint::Finding& finding : std::move(reporter).take()) remaining.push_back(std::move(finding));
  return remaining;
}

lint::Severity leastSeverity(std::string_view failOn) {
  using lint::Severity;
  if (failOn == nameOf(Severity::kInformation)) return Severity::kInformation;
  return failOn == nameOf(Severity::kWarning) ? Severity::kWarning : Severity::kError;
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
  std::vector<lint::ExampleDevice> devices;
  if (options.devices) devices = reader.readDevices(*options.devices);
  reader.checkLog();

  const lint::LintedDocuments parts(documents, std::move(devices));
  std::optional<lint::Baseline> baseline;
  if (options.baseline) baseline.emplace(documents.emplace_back(reader.readBaseline(*options.baseline)));
  std::vector<lint::Finding> findings = findingsIn(parts);
  if (options.newBaseline) {
    const std::string text = baselineOf(findings, baseline ? &*baseline : nullptr);
    writeOutput("--write-baseline", *options.newBaseline, bytesOf(text));
  }
  if (baseline) findings = withoutKnown(*baseline, std::move(findings));
  const std::vector<lint::PlacedFinding> reported = placed(std::move(findings), documents);
  writeStandardOutput(report(options, reported, documents));
  const auto counts = [&](const lint::PlacedFinding& found) {
    return found.finding.check->severity <= leastSeverity(options.failOn);
  };
  return std::ranges::any_of(reported, counts) ? ExitStatus::kFailed : ExitStatus::kPassed;
}

Run define(CLI::App& app) {
  const auto options = std::make_shared<LintOptions>();
  addText(app, "--library", options->library, "FILE", "The signed rule library");
  app.add_option("--rules", options->rules, "Signed local rules; repeatable")
      ->type_name("FILE")
      ->allow_extra_args(false);
  addPlatform(app, options->platform);
  addText(app, "--devices", options->devices, "FILE", "Example devices, one JSON object per line");
  addChoice(app, "--fail-on", options->failOn, "SEVERITY", "The least severe finding that gives status 1",
            {"error", "warning", "information"});
  addText(app, "--baseline", options->baseline, "FILE", "Known findings, which are not reported");
  addText(app, "--write-baseline", options->newBaseline, "FILE", "Write all findings as a baseline");
  addFormat(app, options->format, {"table", "json", "sarif", "gcc"});
  addChoice(app, "--print", options->print, "PAGE", "Print a reference page in Markdown without checking a document",
            {"findings", "predicates"});
  return [options] { return runLint(*options); };
}

}  // namespace

const Command kLint = {"lint", kHelp, define};

}  // namespace tavik::tool
