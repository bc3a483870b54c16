/// @file
/// Mutation tests: how many small changes of the rules the test cases catch.
#ifndef TAVIK_TOOL_TEST_MUTATION_RUN_H
#define TAVIK_TOOL_TEST_MUTATION_RUN_H

#include <tavik/RuleOrigins.h>
#include <tavik/Value.h>

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "test/CaseFile.h"

namespace tavik::tool {

/// A mutant that no case catches.
struct Survivor {
  std::string_view mutation;
  std::string subject;
  std::string change;
  std::string location;
  std::string advice;                      ///< the case to write, in words
  std::optional<std::string> basis = {};   ///< the name of the case that `newCase` varies
  std::optional<Dictionary> newCase = {};  ///< as a case file spells it
};

/// The result for a pair of documents.
struct MutationResults {
  std::string library;  ///< the files' names
  std::string rules;
  std::vector<Survivor> survivors = {};
  std::size_t mutants = 0;
};

/// Runs the mutants of a pair of documents. tests: the cases for these documents; all of them pass.
void runMutants(const RuleOrigins& origins, std::span<const RuleTest* const> tests, MutationResults& results);

/// The numbers of mutants, and of those that cases catch.
std::size_t mutantsOf(const std::vector<MutationResults>& all);
std::size_t caughtOf(const std::vector<MutationResults>& all);

/// One line per survivor, then the number of mutants caught.
std::string mutationText(const std::vector<MutationResults>& all);
std::string mutationJson(const std::vector<MutationResults>& all);

}  // namespace tavik::tool

#endif
