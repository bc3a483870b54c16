/// @file
/// Judges whether a test case catches a mutant, by evaluating only the rules that the mutant changes.
#ifndef TAVIK_TOOL_TEST_MUTANT_JUDGE_H
#define TAVIK_TOOL_TEST_MUTANT_JUDGE_H

#include <cstddef>
#include <optional>
#include <string_view>
#include <unordered_map>

#include "test/CaseDevice.h"
#include "test/CaseFile.h"
#include "test/Mutant.h"

namespace tavik::tool {

/// A case that passes without mutants. Borrows its expectation.
class MutantJudge {
 public:
  /// device: absent if its rules cannot be assembled.
  MutantJudge(const Expectation& expected, std::optional<CaseDevice> device);

  [[nodiscard]] bool catches(const Mutant& mutant) const;
  /// effect: for the kind of this case's device, or another one with the same rules.
  [[nodiscard]] bool catches(const MutantEffect& effect) const;
  /// Null if its rules cannot be assembled.
  [[nodiscard]] const CaseDevice* device() const { return device_ ? &*device_ : nullptr; }
  /// Whether the run evaluates all of its rules.
  [[nodiscard]] bool isComplete() const { return device_ && !expected_->error && !expected_->fault; }

 private:
  [[nodiscard]] bool endsAsExpected(const MutantEffect& effect) const;
  [[nodiscard]] bool hasExpectedRecord(const ChangedRule& changed) const;
  [[nodiscard]] bool hasExpectedStation(const MutantEffect& effect) const;
  [[nodiscard]] std::optional<RuleOrigin> ruleAfter(const MutantEffect& effect, std::size_t number) const;

  const Expectation* expected_;
  std::optional<CaseDevice> device_;
  std::unordered_map<std::string_view, const RuleExpectation*> named_;
};

}  // namespace tavik::tool

#endif
