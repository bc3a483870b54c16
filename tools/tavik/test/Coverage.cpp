#include "test/Coverage.h"

#include <memory>
#include <set>
#include <utility>

#include "rules/RuleFacts.h"
#include "test/EffectiveEntries.h"

namespace tavik::tool {
namespace {

std::set<std::string_view> namesIn(const std::vector<RuleExpectation>& expectations) {
  std::set<std::string_view> names;
  for (const RuleExpectation& expectation : expectations) names.insert(expectation.rule);
  return names;
}

std::vector<std::string> overrideNames(const EffectiveEntry& entry) {
  return {std::string(entry.name), entry.layerText()};
}

}  // namespace

Coverage::Item& Coverage::Group::at(std::vector<std::string> names) {
  const auto [place, isNew] = places.emplace(names, items.size());
  if (isNew) items.push_back({std::move(names), {}});
  return items[place->second];
}

void Coverage::Group::add(const std::vector<std::string>& names, bool pass) {
  const auto place = places.find(names);
  if (place != places.end()) items[place->second].seen.add(pass);
}

Coverage::Coverage(const RuleOrigins& origins, IndexedRulesCache& kinds) : kinds_(kinds) {
  for (const auto& [partNumber, region] : origins.deviceKinds()) {
    if (partNumber != nullptr) partNumbers_.at({selectorText(partNumber)});
    if (region != nullptr) regions_.at({selectorText(partNumber), selectorText(region)});
  }
  std::set<std::string_view> ableToFail;
  const EffectiveEntries entries(origins);
  for (const EffectiveEntry& entry : entries.rules) {
    const bool canFail = !RuleFacts(entry.name, entry.definition, entry.value()).cannotFail();
    if (canFail) ableToFail.insert(entry.name);
    rules_.at({std::string(entry.name)}).seen.canFail = ableToFail.contains(entry.name);
    if (entry.entry.value() != nullptr) overrides_.at(overrideNames(entry)).seen.canFail = canFail;
  }
}

void Coverage::add(const RuleTest& test, const CheckOutcome& outcome) {
  const std::set<std::string_view> named = namesIn(test.expected.rules);
  const std::shared_ptr<const IndexedRules> kind = kinds_.of(test.attributes);
  for (const Value& record : outcome.ruleRecords()) {
    const std::string_view rule = record.ifDictionary()->findString("rule").value_or("");
    const bool asked = test.expected.others != OtherRules::kAny || named.contains(rule);
    const auto number = kind ? kind->find(rule) : std::nullopt;
    if (asked && number) addRule(kind->rules()[*number], *kind, passed(record));
  }
  if (outcome.verdict == Verdict::kNone) return;
  const bool pass = outcome.verdict == Verdict::kPassed;
  const std::string partNumber = selectorText(test.attributes.find("ModelNumber"));
  partNumbers_.add({partNumber}, pass);
  regions_.add({partNumber, selectorText(test.attributes.find("RegionInfo"))}, pass);
}

void Coverage::addRule(const RuleOrigin& rule, const IndexedRules& kind, bool pass) {
  rules_.add({std::string(rule.name)}, pass);
  if (rule.entries.back().value() == nullptr) return;
  overrides_.add(overrideNames({{rule.name, rule.definition, rule.entries.back()}, kind.selectors()}), pass);
}

std::size_t Coverage::sum(std::size_t (Seen::*count)() const) const {
  std::size_t total = 0;
  for (const Group* group : {&rules_, &overrides_, &partNumbers_, &regions_}) {
    for (const Item& item : group->items) total += (item.seen.*count)();
  }
  return total;
}

std::size_t Coverage::possible() const { return sum(&Seen::possible); }
std::size_t Coverage::covered() const { return sum(&Seen::covered); }

}  // namespace tavik::tool
