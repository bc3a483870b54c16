// The rules of all kinds of devices, compared with the library's result for each kind.

#include "rules/KindRules.h"

#include <map>
#include <string>
#include <tuple>

#include "support/RandomDocuments.h"
#include "support/TestSupport.h"

namespace tavik::tool {
namespace {

using Effective = std::tuple<std::string_view, LocalEntry::Layer, std::string_view, const Value*, const Dictionary*>;

std::vector<Effective> rulesOf(const KindRules::Kind& kind) {
  std::map<EvaluationPlace, Effective> rules;
  for (const RulePart* part = kind.part; part != nullptr; part = part->base()) {
    for (const auto& [name, definition, entry] : part->rules()) {
      rules[KindRules::placeOf(kind, name)] = {name, entry.layer, entry.set, entry.content, definition};
      EXPECT_EQ(part->find(name)->entry.content, entry.content);
    }
  }
  std::vector<Effective> sorted;
  for (const auto& [place, rule] : rules) sorted.push_back(rule);
  return sorted;
}

std::vector<Effective> rulesOf(const RuleOrigins::Device& device) {
  std::vector<Effective> rules;
  for (const RuleOrigin& rule : device.rules) {
    const LocalEntry& last = rule.entries.back();
    rules.emplace_back(rule.name, last.layer, last.set, last.content, rule.definition);
  }
  return rules;
}

std::optional<std::string> textOf(const Value* name) {
  return name == nullptr ? std::nullopt : std::optional<std::string>(*name->ifString());
}

TEST(KindRules, EqualTheRulesOfEachKind) {
  std::size_t accepted = 0;
  std::size_t refused = 0;
  std::mt19937_64 random(20261122);
  for (int document = 0; document < 6000; ++document) {
    const RuleDocuments documents = randomDocuments(random);
    const KindRules rules(documents.library, documents.rules.value_or(Dictionary()));
    for (const KindRules::Kind& kind : rules.kinds()) {
      const auto& [partNumber, region] = kind.selectors;
      EXPECT_EQ(rules.find(textOf(partNumber), textOf(region)), &kind);
      std::optional<Error> error;
      const auto device = rules.origins().of(partNumber, region, error);
      ASSERT_EQ(kind.refusal.has_value(), error.has_value());
      ++(error ? refused : accepted);
      if (error) {
        EXPECT_EQ(kind.refusal->localizedDescription(), error->localizedDescription());
      } else {
        EXPECT_EQ(rulesOf(kind), rulesOf(*device));
      }
    }
    for (const RulePart& part : rules.parts()) {
      for (const std::size_t member : part.kinds()) {
        const RulePart* own = rules.kinds()[member].part;
        while (own != &part && own->base() != nullptr) own = own->base();
        EXPECT_EQ(own, &part);
      }
    }
  }
  EXPECT_GT(accepted, 1000U);
  EXPECT_GT(refused, 1000U);
}

}  // namespace
}  // namespace tavik::tool
