#include "test/MutationRun.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <memory>
#include <utility>

#include "io/Json.h"
#include "test/CaseSearch.h"
#include "test/MutantJudge.h"
#include "test/Mutations.h"
#include "text/Text.h"

namespace tavik::tool {
namespace {

constexpr std::size_t kLongestName = 60;
constexpr std::size_t kMostKindSearches = 200;  ///< they are slow

std::string shortName(std::string_view name) { return shortened(visible(name), kLongestName); }

std::string adviceFor(const FoundCase& found, std::string_view basis) {
  const std::string rule = shortName(found.expected.rule);
  const std::string expected = shortened(visible(toJson(inCaseFile(found.expected))), 100);
  if (!found.change) return fmt::format(R"(in "{}", expect "{}": {})", shortName(basis), rule, expected);
  return fmt::format(R"(add a case like "{}", but {}; expect "{}": {})", shortName(basis), found.changeText(), rule,
                     expected);
}

class MutationRun {
 public:
  MutationRun(const RuleOrigins& origins, const EffectiveEntries& entries, std::span<const RuleTest* const> tests)
      : kinds_(origins), entries_(entries), tests_(tests) {
    for (const RuleTest* test : tests) {
      std::shared_ptr<const IndexedRules> kind = kinds_.of(test->attributes);
      std::optional<CaseDevice> device;
      if (kind) device.emplace(test->attributes, test->sources, std::move(kind));
      judges_.emplace_back(test->expected, std::move(device));
    }
  }

  [[nodiscard]] bool isCaught(const Mutant& mutant) const {
    return std::ranges::any_of(judges_, [&](const MutantJudge& judge) { return judge.catches(mutant); });
  }

  [[nodiscard]] Survivor survivor(const Mutant& mutant) {
    Survivor survivor{.mutation = mutant.mutation,
                      .subject = mutant.subject,
                      .change = mutant.change,
                      .location = mutant.location,
                      .advice = "no small change of the cases' devices shows the difference"};
    constexpr std::size_t kMostKinds = 4;
    std::size_t tried = 0;
    for (const std::size_t number : bases()) {
      const MutantEffect effect(mutant, judges_[number].device()->kind());
      if (effect.rules.empty() || ++tried > kMostKinds) continue;
      if (suggest(survivor, effect, number)) return survivor;
    }
    if (const auto kind = untestedKind(mutant))
      survivor.advice = "add a case with a device of " + shortName(kindText(*kind));
    return survivor;
  }

 private:
  /// For each kind of device that cases check, the number of a case: the one in which the fewest rules fail.
  const std::vector<std::size_t>& bases() {
    if (hasBases_) return bases_;
    hasBases_ = true;
    for (std::size_t number = 0; number < judges_.size(); ++number) {
      if (!judges_[number].isComplete()) continue;
      const auto isSameKind = [&](std::size_t base) {
        return &judges_[base].device()->kind() == &judges_[number].device()->kind();
      };
      const auto base = std::ranges::find_if(bases_, isSameKind);
      if (base == bases_.end()) {
        bases_.push_back(number);
      } else if (searchAt(number).failuresBefore() < searchAt(*base).failuresBefore()) {
        *base = number;
      }
    }
    return bases_;
  }

  [[nodiscard]] bool isTested(const DeviceKind& kind) {
    return std::ranges::any_of(
        bases(), [&](std::size_t base) { return includes(kind, judges_[base].device()->kind().selectors()); });
  }

  /// A kind of device that no case checks and that shows the mutant.
  std::optional<DeviceKind> untestedKind(const Mutant& mutant) {
    if (bases().empty() || (!mutant.definition && !isTested(mutant.kind))) return mutant.kind;
    if (++kindSearches_ > kMostKindSearches) return std::nullopt;
    std::vector<DeviceKind> untested;
    for (const DeviceKind& kind : entries_.kinds) {
      if (!isTested(kind)) untested.push_back(kind);
    }
    return kindShowing(mutant, *judges_[bases().front()].device(), untested, kinds_);
  }

  CaseSearch& searchAt(std::size_t number) {
    return searches_.try_emplace(number, *judges_[number].device(), kinds_).first->second;
  }

  bool suggest(Survivor& survivor, const MutantEffect& effect, std::size_t number) {
    for (const ChangedRule& changed : effect.rules) {
      const auto found = searchAt(number).catching(changed);
      if (!found) continue;
      survivor.basis = tests_[number]->name;
      survivor.advice = adviceFor(*found, *survivor.basis);
      survivor.newCase = found->inCaseFile(*judges_[number].device());
      return true;
    }
    return false;
  }

  IndexedRulesCache kinds_;
  const EffectiveEntries& entries_;
  std::span<const RuleTest* const> tests_;
  std::vector<MutantJudge> judges_;
  std::map<std::size_t, CaseSearch> searches_;  // by the number of the case
  std::vector<std::size_t> bases_;
  bool hasBases_ = false;
  std::size_t kindSearches_ = 0;
};

Value survivorValue(const MutationResults& results, const Survivor& survivor) {
  Dictionary entries{
      {"library", results.library},  {"local_rules", results.rules}, {"mutation", Value(survivor.mutation)},
      {"subject", survivor.subject}, {"change", survivor.change},    {"location", survivor.location},
      {"advice", survivor.advice}};
  if (survivor.newCase) {
    entries.set("based_on", Value(*survivor.basis));
    entries.set("case", *survivor.newCase);
  }
  return entries;
}

}  // namespace

void runMutants(const RuleOrigins& origins, std::span<const RuleTest* const> tests, MutationResults& results) {
  const EffectiveEntries entries(origins);
  MutationRun run(origins, entries, tests);
  forEachMutant(entries, [&](const Mutant& mutant) {
    ++results.mutants;
    if (!run.isCaught(mutant)) results.survivors.push_back(run.survivor(mutant));
  });
}

std::size_t mutantsOf(const std::vector<MutationResults>& all) {
  std::size_t total = 0;
  for (const MutationResults& results : all) total += results.mutants;
  return total;
}

std::size_t caughtOf(const std::vector<MutationResults>& all) {
  std::size_t total = 0;
  for (const MutationResults& results : all) total += results.mutants - results.survivors.size();
  return total;
}

std::string mutationText(const std::vector<MutationResults>& all) {
  std::string text;
  for (const MutationResults& results : all) {
    for (const Survivor& survivor : results.survivors) {
      text += fmt::format("{}: {} ({}): {}\n", shortName(survivor.subject), visible(survivor.change),
                          shortName(survivor.location), survivor.advice);
    }
  }
  return text + fmt::format("{} of {} mutants caught\n", caughtOf(all), mutantsOf(all));
}

std::string mutationJson(const std::vector<MutationResults>& all) {
  Array survivors;
  for (const MutationResults& results : all) {
    for (const Survivor& survivor : results.survivors) survivors.append(survivorValue(results, survivor));
  }
  return toJson(Dictionary{{"survivors", survivors},
                           {"caught", Value(static_cast<std::int64_t>(caughtOf(all)))},
                           {"mutants", Value(static_cast<std::int64_t>(mutantsOf(all)))}}) +
         "\n";
}

}  // namespace tavik::tool
