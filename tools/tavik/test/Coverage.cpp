#include "test/Coverage.h"

#include <memory>
#include <set>

#include "rules/RuleFacts.h"

namespace tavik::tool {
namespace {

std::set<std::string_view> namesIn(const std::vector<RuleExpectation>& expectations) {
  std::set<std::string_view> names;
  for (const RuleExpectation& expectation : expectations) names.insert(expectation.rule);
  return names;
}

}  // namespace

Coverage::Coverage(const RuleOrigins& origins, DeviceRulesCache& cache) : cache_(cache) {
  for (const auto& [partNumber, region] : origins.deviceKinds()) {
    if (partNumber != nullptr) at(Subject::kPartNumber, {selectorText(partNumber)});
    if (region != nullptr) at(Subject::kRegion, {selectorText(partNumber), selectorText(region)});
  }
  for (const std::vector<EffectiveEntry>& entries : EffectiveEntries(origins).rules) {
    Item& rule = at(Subject::kRule, {std::string(entries.front().name)});
    rule.canFail = false;
    for (const EffectiveEntry& entry : entries) {
      const bool canFail = !RuleFacts(entry.name, entry.definition, entry.value()).cannotFail();
      rule.canFail |= canFail;
      if (entry.entry.value() != nullptr)
        at(Subject::kOverride, {std::string(entry.name), entry.layerText()}).canFail = canFail;
    }
  }
}

Coverage::Item& Coverage::at(Subject subject, const std::vector<std::string>& names) {
  Group& group = groups_[static_cast<std::size_t>(subject)];
  const auto [place, isNew] = group.places.emplace(names, group.items.size());
  if (isNew) group.items.push_back({names});
  return group.items[place->second];
}

void Coverage::count(Subject subject, const std::vector<std::string>& names, bool pass) {
  Group& group = groups_[static_cast<std::size_t>(subject)];
  const auto place = group.places.find(names);
  if (place == group.places.end()) return;
  Item& item = group.items[place->second];
  ++(pass ? item.passed : item.failed);
}

void Coverage::add(const RuleTest& test, const CheckOutcome& outcome) {
  const std::set<std::string_view> named = namesIn(test.expected.rules);
  const std::shared_ptr<const DeviceRules> rules = cache_.of(test.attributes);
  for (const Value& record : outcome.ruleRecords()) {
    const std::string_view name = record.ifDictionary()->findString("rule").value_or("");
    const bool isExpected = test.expected.others != OtherRules::kAny || named.contains(name);
    const auto number = rules && isExpected ? rules->find(name) : std::nullopt;
    if (!number) continue;
    const RuleOrigin& rule = rules->rules()[*number];
    const LocalEntry& entry = rule.entries.back();
    count(Subject::kRule, {std::string(name)}, passed(record));
    if (entry.value() == nullptr) continue;
    const EffectiveEntry override{{rule.name, rule.definition, entry}, rules->selectors()};
    count(Subject::kOverride, {std::string(name), override.layerText()}, passed(record));
  }
  if (outcome.verdict == Verdict::kNone) return;
  const bool pass = outcome.verdict == Verdict::kPassed;
  const std::string partNumber = selectorText(test.attributes.find("ModelNumber"));
  count(Subject::kPartNumber, {partNumber}, pass);
  count(Subject::kRegion, {partNumber, selectorText(test.attributes.find("RegionInfo"))}, pass);
}

std::size_t Coverage::sum(std::size_t (Item::*number)() const) const {
  std::size_t total = 0;
  for (const Group& group : groups_) {
    for (const Item& item : group.items) total += (item.*number)();
  }
  return total;
}

}  // namespace tavik::tool
