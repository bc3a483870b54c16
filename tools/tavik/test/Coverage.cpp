#include "test/Coverage.h"

#include <tavik/RuleOrigins.h>

#include <optional>
#include <set>
#include <utility>

namespace tavik::tool {
namespace {

/// A selector of the device's rules; empty if it is missing or of another kind.
std::string selector(const Value* value) { return std::string(value == nullptr ? "" : value->ifString().value_or("")); }

std::set<std::string_view> namesIn(const std::vector<RuleExpectation>& expectations) {
  std::set<std::string_view> names;
  for (const RuleExpectation& expectation : expectations) names.insert(expectation.rule);
  return names;
}

}  // namespace

void Coverage::Group::insert(std::vector<std::string> names) {
  if (places.emplace(names, items.size()).second) items.push_back({std::move(names), {}});
}

void Coverage::Group::add(const std::vector<std::string>& names, bool pass) {
  const auto place = places.find(names);
  if (place != places.end()) items[place->second].seen.add(pass);
}

Coverage::Coverage(const Dictionary& library, const Dictionary& localRules) {
  const RuleOrigins origins(library, localRules);
  for (const auto& [partNumber, region] : origins.deviceKinds()) {
    if (partNumber != nullptr) partNumbers_.insert({selector(partNumber)});
    if (region != nullptr) regions_.insert({selector(partNumber), selector(region)});
    std::optional<Error> error;
    const std::optional<RuleOrigins::Device> device = origins.of(partNumber, region, error);
    if (!device) continue;  // such devices get no rules
    for (const RuleOrigin& rule : device->rules) rules_.insert({std::string(rule.name)});
  }
}

void Coverage::add(const RuleTest& test, const CheckOutcome& outcome) {
  const std::set<std::string_view> named = namesIn(test.expected.rules);
  for (const Value& record : outcome.ruleRecords()) {
    const std::string_view rule = record.ifDictionary()->findString("rule").value_or("");
    const bool asked = test.expected.others != OtherRules::kAny || named.contains(rule);
    if (asked) rules_.add({std::string(rule)}, passed(record));
  }
  if (outcome.verdict == Verdict::kNone) return;
  const bool pass = outcome.verdict == Verdict::kPassed;
  const std::string partNumber = selector(test.attributes.find("ModelNumber"));
  partNumbers_.add({partNumber}, pass);
  regions_.add({partNumber, selector(test.attributes.find("RegionInfo"))}, pass);
}

}  // namespace tavik::tool
