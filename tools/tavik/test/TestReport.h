/// @file
/// The output formats of `tavik test`.
#ifndef TAVIK_TOOL_TEST_TEST_REPORT_H
#define TAVIK_TOOL_TEST_TEST_REPORT_H

#include <tavik/Value.h>

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "test/CaseFile.h"
#include "test/Coverage.h"
#include "test/Judgement.h"
#include "text/Terminal.h"

namespace tavik::tool {

/// The result of a case. Borrows the case.
struct CaseResult {
  const CaseFile* file;
  const RuleTest* test;
  std::vector<Mismatch> mismatches;

  [[nodiscard]] bool passed() const { return mismatches.empty(); }
};

/// The coverage of a pair of documents.
struct DocumentsCoverage {
  std::string library;  ///< the files' names
  std::string rules;
  const Coverage* coverage;
};

struct TestResults {
  std::vector<CaseResult> cases;
  std::vector<DocumentsCoverage> coverage;  ///< empty if not requested

  [[nodiscard]] bool passed() const;
};

std::string testTable(const TestResults& results, const Screen& screen);
std::string testJson(const TestResults& results);
/// One suite per file; does not include coverage.
std::string testJunit(const TestResults& results);

}  // namespace tavik::tool

#endif
