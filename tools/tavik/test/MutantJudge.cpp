#include "test/MutantJudge.h"

#include <algorithm>
#include <utility>

#include "test/Judgement.h"

namespace tavik::tool {

MutantJudge::MutantJudge(Expectation expected, std::optional<Device> device)
    : expected_(std::move(expected)), device_(std::move(device)) {
  for (const RuleExpectation& rule : expected_.rules) named_.emplace(rule.rule, rule);
}

bool MutantJudge::catches(const MutantEffect& effect) const {
  if (effect.empty()) return false;
  if (effect.error) return !isExpectedEnd(expected_, effect.error, std::nullopt);
  if (isComplete()) {
    const auto isExpected = [&](const MutatedRule& changed) { return hasExpectedRecord(changed); };
    if (!std::ranges::all_of(effect.rules, isExpected)) return true;
    const bool hasRules =
        effect.rules.size() < device_->rules().rules().size() ||
        std::ranges::any_of(effect.rules, [](const auto& changed) { return changed.rule.has_value(); });
    if (!hasRules && expected_.others == OtherRules::kPass) return true;
    if (!expected_.station) return false;
  }
  return !runsAsExpected(effect);
}

bool MutantJudge::hasExpectedRecord(const MutatedRule& changed) const {
  const auto named = named_.find(device_->rules().rules()[changed.number].name);
  const RuleExpectation* const expectation = named == named_.end() ? nullptr : &named->second;
  if (!changed.rule) return isExpectedRecord(expectation, expected_.others, nullptr);
  const std::optional<Dictionary> record = device_->record(*changed.rule);
  return record && isExpectedRecord(expectation, expected_.others, &*record);
}

/// Compares how the run ends and the station dictionary, which the last rule that forwards attributes determines.
bool MutantJudge::runsAsExpected(const MutantEffect& effect) const {
  const DeviceRules& rules = device_->rules();
  Dictionary station;
  for (std::size_t number = 0; number < rules.rules().size(); ++number) {
    const auto changed = std::ranges::find(effect.rules, number, &MutatedRule::number);
    const bool isChanged = changed != effect.rules.end();
    if ((isChanged && !changed->rule) || (isComplete() && !isChanged && !rules.facts()[number].forwards())) continue;
    const RuleEvaluation evaluation = device_->evaluate(isChanged ? *changed->rule : rules.rules()[number]);
    if (!evaluation.record) return isExpectedEnd(expected_, evaluation.error, evaluation.fault);
    const Dictionary* const attributes = evaluation.record->ifDictionary()->findDictionary("attributes");
    if (attributes == nullptr) continue;
    station.setOrRemove("OnFail", attributes->find("OnFail"));
    station.setOrRemove("OnPass", attributes->find("OnPass"));
  }
  return isComplete() && station == *expected_.station;
}

}  // namespace tavik::tool
