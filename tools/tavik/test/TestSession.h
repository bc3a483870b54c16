/// @file
/// The case files of a command line, with the rule documents that they are for.
#ifndef TAVIK_TOOL_TEST_TEST_SESSION_H
#define TAVIK_TOOL_TEST_TEST_SESSION_H

#include <tavik/RuleOrigins.h>
#include <tavik/ZRTTavikKernel.h>

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "io/Inputs.h"
#include "rules/HostPlatform.h"
#include "test/CaseFile.h"
#include "test/Coverage.h"
#include "test/Device.h"
#include "test/Judgement.h"
#include "test/MutationRun.h"
#include "test/TestReport.h"

namespace tavik::tool {

struct TestOptions {
  std::vector<std::string> caseFiles;
  std::optional<std::string> generate;  ///< the file of a device
  std::vector<std::string> sources;     ///< of that device
  std::optional<std::string> library;
  std::optional<std::string> rules;
  std::string filter;
  bool coverage = false;
  bool mutate = false;
  std::optional<double> failUnder;  ///< in percent
  PlatformOptions platform;
  std::string format;
};

/// The rule documents of a case file, and how they are verified.
struct DocumentNames {
  std::string library;
  std::string rules;
  PlatformOptions platform;

  friend bool operator<(const DocumentNames& first, const DocumentNames& second) {
    const auto key = [](const DocumentNames& names) {
      return std::tie(names.library, names.rules, names.platform.unsignedDocuments, names.platform.publicKey);
    };
    return key(first) < key(second);
  }
};

/// A pair of rule documents, prepared for checking devices.
class ReadyRules {
 public:
  ReadyRules(const DocumentNames& names, Inputs& inputs);
  ReadyRules(const ReadyRules&) = delete;
  ReadyRules& operator=(const ReadyRules&) = delete;

  [[nodiscard]] const PreparedRules& prepared() const { return *prepared_; }
  [[nodiscard]] const RuleOrigins& origins() const { return origins_; }
  void checkLog() const { platform_->checkLog(); }

  /// Counts the results of all cases that are run from here on.
  void countCoverage() { coverage_.emplace(origins_, cache_); }
  /// Null unless results are counted.
  [[nodiscard]] const Coverage* coverage() const { return coverage_ ? &*coverage_ : nullptr; }

  /// Runs a case, which must live as long as this object.
  std::vector<Mismatch> run(const RuleTest& test);
  /// The cases that were run.
  [[nodiscard]] const std::vector<const RuleTest*>& tests() const { return tests_; }
  /// The attributes that the case changes but no rule of its device reads, each as a remark.
  std::vector<std::string> remarksOn(const RuleTest& test);

 private:
  std::shared_ptr<const HostPlatform> platform_;
  std::unique_ptr<const ZRTTavikKernel> kernel_;
  std::unique_ptr<const PreparedRules> prepared_;
  RuleOrigins origins_;
  DeviceRulesCache cache_{origins_};
  std::optional<Coverage> coverage_;
  std::vector<const RuleTest*> tests_;
};

class TestSession {
 public:
  /// Reads the case files.
  explicit TestSession(const TestOptions& options);

  /// Runs the cases.
  TestResults run();
  /// Runs the mutants of all documents. The cases have passed.
  MutationResults mutate();

 private:
  ReadyRules& rulesOf(const CaseFile& file);

  const TestOptions& options_;
  Inputs inputs_;
  std::vector<CaseFile> files_;
  std::map<DocumentNames, ReadyRules> rules_;
};

}  // namespace tavik::tool

#endif
