// `tavik test`: test cases for rules.

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <memory>
#include <utility>

#include "check/Outcome.h"
#include "commands/Command.h"
#include "commands/CommonOptions.h"
#include "io/Inputs.h"
#include "io/StandardError.h"
#include "io/StandardOutput.h"
#include "reports/FailureText.h"
#include "rules/HostPlatform.h"
#include "rules/RuleDocuments.h"
#include "rules/RuleMeaning.h"
#include "rules/RuleNotes.h"
#include "test/CaseFile.h"
#include "test/Coverage.h"
#include "test/Judgement.h"
#include "test/TestReport.h"
#include "text/Terminal.h"
#include "text/Text.h"

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
    heading("Formats"),
    item("table", "for the terminal: one line per case, and the differences"),
    item("json",
         R"({"cases": [{"file", "name", "passed", "mismatches": [{"rule", "message", "expected", "found"}, ...]}, ...],
"passed": 1, "failed": 0}, and "coverage" if requested)"),
    item("junit", "JUnit XML for CI servers: one test suite per file"),
};
constexpr std::string_view kExamples[] = {
    "tavik test rule-tests.json",
    "tavik test rule-tests.json --library new-library.plist --unsigned --filter storage",
    "tavik test *-tests.json --coverage",
    "tavik test *-tests.json --format junit > rule-tests.xml",
};
constexpr ExitMeaning kExitStatuses[] = {
    {ExitStatus::kPassed, "every case passed"},
    {ExitStatus::kFailed, "a case failed"},
    {ExitStatus::kUnusable, "the command line or an input is invalid"},
    {ExitStatus::kNoVerdict, "a document is not trusted, empty or malformed"},
};
constexpr Help kHelp = {"Run test cases for rules", kDescription, kExamples, kExitStatuses};

struct TestOptions {
  std::vector<std::string> caseFiles;
  std::optional<std::string> library;
  std::optional<std::string> rules;
  std::string filter;
  bool coverage = false;
  PlatformOptions platform;
  std::string format;
};

/// The rule documents of a case file.
struct DocumentNames {
  std::string library;
  std::string rules;
  bool unsignedDocuments;
  std::optional<std::string> publicKey;

  friend auto operator<=>(const DocumentNames&, const DocumentNames&) = default;
};

/// The document named by `option`, else by the case file.
std::string documentName(std::string_view option, const std::optional<std::string>& given,
                         const std::optional<std::string>& inFile, const CaseFile& file) {
  if (given) return *given;
  if (!inFile) {
    throw Unusable(fmt::format("{}: \"{}\" is missing; add it, or use {} FILE", file.name, option.substr(2), option));
  }
  return *inFile;
}

DocumentNames documentNames(const TestOptions& options, const CaseFile& file) {
  const bool given = options.platform.unsignedDocuments || options.platform.publicKey;
  return {.library = documentName("--library", options.library, file.library, file),
          .rules = documentName("--rules", options.rules, file.rules, file),
          .unsignedDocuments = given ? options.platform.unsignedDocuments : file.unsignedDocuments,
          .publicKey = given ? options.platform.publicKey : file.publicKey};
}

/// Adds what the rules of the mismatches are about: "TotalDiskCapacity: Passes when the storage has as many GB as
/// expected."
void addNotes(std::vector<Mismatch>& mismatches, const RuleNotes& notes) {
  for (Mismatch& mismatch : mismatches) {
    const RuleNote* const note = mismatch.rule ? notes.of(*mismatch.rule) : nullptr;
    if (note == nullptr) continue;
    const std::string meaning = meaningOf(note->evaluation);
    if (!meaning.empty())
      mismatch.checks = visible(note->evaluation.attribute.name.value_or("(null)")) + ": " + meaning;
    mismatch.notes = noteLines(note, passed(Value(mismatch.found)));
  }
}

/// A pair of rule documents, prepared for checking devices.
class ReadyRules {
 public:
  ReadyRules(const DocumentNames& names, const TestOptions& options, Inputs& inputs)
      : platform_(std::make_shared<HostPlatform>(
            PlatformOptions{names.publicKey, names.unsignedDocuments, options.platform.log})),
        kernel_(readLibrary(inputs, "", names.library, platform_)),
        prepared_(readLocalRules(inputs, "", names.rules, *kernel_)),
        origins_(kernel_->library(), prepared_->localRules()) {
    if (options.coverage) coverage_.emplace(kernel_->library(), prepared_->localRules());
  }

