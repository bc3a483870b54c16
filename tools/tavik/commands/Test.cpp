// `tavik test`: test cases for rules.

#include <memory>
#include <string_view>
#include <vector>

#include "commands/Command.h"
#include "commands/CommonOptions.h"
#include "io/StandardOutput.h"
#include "test/GeneratedCaseFile.h"
#include "test/MutationRun.h"
#include "test/TestReport.h"
#include "test/TestSession.h"
#include "text/Terminal.h"

namespace tavik::tool {
namespace {

constexpr Help::Part kDescription[] = {
    paragraph("A case file contains devices and the results expected from their rules:"),
    literal(R"({"library": "rule-library.plist", "rules": "local-rules.plist", "unsigned": true,
 "cases": [{"name": "32 GB device", "attributes": "device.plist", "change": {"TotalDiskCapacity": 32000000000},
            "expect": {"rules": {"Storage size": "fail"}, "others": "pass"}}]})"),
    paragraph("docs/testing-rules.md describes the format. Paths are relative to the case file's folder; "
              "options override the documents and the key that it names. A device that gets no rules does not "
              "pass, and a file without cases is rejected."),
    heading("Mutation tests"),
    paragraph("--mutate changes the rules one small step at a time: it removes a rule, negates it, changes its value, "
              "predicate or override, or removes a part number, region or rule set. For each change that no case "
              "catches, it prints one line with the case to write; the last line is \"N of M mutants caught\"."),
    heading("Generated cases"),
    paragraph("--generate prints a case file for a device that passes: for each rule, a case with the smallest change "
              "that makes the rule fail, and further cases that catch mutants. \"comment\" in the file lists "
              "what the cases do not cover, and why. The paths in the file are copied from the command line."),
    heading("Formats"),
    item("table", "for the terminal: one line per case, and the differences"),
    item("json",
         R"({"cases": [{"file", "name", "passed", "mismatches": [{"rule", "message", "expected", "found"}, ...]}, ...],
"passed": 1, "failed": 0}, and "coverage" if requested; with --mutate {"survivors": [{"library", "local_rules",
"mutation", "subject", "change", "location", "advice", "based_on", "case"}, ...], "caught": 5, "mutants": 6})"),
    item("junit", "JUnit XML for CI servers: one test suite per file"),
};
constexpr std::string_view kExamples[] = {
    "tavik test rule-tests.json",
    "tavik test rule-tests.json --library new-library.plist --unsigned --filter storage",
    "tavik test *-tests.json --coverage --fail-under 100",
    "tavik test *-tests.json --mutate --fail-under 90",
    "tavik test --generate device.json --source sfc=sfc.json --library library.plist --rules local.plist > cases.json",
    "tavik test *-tests.json --format junit > rule-tests.xml",
};
constexpr ExitMeaning kExitStatuses[] = {
    {ExitStatus::kPassed, "every case passed"},
    {ExitStatus::kFailed, "a case failed, the share is below --fail-under, or the device of --generate does not pass"},
    {ExitStatus::kUnusable, "the command line or an input is invalid"},
    {ExitStatus::kFault, "a fault ended the check of the device of --generate"},
    {ExitStatus::kNoVerdict, "a document is not trusted, empty or malformed, or the device of --generate has no rules"},
};
constexpr Help kHelp = {"Run test cases for rules", kDescription, kExamples, kExitStatuses};

void requireConsistency(const TestOptions& options) {
  const auto forbid = [](bool given, std::string_view why) {
    if (given) throw Unusable(std::string(why));
  };
  requireOneTrustOption(options.platform);
  forbid(options.generate && !options.caseFiles.empty(), "--generate and CASES exclude each other");
  forbid(!options.generate && options.caseFiles.empty(), "CASES is required");
  forbid(
      options.generate && (options.mutate || options.coverage || !options.filter.empty() || options.format != "table"),
      "--generate: cannot be combined with --mutate, --coverage, --filter and --format");
  forbid(options.generate && (!options.library || !options.rules), "--generate: --library and --rules are required");
  forbid(!options.generate && !options.sources.empty(), "--source requires --generate");
  forbid(options.mutate && options.coverage, "--mutate and --coverage exclude each other");
  forbid(options.failUnder && !options.mutate && !options.coverage, "--fail-under requires --mutate or --coverage");
  forbid(options.format == "junit" && options.coverage, "--coverage: not available in JUnit XML");
  forbid(options.format == "junit" && options.mutate, "--mutate: not available in JUnit XML");
}

/// Whether the share is at least --fail-under, which is met if there is nothing to reach.
bool isEnough(const TestOptions& options, std::size_t reached, std::size_t total) {
  return !options.failUnder || static_cast<double>(reached) * 100 >= *options.failUnder * static_cast<double>(total);
}

ExitStatus statusOf(bool passed) { return passed ? ExitStatus::kPassed : ExitStatus::kFailed; }

void print(const TestOptions& options, const TestResults& results) {
  if (options.format == "json") {
    writeStandardOutput(testJson(results));
  } else if (options.format == "junit") {
    writeStandardOutput(testJunit(results));
  } else {
    writeStandardOutput(testTable(results, Screen::standardOutput()));
  }
}

ExitStatus runMutants(const TestOptions& options, TestSession& session, const TestResults& results) {
  if (!results.passed()) {
    print(options, results);
    throw Failure(ExitStatus::kFailed, "--mutate: a case fails without mutants; fix it first");
  }
  const MutationResults mutants = session.mutate();
  writeStandardOutput(mutants.text());
  return statusOf(isEnough(options, mutants.caught, mutants.mutants));
}

ExitStatus runTest(const TestOptions& options) {
  requireConsistency(options);
  if (options.generate) {
    writeStandardOutput(generatedCaseFile(options));
    return ExitStatus::kPassed;
  }
  TestSession session(options);
  const TestResults results = session.run();
  if (options.mutate) return runMutants(options, session, results);
  print(options, results);
  std::size_t covered = 0;
  std::size_t possible = 0;
  for (const DocumentsCoverage& documents : results.coverage) {
    covered += documents.coverage->covered();
    possible += documents.coverage->possible();
  }
  return statusOf(results.passed() && isEnough(options, covered, possible));
}

Run define(CLI::App& app) {
  const auto options = std::make_shared<TestOptions>();
  const auto addFlag = [&](const char* name, bool& flag, const char* help) {
    app.add_flag(name, flag, help)->multi_option_policy(CLI::MultiOptionPolicy::Throw);
  };
  app.add_option("CASES", options->caseFiles, "The case files")->type_name("");
  addText(app, "--library", options->library, "FILE", "The rule library to use instead of those in the case files");
  addText(app, "--rules", options->rules, "FILE", "The local rules to use instead of those in the case files");
  addText(app, "--filter", options->filter, "TEXT", "Run only the cases whose names contain TEXT");
  addFlag("--coverage", options->coverage, "Show which rules, overrides, part numbers and regions no case has covered");
  addFlag("--mutate", options->mutate,
          "Change the rules one small step at a time, and show which changes no case catches");
  addNumber(app, "--fail-under", options->failUnder, "PERCENT",
            "With --mutate or --coverage: fail if less than PERCENT of the mutants or results are caught or covered",
            0.0, 100.0);
  addText(app, "--generate", options->generate, "DEVICE",
          "Print a case file made from the attributes of a good device and its rules");
  addSources(app, options->sources);
  addPlatform(app, options->platform);
  addFormat(app, options->format, {"table", "json", "junit"});
  return [options] { return runTest(*options); };
}

}  // namespace

const Command kTest = {"test", kHelp, define};

}  // namespace tavik::tool
