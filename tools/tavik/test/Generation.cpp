#include "test/Generation.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "io/Json.h"
#include "text/Text.h"

namespace tavik::tool {
namespace {

constexpr std::string_view kGoodName = "the good device passes";

std::string quoted(std::string_view name) { return "\"" + shortened(visible(name), 60) + "\""; }

/// Why no case was found in which the rule fails.
std::string_view whyNotFailing(const RuleFacts& facts) {
  const auto isSelector = [](const RuleOperand& operand) {
    return !operand.source && (operand.name == "ModelNumber" || operand.name == "RegionInfo");
  };
  if (facts.cannotFail()) return "cannot fail on a device that has what it reads";
  if (std::ranges::all_of(facts.operands(), isSelector))
    return "reads only the part number or region, which also select the rules";
  return "does not fail after any small change of what it reads";
}

/// The kinds with other selectors than the device.
std::vector<DeviceKind> otherKinds(const std::vector<DeviceKind>& all, const IndexedRules& own) {
  std::vector<DeviceKind> others = all;
  std::erase_if(others, [&](const DeviceKind& kind) { return includes(kind, own.selectors()); });
  return others;
}

}  // namespace

Generation::Generation(const RuleOrigins& origins, const Dictionary& attributes, const Dictionary& sources,
                       const Dictionary& station)
    : kinds_(origins),
      device_(attributes, sources, kinds_.of(attributes)),
      search_(device_, kinds_),
      casesByRule_(device_.kind().rules().size()) {
  if (!station.empty()) good_.station = station;
  for (std::size_t number = 0; number < casesByRule_.size(); ++number) failRule(number);
  const EffectiveEntries entries(origins);
  otherKinds_ = otherKinds(entries.kinds, device_.kind());
  forEachMutant(entries, [&](const Mutant& mutant) { catchMutant(mutant); });
}

void Generation::failRule(std::size_t number) {
  const RuleOrigin& rule = device_.kind().rules()[number];
  const RuleFacts& facts = device_.kind().facts()[number];
  auto found = facts.cannotFail() ? std::nullopt : search_.failing(number);
  if (!found) {
    expectOfGoodDevice({std::string(rule.name), true, {{"result", Value(true)}}});
    remarks_.push_back(fmt::format("{} {}", quoted(rule.name), whyNotFailing(facts)));
    return;
  }
  remarkOnOthers(rule, *found);
  addCase(*std::move(found));
}

void Generation::remarkOnOthers(const RuleOrigin& rule, const FoundCase& found) {
  if (found.alsoFailing.empty()) return;
  constexpr std::size_t kMost = 3;
  std::string others;
  for (std::size_t i = 0; i < std::min(kMost, found.alsoFailing.size()); ++i) {
    others += (i == 0 ? "" : ", ") + quoted(found.alsoFailing[i]);
  }
  if (found.alsoFailing.size() > kMost) others += fmt::format(" and {} more", found.alsoFailing.size() - kMost);
  remarks_.push_back(fmt::format("{} does not fail alone: {} {} the same values", quoted(rule.name), others,
                                 found.alsoFailing.size() == 1 ? "checks" : "check"));
}

void Generation::addCase(FoundCase found) {
  const auto changed = device_.after(*found.change, kinds_);
  const bool isNew =
      changes_.emplace(found.change->operand, found.change->value ? toJson(*found.change->value) : "").second;
  const bool saysMore = found.expected.entries.size() > 1;  // than a result, which another case with this change says
  if (!changed || (!isNew && !saysMore)) return;
  const Case& added = cases_.emplace_back(std::move(found), *changed);
  for (const std::size_t reader : device_.kind().readers(added.found.change->operand)) {
    casesByRule_[reader].push_back(&added);
  }
}

void Generation::expectOfGoodDevice(const RuleExpectation& expected) {
  const auto known = std::ranges::find(good_.rules, expected.rule, &RuleExpectation::rule);
  if (known == good_.rules.end()) {
    good_.rules.push_back(expected);
  } else {
    known->entries.setAll(expected.entries);
  }
}

bool Generation::isCaught(const MutantEffect& effect) const {
  if (MutantJudge(good_, device_).catches(effect)) return true;
  return std::ranges::any_of(effect.rules, [&](const ChangedRule& changed) {
    return std::ranges::any_of(casesByRule_[changed.number],
                               [&](const Case* one) { return one->judge.catches(effect); });
  });
}

void Generation::catchMutant(const Mutant& mutant) {
  const MutantEffect effect(mutant, device_.kind());
  if (effect.empty()) return leaveTo(mutant.kind);
  const auto catches = [&](const ChangedRule& changed) { return catchChange(changed); };
  if (isCaught(effect) || (std::ranges::any_of(effect.rules, catches) && isCaught(effect))) {
    ++caught_;
  } else if (const auto kind = kindShowing(mutant, device_, otherKinds_, kinds_)) {
    leaveTo(*kind);
  } else {
    ++survivors_;
    remarks_.push_back(fmt::format("no small change of the device shows this mutant: {}: {}", quoted(mutant.subject),
                                   visible(mutant.change)));
  }
}

void Generation::leaveTo(const DeviceKind& kind) { ++left_[kindText(kind)]; }

bool Generation::catchChange(const ChangedRule& changed) {
  auto found = search_.catching(changed);
  if (!found) return false;
  if (found->change) {
    addCase(*std::move(found));
  } else {
    expectOfGoodDevice(found->expected);
  }
  return true;
}

Array Generation::cases() const {
  Dictionary expect;
  Dictionary rules;
  for (const RuleExpectation& one : good_.rules) rules.set(one.rule, inCaseFile(one));
  if (!rules.empty()) expect.set("rules", rules);
  expect.set("others", "pass");
  if (good_.station) expect.set("station", *good_.station);
  Array cases = Array::of(Dictionary{{"name", kGoodName}, {"expect", expect}});
  std::set<std::string> names = {std::string(kGoodName)};
  for (const Case& one : cases_) {
    Dictionary entries = one.found.inCaseFile(device_);
    const std::string name(*entries.findString("name"));
    std::string unique = name;
    for (std::size_t number = 2; !names.insert(unique).second; ++number) unique = fmt::format("{} ({})", name, number);
    entries.set("name", unique);
    cases.append(entries);
  }
  return cases;
}

Array Generation::comments() const {
  Array comments;
  comments.append(
      Value(fmt::format("{} of {} mutants that concern this device caught", caught_, caught_ + survivors_)));
  for (const std::string& remark : remarks_) comments.append(Value(remark));
  for (const auto& [kind, count] : left_) {
    comments.append(Value(fmt::format("{} of other devices: generate cases for {}", counted(count, "mutant"), kind)));
  }
  return comments;
}

}  // namespace tavik::tool
