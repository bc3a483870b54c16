#include "test/MutationRun.h"

#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <utility>

#include "io/Json.h"
#include "test/CaseSearch.h"
#include "test/MutantJudge.h"
#include "text/Text.h"

namespace tavik::tool {
namespace {

constexpr std::size_t kLongestName = 60;
constexpr std::size_t kMostKindSearches = 200;  ///< they are slow

std::string shortName(std::string_view name) { return shortened(visible(name), kLongestName); }

std::string adviceFor(const FoundCase& found, std::string_view basis) {
  const std::string rule = shortName(found.expected.rule);
  const std::string expected = shortJson(inCaseFile(found.expected), 100);
  if (!found.change) return fmt::format(R"(in "{}", expect "{}": {})", shortName(basis), rule, expected);
  return fmt::format(R"(add a case like "{}", but {}; expect "{}": {})", shortName(basis), found.changeText(), rule,
                     expected);
}

/// The device of a case, from which cases are searched.
struct Base {
  const RuleTest* test;
  const Device* device;
  CaseSearch search;
};

class MutationRun {
 public:
  MutationRun(const RuleOrigins& origins, const EffectiveEntries& entries, std::span<const RuleTest* const> tests)
      : cache_(origins), entries_(entries), tests_(tests) {
    for (const RuleTest* test : tests) {
      std::shared_ptr<const DeviceRules> rules = cache_.of(test->attributes);
      std::optional<Device> device;
      if (rules) device.emplace(test->attributes, test->sources, std::move(rules));
      judges_.emplace_back(test->expected, std::move(device));
    }
  }

  [[nodiscard]] bool isCaught(const Mutant& mutant) const {
    return std::ranges::any_of(judges_, [&](const MutantJudge& judge) { return judge.catches(mutant); });
  }

  /// Adds the case that would catch the mutant to its entries: "advice" in words, "based_on" and "case" if it was
  /// found.
  void advise(const Mutant& mutant, Dictionary& survivor) {
    constexpr std::size_t kMostKinds = 4;
    std::size_t tried = 0;
    for (Base& base : bases()) {
      const MutantEffect effect(mutant, base.device->rules());
      if (!effect.rules.empty() && ++tried <= kMostKinds && suggest(effect, base, survivor)) return;
    }
    const auto kind = untestedKind(mutant);
    survivor.set("advice", Value(kind ? "add a case with a device of " + shortName(kindText(*kind))
                                      : "no small change of the cases' devices shows the difference"));
  }

 private:
  /// One for each kind of device that cases check: the device for which the fewest rules fail.
  std::vector<Base>& bases() {
    if (std::exchange(hasBases_, true)) return bases_;
    for (std::size_t number = 0; number < judges_.size(); ++number) {
      if (!judges_[number].isComplete()) continue;
      const Device& device = *judges_[number].device();
      Base base{tests_[number], &device, CaseSearch(device, cache_)};
      const auto isSameKind = [&](const Base& other) { return &other.device->rules() == &device.rules(); };
      const auto known = std::ranges::find_if(bases_, isSameKind);
      if (known == bases_.end()) {
        bases_.push_back(std::move(base));
      } else if (base.search.failures() < known->search.failures()) {
        *known = std::move(base);
      }
    }
    return bases_;
  }

  [[nodiscard]] bool isTested(const DeviceKind& kind) {
    return std::ranges::any_of(bases(),
                               [&](const Base& base) { return includes(kind, base.device->rules().selectors()); });
  }

  /// A kind of device that no case checks and that shows the mutant.
  std::optional<DeviceKind> untestedKind(const Mutant& mutant) {
    if (bases().empty() || (!mutant.definition && !isTested(mutant.kind))) return mutant.kind;
    if (++kindSearches_ > kMostKindSearches) return std::nullopt;
    std::vector<DeviceKind> untested = entries_.kinds;
    std::erase_if(untested, [&](const DeviceKind& kind) { return isTested(kind); });
    return kindShowing(mutant, *bases().front().device, untested, cache_);
  }

  static bool suggest(const MutantEffect& effect, Base& base, Dictionary& survivor) {
    for (const MutatedRule& changed : effect.rules) {
      const auto found = base.search.catching(changed);
      if (!found) continue;
      survivor.set("advice", Value(adviceFor(*found, base.test->name)));
      survivor.set("based_on", Value(base.test->name));
      survivor.set("case", found->inCaseFile(*base.device));
      return true;
    }
    return false;
  }

  DeviceRulesCache cache_;
  const EffectiveEntries& entries_;
  std::span<const RuleTest* const> tests_;
  std::vector<MutantJudge> judges_;
  std::vector<Base> bases_;
  bool hasBases_ = false;
  std::size_t kindSearches_ = 0;
};

/// One object of the JSON format, or one line.
std::string survivorText(const Dictionary& survivor, bool asJson) {
  if (asJson) return toJson(survivor);
  const auto entry = [&](std::string_view key) { return *survivor.findString(key); };
  return fmt::format("{}: {} ({}): {}\n", shortName(entry("subject")), visible(entry("change")),
                     shortName(entry("location")), entry("advice"));
}

}  // namespace

void runMutants(const RuleOrigins& origins, const std::string& library, const std::string& rules,
                std::span<const RuleTest* const> tests, MutationResults& results) {
  const EffectiveEntries entries(origins);
  MutationRun run(origins, entries, tests);
  forEachMutant(entries, [&](const Mutant& mutant) {
    ++results.mutants;
    if (run.isCaught(mutant)) {
      ++results.caught;
      return;
    }
    Dictionary survivor{{"library", library},        {"local_rules", rules},    {"mutation", Value(mutant.mutation)},
                        {"subject", mutant.subject}, {"change", mutant.change}, {"location", mutant.location}};
    run.advise(mutant, survivor);
    if (results.asJson && !results.survivors.empty()) results.survivors += ", ";
    results.survivors += survivorText(survivor, results.asJson);
  });
}

std::string MutationResults::text() const {
  if (!asJson) return fmt::format("{}{} of {} mutants caught\n", survivors, caught, mutants);
  return fmt::format("{{\"survivors\": [{}], \"caught\": {}, \"mutants\": {}}}\n", survivors, caught, mutants);
}

}  // namespace tavik::tool
