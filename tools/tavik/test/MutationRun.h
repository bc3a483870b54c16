/// @file
/// Mutation tests: how many small changes of the rules the test cases catch.
#ifndef TAVIK_TOOL_TEST_MUTATION_RUN_H
#define TAVIK_TOOL_TEST_MUTATION_RUN_H

#include <tavik/RuleOrigins.h>
#include <tavik/Value.h>

#include <cstddef>
#include <span>
#include <string>

#include "test/CaseFile.h"

namespace tavik::tool {

struct MutationResults {
  std::size_t mutants = 0;
  Array survivors = {};  ///< those that no case catches, with the case to write; as in the JSON format

  [[nodiscard]] std::size_t caught() const { return mutants - survivors.size(); }
};

/// Adds the results for a pair of documents. library, rules: the files' names. tests: the cases for these documents;
/// all of them pass.
void runMutants(const RuleOrigins& origins, const std::string& library, const std::string& rules,
                std::span<const RuleTest* const> tests, MutationResults& results);

/// One line per survivor, then the number of mutants caught.
std::string mutationText(const MutationResults& results);
std::string mutationJson(const MutationResults& results);

}  // namespace tavik::tool

#endif
