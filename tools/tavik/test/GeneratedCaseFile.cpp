#include "test/GeneratedCaseFile.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <set>
#include <utility>

#include "ExitStatus.h"
#include "check/Outcome.h"
#include "commands/CommonOptions.h"
#include "io/ArgumentName.h"
#include "io/Json.h"
#include "rules/HostPlatform.h"
#include "test/CaseSearch.h"
#include "test/MutantJudge.h"
#include "text/Terminal.h"
#include "text/Text.h"

namespace tavik::tool {
namespace {

constexpr std::string_view kGoodName = "the good device passes";

std::string inQuotes(std::string_view name) { return "\"" + shortened(visible(name), 60) + "\""; }

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

/// The cases for a good device: for each of its rules, the smallest change that makes the rule fail, and further cases
/// that catch mutants.
class Generation {
 public:
  /// The device passes all of its rules. station: the station dictionary after its check.
  Generation(const RuleOrigins& origins, const Dictionary& attributes, const Dictionary& sources,
             const Dictionary& station)
      : cache_(origins), device_(attributes, sources, cache_.of(attributes)), search_(device_, cache_) {
    if (!station.empty()) good_.station = station;
    for (std::size_t number = 0; number < device_.rules().rules().size(); ++number) failRule(number);
    const EffectiveEntries entries(origins);
    otherKinds_ = entries.kinds;
    std::erase_if(otherKinds_, [&](const DeviceKind& kind) { return includes(kind, device_.rules().selectors()); });
    forEachMutant(entries, [&](const Mutant& mutant) { catchMutant(mutant); });
  }

  /// The cases, as a case file spells them.
  [[nodiscard]] Array cases() const {
    Dictionary rules;
    for (const RuleExpectation& one : good_.rules) rules.set(one.rule, inCaseFile(one));
    Dictionary expect;
    if (!rules.empty()) expect.set("rules", rules);
    expect.set("others", "pass");
    if (good_.station) expect.set("station", *good_.station);
    Array cases = Array::of(Dictionary{{"name", kGoodName}, {"expect", expect}});
    std::set<std::string> names = {std::string(kGoodName)};
    for (const Case& one : cases_) {
      Dictionary entries = one.found.inCaseFile(device_);
      const std::string name(*entries.findString("name"));
      std::string unique = name;
      for (std::size_t i = 2; !names.insert(unique).second; ++i) unique = fmt::format("{} ({})", name, i);
      entries.set("name", unique);
      cases.append(entries);
    }
    return cases;
  }

  /// The share of mutants caught, and the rules and mutants without a case of their own, with the reason.
  [[nodiscard]] Array comments() const {
    Array comments = Array::of(fmt::format("{} of {} mutants that concern this device caught", caught_, mutants_));
    for (const std::string& remark : remarks_) comments.append(Value(remark));
    for (const auto& [kind, count] : left_) {
      comments.append(Value(fmt::format("{} of other devices: generate cases for {}", counted(count, "mutant"), kind)));
    }
    return comments;
  }

 private:
  struct Case {
    FoundCase found;
    MutantJudge judge;
    std::vector<std::size_t> rules;  ///< those whose records the change can affect
  };

  void failRule(std::size_t number) {
    const RuleFacts& facts = device_.rules().facts()[number];
    const std::string name(device_.rules().rules()[number].name);
    auto found = facts.cannotFail() ? std::nullopt : search_.catching({number, std::nullopt});
    if (!found || !found->change) {
      expectOfGoodDevice({name, true, {{"result", Value(true)}}});
      remarks_.push_back(fmt::format("{} {}", inQuotes(name), whyNotFailing(facts)));
      return;
    }
    if (!found->alsoFailing.empty()) remarkOnOthers(name, found->alsoFailing);
    add(*std::move(found));
  }

  void remarkOnOthers(const std::string& rule, std::vector<std::string> others) {
    for (std::string& other : others) other = inQuotes(other);
    remarks_.push_back(fmt::format("{} does not fail alone: {} {} the same values", inQuotes(rule), listed(others, 3),
                                   others.size() == 1 ? "checks" : "check"));
  }

  void catchMutant(const Mutant& mutant) {
    const MutantEffect effect(mutant, device_.rules());
    if (effect.empty()) return leaveTo(mutant.kind);
    if (isCaught(effect) || (findCase(effect) && isCaught(effect))) {
      ++caught_;
    } else if (const auto kind = kindShowing(mutant, device_, otherKinds_, cache_)) {
      return leaveTo(*kind);
    } else {
      remarks_.push_back(fmt::format("no small change of the device shows this mutant: {}: {}",
                                     inQuotes(mutant.subject), visible(mutant.change)));
    }
    ++mutants_;
  }

