#include "test/MutantJudge.h"

#include <algorithm>
#include <utility>

#include "test/Judgement.h"

namespace tavik::tool {

MutantJudge::MutantJudge(const Expectation& expected, std::optional<CaseDevice> device)
    : expected_(&expected), device_(std::move(device)) {
  for (const RuleExpectation& rule : expected.rules) named_.emplace(rule.rule, &rule);
}

bool MutantJudge::catches(const Mutant& mutant) const {
  return device_ && catches(MutantEffect(mutant, device_->kind()));
}

bool MutantJudge::catches(const MutantEffect& effect) const {
  if (effect.empty()) return false;
  if (effect.error) return !isExpectedEnd(*expected_, effect.error, std::nullopt);
  if (!isComplete()) return !endsAsExpected(effect);
  const auto isExpected = [&](const ChangedRule& changed) { return hasExpectedRecord(changed); };
  if (!std::ranges::all_of(effect.rules, isExpected)) return true;
  const bool hasNoRules =
      effect.rules.size() == device_->kind().rules().size() &&
      std::ranges::none_of(effect.rules, [](const ChangedRule& changed) { return changed.rule.has_value(); });
  if (hasNoRules && expected_->others == OtherRules::kPass) return true;
  return expected_->station && !hasExpectedStation(effect);
}

std::optional<RuleOrigin> MutantJudge::ruleAfter(const MutantEffect& effect, std::size_t number) const {
  const ChangedRule* const changed = effect.of(number);
  return changed != nullptr ? changed->rule : std::optional(device_->kind().rules()[number]);
}

/// For a case that expects an error or a fault: evaluates the rules up to the first one that ends the run.
bool MutantJudge::endsAsExpected(const MutantEffect& effect) const {
  for (std::size_t number = 0; number < device_->kind().rules().size(); ++number) {
    const auto rule = ruleAfter(effect, number);
    if (!rule) continue;
    const RuleEvaluation evaluation = device_->evaluate(*rule);
    if (!evaluation.record) return isExpectedEnd(*expected_, evaluation.error, evaluation.fault);
  }
  return false;
}

bool MutantJudge::hasExpectedRecord(const ChangedRule& changed) const {
  const auto named = named_.find(device_->kind().rules()[changed.number].name);
  const RuleExpectation* const expectation = named == named_.end() ? nullptr : named->second;
  if (!changed.rule) return isExpectedRecord(expectation, expected_->others, nullptr);
  const RuleEvaluation evaluation = device_->evaluate(*changed.rule);
  const Dictionary* const record = recordOf(evaluation);
  return record != nullptr && isExpectedRecord(expectation, expected_->others, record);
}

/// The last rule that forwards attributes determines the station dictionary.
bool MutantJudge::hasExpectedStation(const MutantEffect& effect) const {
  Dictionary station;
  for (std::size_t number = 0; number < device_->kind().rules().size(); ++number) {
    if (effect.of(number) == nullptr && !device_->kind().facts()[number].forwards()) continue;
    const auto rule = ruleAfter(effect, number);
    if (!rule) continue;
    const RuleEvaluation evaluation = device_->evaluate(*rule);
    const Dictionary* const record = recordOf(evaluation);
    const Dictionary* const attributes = record == nullptr ? nullptr : record->findDictionary("attributes");
    if (attributes == nullptr) continue;
    station.setOrRemove("OnFail", attributes->find("OnFail"));
    station.setOrRemove("OnPass", attributes->find("OnPass"));
  }
  return station == *expected_->station;
}

}  // namespace tavik::tool
