/// @file
/// Generates a case file from a good device: for each of its rules, the smallest change that makes the rule fail, and
/// further cases that catch mutants.
#ifndef TAVIK_TOOL_TEST_GENERATION_H
#define TAVIK_TOOL_TEST_GENERATION_H

#include <tavik/RuleOrigins.h>
#include <tavik/Value.h>

#include <cstddef>
#include <deque>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "test/CaseSearch.h"
#include "test/MutantJudge.h"
#include "test/Mutations.h"

namespace tavik::tool {

/// Borrows the origins.
class Generation {
 public:
  /// The device passes all of its rules. station: the station dictionary after its check.
  Generation(const RuleOrigins& origins, const Dictionary& attributes, const Dictionary& sources,
             const Dictionary& station);
  Generation(const Generation&) = delete;
  Generation& operator=(const Generation&) = delete;

  /// The cases, as a case file spells them.
  [[nodiscard]] Array cases() const;
  /// The share of mutants caught, and the rules and mutants without a case of their own, with the reason.
  [[nodiscard]] Array comments() const;

 private:
  struct Case {
    Case(FoundCase what, CaseDevice device)
        : found(std::move(what)), expectation(found.expectation()), judge(expectation, std::move(device)) {}

    FoundCase found;
    Expectation expectation;
    MutantJudge judge;
  };

  void failRule(std::size_t number);
  void catchMutant(const Mutant& mutant);
  void leaveTo(const DeviceKind& kind);
  [[nodiscard]] bool isCaught(const MutantEffect& effect) const;
  bool catchChange(const ChangedRule& changed);
  void addCase(FoundCase found);
  void expectOfGoodDevice(const RuleExpectation& expected);
  void remarkOnOthers(const RuleOrigin& rule, const FoundCase& found);

  IndexedRulesCache kinds_;
  CaseDevice device_;
  CaseSearch search_;
  Expectation good_;  // of the device as it is
  std::deque<Case> cases_;
  std::vector<std::vector<const Case*>> casesByRule_;  // the cases in which a rule's record may differ, by number
  std::set<std::pair<RuleOperand, std::string>> changes_;
  std::vector<std::string> remarks_;
  std::vector<DeviceKind> otherKinds_;
  std::map<std::string, std::size_t> left_;  // mutants that need other devices, by kind of device
  std::size_t caught_ = 0;
  std::size_t survivors_ = 0;
};

}  // namespace tavik::tool

#endif
