#include "lint/Experience.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <set>

#include "check/Outcome.h"

namespace tavik::tool::lint {
namespace {

constexpr std::size_t kMostEvaluations = 100'000;

ExampleNames namesOf(const std::vector<ExampleDevice>& devices) {
  std::map<std::string_view, std::set<std::string_view>> names;
  for (const ExampleDevice& device : devices) {
    device.forEachName([&](std::string_view source, std::string_view name) { names[source].insert(name); });
  }
  ExampleNames all;
  for (const auto& [source, own] : names) all[source].assign(own.begin(), own.end());
  return all;
}

}  // namespace

bool Experience::Case::fails() const { return evaluation.fault || (evaluation.record && !passed(*evaluation.record)); }

bool Experience::isTypical(const std::function<bool(const Case&)>& holds) const {
  return (cases.size() > 1 || cases[0].failsAlone) && std::ranges::all_of(cases, holds);
}

std::string Experience::whom() const {
  return cases.size() == 1 ? "The only example device that gets the rule"
                           : fmt::format("Each of the {} example devices that get the rule", cases.size());
}

Experiences::Experiences(const LintedDocuments& documents) : names_(namesOf(documents.devices)) {
  for (const LocalRules& local : documents.localRules) {
    for (const ExampleDevice& device : documents.devices) {
      if (evaluations_ < kMostEvaluations) add(documents, local, device);
    }
  }
}

void Experiences::add(const LintedDocuments& documents, const LocalRules& local, const ExampleDevice& device) {
  std::optional<Error> error;
  const Dictionary& attributes = device.attributes();
  const auto rules = local.kinds.origins().of(attributes.find("ModelNumber"), attributes.find("RegionInfo"), error);
  if (!rules) return;
  std::vector<Experience::Case*> failing;
  for (const RuleOrigin& origin : rules->rules) {
    if (documents.definition(origin.name) == nullptr) continue;
    ++evaluations_;
    const Entry* entry = local.entryOf(origin.entries.back().content);
    Experience& experience =
        all_.try_emplace({origin.name, origin.value()}, Experience{entry, origin.name, &names_}).first->second;
    experience.cases.push_back({&device, device.evaluator.evaluate(origin)});
    if (experience.cases.back().fails()) failing.push_back(&experience.cases.back());
  }
  if (failing.size() == 1) failing[0]->failsAlone = true;
}

}  // namespace tavik::tool::lint
