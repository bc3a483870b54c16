// `tavik check`: one check run.

#include <fmt/format.h>

#include <memory>
#include <utility>

#include "check/Outcome.h"
#include "commands/Command.h"
#include "commands/CommonOptions.h"
#include "io/ArgumentName.h"
#include "io/Encoding.h"
#include "io/Inputs.h"
#include "io/Output.h"
#include "io/StandardError.h"
#include "io/StandardOutput.h"
#include "reports/CheckTable.h"
#include "reports/Report.h"
#include "rules/DeviceKinds.h"
#include "rules/HostPlatform.h"
#include "rules/RuleDocuments.h"
#include "text/Terminal.h"

namespace tavik::tool {
namespace {

constexpr Help::Part kDescription[] = {
    paragraph(
        R"(Every FILE is a property list (XML, binary or old-style text) or JSON, detected by content; "-" is standard
input. "table" counts passing rules that hide their result but does not list them; the other formats list them.)"),
    heading("Formats"),
    item("table", "for the terminal"),
    item("json",
         R"({"records": [{"rule", "result", "actual", "expected", ...}, ...] or null, "station": {...}, "error": null or
{"domain", "code", "description"}, "verdict": "passed", "failed" or "none", "reason": null or {"kind", "rule",
"description"}, "signatures": "verified" or "not verified"}. If a fault ended the run, "fault": {"kind",
"message"} follows "error". Without a verdict, "reason" gives the cause: its "kind" is "no local rules", "not
trusted", "empty", "not assembled", "no rules", "malformed expression" or "fault", and its "rule" is null or the
rule that ended the run)"),
    item("plist", "the same as an XML property list; null values are left out"),
    item("junit", "JUnit XML for CI servers: one test case per rule; a fault and a run without a verdict are errors"),
    item("html",
         "a self-contained page for people: what failed, what was expected, what to do. The page shows when it "
         "was made; SOURCE_DATE_EPOCH overrides the time"),
};
constexpr std::string_view kExamples[] = {
    "tavik check --library rules.signed --rules product.signed --attributes device.plist",
    "tavik check --library rules.signed --rules product.signed --attributes - --source sfc=sfc.json --format "
    "json",
    "tavik check --library rules.signed --rules product.signed --attributes device.plist --format html > "
    "device.html",
};
constexpr ExitMeaning kExitStatuses[] = {
    {ExitStatus::kPassed, "every rule passed"},
    {ExitStatus::kFailed, "a rule failed"},
    {ExitStatus::kUnusable, "the command line or an input is invalid"},
    {ExitStatus::kFault, "a fault ended the run"},
    {ExitStatus::kNoVerdict,
     "no verdict: a document is not trusted, empty or malformed, or the device's rules could not be assembled"},
};
constexpr Help kHelp = {"Check one device and print its records", kDescription, kExamples, kExitStatuses};

struct CheckOptions : RuleOptions {
  std::string attributes;
  std::vector<std::string> sources;
  std::optional<std::string> station;
  std::string format;
};

void writeStation(const std::string& path, const Dictionary& station) {
  writeOutput("--station", path, toPropertyList(nameOf("--station", path), Value(station)).bytes());
}

/// Identifies the device in a report.
Value nameOfDevice(const Dictionary& attributes) {
  const Value* const serialNumber = attributes.find("SerialNumber");
  return serialNumber == nullptr ? Value("without a serial number") : *serialNumber;
}

std::string outcomeText(const DeviceResult& result, const RuleContents& documents, const std::string& format) {
  if (format == "junit") return junitReport(result, documents);
  if (format == "html") return htmlReport(result, documents);
  if (format == "table") return checkTable(result, Screen::standardOutput());
  std::vector<JsonEntry> entries = entriesOf(result.outcome);
  entries.push_back({"signatures", Value(documents.signatures())});
  return format == "plist" ? plistReport(entries) : objectLine(entries);
}

void explain(const DeviceResult& result, const CheckOptions& options) {
  const CheckOutcome& outcome = result.outcome;
  if (!outcome.reason) return;
  const std::string rules = nameOf("--rules", options.rules);
  std::string line = (outcome.fault ? "fault: " : "") + outcome.reason->text();
  // With records, the message names the rules file as a whole; a run that ended at a rule names that rule.
  if (outcome.records) line = rules + ": " + line;
  if (outcome.records && outcome.error) {
    line = blamed(*outcome.error, result.attributes, nameOf("--attributes", options.attributes), rules);
  }
  printToStandardError("check", line + std::string(hintForUntrusted(outcome.reason->description)));
}

ExitStatus runCheckCommand(const CheckOptions& options) {
  if (options.station == "-") throw Unusable("--station: standard output is used for the records");
  const auto platform = std::make_shared<const HostPlatform>(options.platform);
  warnAboutTrust("check", options.platform);
  Inputs inputs;
  const Dictionary library = inputs.ruleDocument("--library", options.library);
  const Dictionary rules = inputs.ruleDocument("--rules", options.rules);
  const Dictionary attributes = inputs.dictionary("--attributes", options.attributes);
  const Dictionary sources = readSources(inputs, options.sources);
  const std::unique_ptr<ZRTTavikKernel> kernel = openKernel(nameOf("--library", options.library), library, platform);

  const std::unique_ptr<const PreparedRules> prepared = kernel->prepare(&rules);
  DeviceResult result{.id = nameOfDevice(attributes),
                      .outcome = runCheck(*prepared, attributes, sources),
                      .attributes = attributes,
                      .sources = sources};
  const RuleOrigins origins(kernel->library(), prepared->localRules());
  if (!result.outcome.reason)
    result.notes = std::make_shared<const RuleNotes>(notesAfterCheck(attributes, sources, origins));
  for (const std::string& note : result.aboutDevice()) {
    printToStandardError("check", note);
    platform->log(note);
  }
  platform->checkLog();
  if (options.station) writeStation(*options.station, result.outcome.station);
  explain(result, options);
  if (result.outcome.reason && areSwapped(kernel->library(), prepared->localRules())) {
    printToStandardError("check", nameOf("--rules", options.rules) + ": " + std::string(kSwapped));
  }
  const RuleContents documents{kernel->library(), prepared->localRules(), !options.platform.unsignedDocuments};
  writeStandardOutput(outcomeText(result, documents, options.format));
  return result.status();
}

Run define(CLI::App& app) {
  const auto options = std::make_shared<CheckOptions>();
  addRules(app, *options);
  addAttributes(app, options->attributes);
  addSources(app, options->sources);
  addText(app, "--station", options->station, "FILE",
          "Write the station dictionary after the run to FILE (an XML property list)");
  addPlatform(app, options->platform);
  addFormat(app, options->format, {"table", "json", "junit", "html", "plist"});
  return [options] { return runCheckCommand(*options); };
}

}  // namespace

const Command kCheck = {"check", kHelp, define};

}  // namespace tavik::tool
