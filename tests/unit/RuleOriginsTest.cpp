// Origins of rules: the layers, and the same rules and errors as in a check.

#include <tavik/RuleOrigins.h>

#include "support/Cases.h"
#include "support/TestSupport.h"

namespace tavik {
namespace {

using testing::ElementsAre;

std::string layerOf(const LocalEntry& entry) {
  const std::string_view names[] = {"part number", "region", "generic", "set "};
  const std::string value = entry.value() == nullptr ? "" : "=" + description(entry.value());
  return std::string(names[static_cast<std::size_t>(entry.layer)]) + std::string(entry.set) + value;
}

// "NAME: LAYER=VALUE < LAYER, expects VALUE"
template <class Origin>
std::string lineOfOrigin(const Origin& origin) {
  std::string line = std::string(origin.name) + ":";
  for (const LocalEntry& entry : origin.entries) line += (&entry == &origin.entries[0] ? " " : " < ") + layerOf(entry);
  return line;
}

std::vector<std::string> linesOf(const std::vector<RuleOrigin>& rules) {
  std::vector<std::string> lines;
  for (const RuleOrigin& rule : rules) lines.push_back(lineOfOrigin(rule) + ", expects " + description(rule.value()));
  return lines;
}

TEST(RuleOrigins, LayersInOrderOfReplacement) {
  const RuleOrigins origins(parsedDictionary(R"({
    version = 1; Color = { attribute = C; value = sand; }; Size = { attribute = S; }; Build = { value = 9; };
  })"),
                            parsedDictionary(R"({
    version = 1;
    MPNRules = { A = { Color = { value = red; }; Size = { value = 1; }; OneRuleSet = {};
                       RegionRules = { EU = { Size = { value = 2; }; Build = {}; }; US = {}; };
                       TwoRuleSet = { value = unused; }; }; };
    GenericRules = { Size = {}; OneRuleSet = {}; Color = {}; };
    RuleSets = { OneRuleSet = { Size = { value = 3; }; TwoRuleSet = {}; ThreeRuleSet = {}; };
                 TwoRuleSet = { Color = { value = blue; }; OneRuleSet = {}; Unknown = {}; }; };
  })"));
  std::optional<Error> error;
  const Value partNumber("A");
  const Value region("EU");
  const auto device = origins.of(&partNumber, &region, error);
  ASSERT_TRUE(device);
  EXPECT_THAT(linesOf(device->rules),
              ElementsAre("Color: part number=red < generic < set TwoRuleSet=blue, expects blue",
                          "Size: part number=1 < region=2 < generic < set OneRuleSet=3, expects 3",
                          "Build: region, expects 9", "ThreeRuleSet: set OneRuleSet, expects (null)",
                          // Sets are expanded once; OneRuleSet is added by a later set.
                          "OneRuleSet: set TwoRuleSet, expects (null)", "Unknown: set TwoRuleSet, expects (null)"));
  ASSERT_EQ(device->sets.size(), 2U);
  EXPECT_EQ(lineOfOrigin(device->sets[0]), "OneRuleSet: part number < generic");
  EXPECT_EQ(lineOfOrigin(device->sets[1]), "TwoRuleSet: part number=unused < set OneRuleSet");
  EXPECT_EQ(device->rules[0].rule(), parsedDictionary("{ attribute = C; value = blue; }"));
  EXPECT_EQ(device->rules[5].definition, nullptr);
  EXPECT_FALSE(error);
}

TEST(RuleOrigins, KindsOfDevices) {
  for (const Case& c : casesIn("device-kinds.json")) {
    std::string kinds;
    const RuleOrigins origins({}, parsedDictionary(c["rules"]));
    for (const DeviceKind& kind : origins.deviceKinds()) {
      kinds += (kinds.empty() ? "" : ", ") + description(kind.partNumber) + " " + description(kind.region);
    }
    EXPECT_EQ(kinds, c["kinds"]) << c["rules"];
  }
}

}  // namespace
}  // namespace tavik
