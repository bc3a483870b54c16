#include "test/TestSession.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>
#include <utility>

#include "ExitStatus.h"
#include "check/Outcome.h"
#include "io/StandardError.h"
#include "reports/FailureText.h"
#include "rules/RuleDocuments.h"
#include "rules/RuleMeaning.h"
#include "rules/RuleNotes.h"
#include "text/NearestName.h"
#include "text/Text.h"

namespace tavik::tool {
namespace {

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
  DocumentNames names{documentName("--library", options.library, file.library, file),
                      documentName("--rules", options.rules, file.rules, file), options.platform};
  if (!options.platform.unsignedDocuments && !options.platform.publicKey && !options.platform.trust) {
    names.platform.unsignedDocuments = file.unsignedDocuments;
    names.platform.publicKey = file.publicKey;
  }
  return names;
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

}  // namespace

ReadyRules::ReadyRules(const DocumentNames& names, Inputs& inputs)
    : platform_(std::make_shared<HostPlatform>(names.platform)),
      kernel_(readLibrary(inputs, "", names.library, platform_)),
      prepared_(readLocalRules(inputs, "", names.rules, *kernel_)),
      origins_(kernel_->library(), prepared_->localRules()) {}

std::vector<Mismatch> ReadyRules::run(const RuleTest& test) {
  tests_.push_back(&test);
  const CheckOutcome outcome = runCheck(*prepared_, test.attributes, test.sources);
  if (coverage_) coverage_->add(test, outcome);
  std::vector<Mismatch> found = mismatches(test.expected, outcome);
  if (!found.empty()) addNotes(found, notesAfterCheck(test.attributes, test.sources, origins_));
  return found;
}

std::vector<std::string> ReadyRules::remarksOn(const RuleTest& test) {
  std::vector<std::string> remarks;
  const std::shared_ptr<const DeviceRules> rules = test.changed.empty() ? nullptr : cache_.of(test.attributes);
  if (!rules) return remarks;
  std::vector<std::string_view> read = {"ModelNumber", "RegionInfo"};  // they select the rules
  for (const RuleFacts& facts : rules->facts()) {
    for (const RuleOperand& operand : facts.operands()) {
      if (!operand.source) read.push_back(operand.name);
    }
  }
  for (const std::string& name : test.changed) {
    if (!rules->readers({std::nullopt, name}).empty() || std::ranges::find(read, name) != read.end()) continue;
    remarks.push_back(
        fmt::format("no rule of the device reads \"{}\"{}", shortened(visible(name), 60), didYouMean(name, read)));
  }
  return remarks;
}

TestSession::TestSession(const TestOptions& options) : options_(options) {
  for (const std::string& path : options.caseFiles) files_.push_back(readCaseFile(inputs_, path));
}

TestResults TestSession::run() {
  TestResults results;
  for (const CaseFile& file : files_) {
    ReadyRules& rules = rulesOf(file);
    for (const RuleTest& test : file.tests) {
      if (test.name.find(options_.filter) == std::string::npos) continue;
      results.cases.push_back({&file, &test, rules.run(test)});
      for (const std::string& remark : rules.remarksOn(test)) {
        printToStandardError("test", fmt::format("{}: case \"{}\": {}", file.name, test.name, remark));
      }
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

MutationResults TestSession::mutate() {
  MutationResults results{options_.format == "json"};
  for (const auto& [names, rules] : rules_) {
    runMutants(rules.origins(), names.library, names.rules, rules.tests(), results);
  }
  return results;
}

ReadyRules& TestSession::rulesOf(const CaseFile& file) {
  const DocumentNames names = documentNames(options_, file);
  const auto known = rules_.find(names);
  if (known != rules_.end()) return known->second;
  if (names.platform.unsignedDocuments && !options_.platform.unsignedDocuments) {
    printToStandardError(
        "test", fmt::format("{}: rule documents are used as they are; signatures are not verified", file.name));
  } else {
    warnAboutTrust("test", names.platform);
  }
  ReadyRules& rules = rules_.try_emplace(names, names, inputs_).first->second;
  if (options_.coverage) rules.countCoverage();
  return rules;
}

}  // namespace tavik::tool
