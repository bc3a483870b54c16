/// @file
/// Mutation tests: how many small changes of the rules the test cases catch.
#ifndef TAVIK_TOOL_TEST_MUTATION_RUN_H
#define TAVIK_TOOL_TEST_MUTATION_RUN_H

#include <tavik/RuleOrigins.h>

#include <cstddef>
#include <span>
#include <string>

#include "test/CaseFile.h"

namespace tavik::tool {

struct MutationResults {
  bool asJson = false;
  std::size_t mutants = 0;
  std::size_t caught = 0;
  std::string survivors = {};  ///< those that no case catches, with the case to write, in the output format

  /// The survivors and the number of mutants caught.
  [[nodiscard]] std::string text() const;
};

/// Adds the results for a pair of documents. library, rules: the files' names. tests: the cases for these documents;
/// all of them pass.
void runMutants(const RuleOrigins& origins, const std::string& library, const std::string& rules,
                std::span<const RuleTest* const> tests, MutationResults& results);

}  // namespace tavik::tool

#endif
