/// @file
/// How `tavik test` prints what came of the cases.
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

/// What came of a case. What it points to outlives it.
struct CaseResult {
  const CaseFile* file;
  const RuleTest* test;
  std::vector<Mismatch> mismatches;

  [[nodiscard]] bool passed() const { return mismatches.empty(); }
};

/// What the cases of a pair of documents have seen.
struct DocumentsCoverage {
  std::string library;  ///< the files' names
  std::string rules;
  const Coverage* coverage;
};

struct TestResults {
  std::vector<CaseResult> cases;
  std::vector<DocumentsCoverage> coverage;  ///< empty when nobody asked

  [[nodiscard]] bool passed() const;
};

std::string testTable(const TestResults& results, const Screen& screen);
std::string testJson(const TestResults& results);
/// A suite for each file; says nothing of the coverage.
std::string testJunit(const TestResults& results);

}  // namespace tavik::tool

#endif