  void leaveTo(const DeviceKind& kind) { ++left_[kindText(kind)]; }

  [[nodiscard]] bool isCaught(const MutantEffect& effect) {
    if (!goodJudge_) goodJudge_.emplace(good_, device_);
    if (goodJudge_->catches(effect)) return true;
    return std::ranges::any_of(cases_, [&](const Case& one) {
      const auto isAffected = [&](const MutatedRule& changed) {
        return std::ranges::binary_search(one.rules, changed.number);
      };
      return std::ranges::any_of(effect.rules, isAffected) && one.judge.catches(effect);
    });
  }

  bool findCase(const MutantEffect& effect) {
    for (const MutatedRule& changed : effect.rules) {
      auto found = search_.catching(changed);
      if (!found) continue;
      if (found->change) {
        add(*std::move(found));
      } else {
        expectOfGoodDevice(found->expected);
      }
      return true;
    }
    return false;
  }

  void add(FoundCase found) {
    auto changed = device_.after(*found.change, cache_);
    const bool isNew =
        changes_.emplace(found.change->operand, found.change->value ? toJson(*found.change->value) : "").second;
    const bool saysMore = found.expected.entries.size() > 1;  // than a result, which a case with this change says
    if (!changed || (!isNew && !saysMore)) return;
    const Expectation expectation = found.expectation();
    std::vector<std::size_t> rules = device_.rules().readers(found.change->operand);
    cases_.push_back({std::move(found), MutantJudge(expectation, std::move(changed)), std::move(rules)});
  }

  void expectOfGoodDevice(const RuleExpectation& expected) {
    goodJudge_.reset();
    const auto known = std::ranges::find(good_.rules, expected.rule, &RuleExpectation::rule);
    if (known == good_.rules.end()) {
      good_.rules.push_back(expected);
    } else {
      known->entries.setAll(expected.entries);
    }
  }

  DeviceRulesCache cache_;
  Device device_;
  CaseSearch search_;
  Expectation good_;  // of the device as it is
  std::optional<MutantJudge> goodJudge_;
  std::vector<Case> cases_;
  std::set<std::pair<RuleOperand, std::string>> changes_;
  std::vector<std::string> remarks_;
  std::vector<DeviceKind> otherKinds_;
  std::map<std::string, std::size_t> left_;  // mutants that need other devices, by kind of device
  std::size_t caught_ = 0;
  std::size_t mutants_ = 0;
};

/// The rules that fail, with what they found and expected.
std::string failuresOf(const CheckOutcome& outcome) {
  std::vector<std::string> failures;
  for (const Value& record : outcome.ruleRecords()) {
    const auto entry = [&](std::string_view key) { return shortened(lineOf(record.ifDictionary()->find(key)), 60); };
    if (!passed(record))
      failures.push_back(
          fmt::format("\"{}\" (actual {}, expected {})", entry("rule"), entry("actual"), entry("expected")));
  }
  return listed(failures, 5);
}

CheckOutcome checkGoodDevice(const ReadyRules& rules, const std::string& name, const Dictionary& attributes,
                             const Dictionary& sources) {
  CheckOutcome outcome = runCheck(rules.prepared(), attributes, sources);
  if (outcome.verdict == Verdict::kNone)
    throw Failure(statusOf(outcome), fmt::format("{}: the device cannot be checked: {}", name, outcome.reason->text()));
  if (outcome.verdict == Verdict::kFailed)
    throw Failure(statusOf(outcome),
                  fmt::format("{}: the device must pass, but these rules fail: {}", name, failuresOf(outcome)));
  return outcome;
}

}  // namespace

std::string generatedCaseFile(const TestOptions& options) {
  Inputs inputs;
  warnAboutTrust("test", options.platform);
  ReadyRules rules({*options.library, *options.rules, options.platform}, inputs);
  const Dictionary attributes = inputs.dictionary("--generate", *options.generate);
  const Dictionary sources = readSources(inputs, options.sources);
  const CheckOutcome outcome = checkGoodDevice(rules, nameOf("--generate", *options.generate), attributes, sources);
  rules.checkLog();
  const Generation generation(rules.origins(), attributes, sources, outcome.station);
  Dictionary file{{"comment", generation.comments()}, {"library", *options.library}, {"rules", *options.rules}};
  if (options.platform.unsignedDocuments) file.set("unsigned", Value(true));
  if (options.platform.publicKey) file.set("publicKey", Value(*options.platform.publicKey));
  file.set("attributes", attributes);
  if (!sources.empty()) file.set("sources", sources);
  file.set("cases", generation.cases());
  return toJson(file, JsonLayout::kIndented) + "\n";
}

}  // namespace tavik::tool