  /// Null if coverage was not requested.
  [[nodiscard]] const Coverage* coverage() const { return coverage_ ? &*coverage_ : nullptr; }
  void checkLog() const { platform_->checkLog(); }

  std::vector<Mismatch> run(const RuleTest& test) {
    const CheckOutcome outcome = runCheck(*prepared_, test.attributes, test.sources);
    if (coverage_) coverage_->add(test, outcome);
    std::vector<Mismatch> found = mismatches(test.expected, outcome);
    if (!found.empty()) addNotes(found, notesAfterCheck(test.attributes, test.sources, origins_));
    return found;
  }

 private:
  std::shared_ptr<const HostPlatform> platform_;
  std::unique_ptr<const ZRTTavikKernel> kernel_;
  std::unique_ptr<const PreparedRules> prepared_;
  RuleOrigins origins_;
  std::optional<Coverage> coverage_;
};

class TestRun {
 public:
  explicit TestRun(const TestOptions& options) : options_(options) {
    for (const std::string& path : options.caseFiles) files_.push_back(readCaseFile(inputs_, path));
  }

  TestResults run() {
    TestResults results;
    for (const CaseFile& file : files_) {
      ReadyRules& rules = rulesOf(file);
      for (const RuleTest& test : file.tests) {
        if (test.name.find(options_.filter) == std::string::npos) continue;
        results.cases.push_back({&file, &test, rules.run(test)});
      }
    }
    if (results.cases.empty())
      throw Unusable(fmt::format("--filter {}: no case name contains this text", options_.filter));
    for (const auto& [names, rules] : rules_) {
      rules.checkLog();
      if (rules.coverage() != nullptr) results.coverage.push_back({names.library, names.rules, rules.coverage()});
    }
    return results;
  }

 private:
  ReadyRules& rulesOf(const CaseFile& file) {
    const DocumentNames names = documentNames(options_, file);
    const auto known = rules_.find(names);
    if (known != rules_.end()) return known->second;
    if (names.unsignedDocuments) {
      const std::string_view who = options_.platform.unsignedDocuments ? "--unsigned" : std::string_view(file.name);
      printToStandardError("test",
                           fmt::format("{}: rule documents are used as they are; signatures are not verified", who));
    } else {
      warnAboutTrust("test", {.publicKey = names.publicKey});
    }
    return rules_.try_emplace(names, names, options_, inputs_).first->second;
  }

  const TestOptions& options_;
  Inputs inputs_;
  std::vector<CaseFile> files_;
  std::map<DocumentNames, ReadyRules> rules_;
};

ExitStatus runTest(const TestOptions& options) {
  if (options.platform.unsignedDocuments && options.platform.publicKey)
    throw Unusable("--public-key and --unsigned exclude each other");
  if (options.coverage && options.format == "junit") throw Unusable("--coverage: not available in JUnit XML");
  TestRun run(options);
  const TestResults results = run.run();
  if (options.format == "json") {
    writeStandardOutput(testJson(results));
  } else if (options.format == "junit") {
    writeStandardOutput(testJunit(results));
  } else {
    writeStandardOutput(testTable(results, Screen::standardOutput()));
  }
  return results.passed() ? ExitStatus::kPassed : ExitStatus::kFailed;
}

Run define(CLI::App& app) {
  const auto options = std::make_shared<TestOptions>();
  app.add_option("CASES", options->caseFiles, "The case files")->type_name("")->required();
  addText(app, "--library", options->library, "FILE", "The rule library to use instead of those in the case files");
  addText(app, "--rules", options->rules, "FILE", "The local rules to use instead of those in the case files");
  addText(app, "--filter", options->filter, "TEXT", "Run only the cases whose names contain TEXT");
  app.add_flag("--coverage", options->coverage, "Show which rules, part numbers and regions no case has covered")
      ->multi_option_policy(CLI::MultiOptionPolicy::Throw);
  addPlatform(app, options->platform);
  addFormat(app, options->format, {"table", "json", "junit"});
  return [options] { return runTest(*options); };
}

}  // namespace

const Command kTest = {"test", kHelp, define};

}  // namespace tavik::tool
