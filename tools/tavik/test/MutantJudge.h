/// @file
/// Judges whether a test case catches a mutant, by evaluating only the rules that the mutant changes.
#ifndef TAVIK_TOOL_TEST_MUTANT_JUDGE_H
#define TAVIK_TOOL_TEST_MUTANT_JUDGE_H

#include <cstddef>
#include <map>
#include <optional>
#include <string>

#include "test/CaseFile.h"
#include "test/Device.h"
#include "test/Mutant.h"

namespace tavik::tool {

/// A case that passes without mutants.
class MutantJudge {
 public:
  /// device: absent if its rules cannot be assembled.
  MutantJudge(Expectation expected, std::optional<Device> device);

  [[nodiscard]] bool catches(const Mutant& mutant) const {
    return device_ && catches(MutantEffect(mutant, device_->rules()));
  }
  /// effect: for this case's device, or another one with the same rules.
  [[nodiscard]] bool catches(const MutantEffect& effect) const;
  /// Null if its rules cannot be assembled.
  [[nodiscard]] const Device* device() const { return device_ ? &*device_ : nullptr; }
  /// Whether the run evaluates all of its rules.
  [[nodiscard]] bool isComplete() const { return device_ && !expected_.error && !expected_.fault; }

 private:
  [[nodiscard]] bool hasExpectedRecord(const MutatedRule& changed) const;
  [[nodiscard]] bool runsAsExpected(const MutantEffect& effect) const;

  Expectation expected_;
  std::optional<Device> device_;
  std::map<std::string, RuleExpectation, std::less<>> named_;
};

}  // namespace tavik::tool

#endif
