// Where rules come from: every layer by name, and the same rules and errors as in a check.

#include <tavik/RuleOrigins.h>

#include <algorithm>
#include <map>
#include <random>

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

TEST(RuleOrigins, NamesEveryLayerInTheOrderInWhichEntriesReplaceEachOther) {
  const RuleOrigins origins(parsedDictionary(R"({
    version = 1; Color = { attribute = C; value = sand; }; Size = { attribute = S; }; Build = { value = 9; };
  })"),
                            parsedDictionary(R"({
    version = 1;
    MPNRules = { A = { Color = { value = red; }; Size = { value = 1; }; OneRuleSet = {};
                       RegionRules = { EU = { Size = { value = 2; }; Build = {}; }; US = {}; };
                       TwoRuleSet = { value = nobody; reads = this; }; }; };
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
                          // The set was expanded before another one brought its name in.
                          "OneRuleSet: set TwoRuleSet, expects (null)", "Unknown: set TwoRuleSet, expects (null)"));
  ASSERT_EQ(device->sets.size(), 2U);
  EXPECT_EQ(lineOfOrigin(device->sets[0]), "OneRuleSet: part number < generic");
  EXPECT_EQ(lineOfOrigin(device->sets[1]), "TwoRuleSet: part number=nobody < set OneRuleSet");
  EXPECT_EQ(device->rules[0].rule(), parsedDictionary("{ attribute = C; value = blue; }"));
  EXPECT_EQ(device->rules[5].definition, nullptr);
  EXPECT_FALSE(error);
}

TEST(RuleOrigins, KnowsEveryKindOfDevice) {
  const struct {
    const char* rules;
    std::vector<std::string> kinds;
  } cases[] = {
      {"{ version = 1; GenericRules = {}; }", {"(null) (null)"}},
      {"{ MPNRules = malformed; }", {"(null) (null)"}},
      {"{ MPNRules = {}; }", {}},
      {"{ MPNRules = { B = { RegionRules = { US = {}; EU = malformed; }; }; A = { X = {}; }; }; }",
       {"B US", "B EU", "A (null)"}},
      {"{ MPNRules = { A = { RegionRules = {}; }; B = malformed; C = { RegionRules = malformed; }; }; }",
       {"B (null)", "C (null)"}},
  };
  for (const auto& c : cases) {
    std::vector<std::string> kinds;
    const RuleOrigins origins({}, parsedDictionary(c.rules));
    for (const DeviceKind& kind : origins.deviceKinds()) {
      kinds.push_back(description(kind.partNumber) + " " + description(kind.region));
    }
    EXPECT_EQ(kinds, c.kinds) << c.rules;
  }
}

// Documents of a few names that collide in every layer, with something malformed or unknown here and there.
class RandomDocuments {
 public:
  explicit RandomDocuments(unsigned seed) : random_(seed) {}

  Dictionary library() {
    Dictionary library{{"version", Value(1)}};
    for (const char* name : kNames) {
      if (chance(70)) library.set(name, Dictionary{{"attribute", "X"}, {chance(50) ? "value" : "domain", Value(1)}});
    }
    return library;
  }

  Dictionary rules() {
    Dictionary rules{{"version", Value(1)}};
    if (chance(85)) rules.set("MPNRules", maybeBroken(partNumbers()));
    if (chance(85)) rules.set("GenericRules", maybeBroken(entries()));
    Dictionary sets;
    for (const char* name : {"aRuleSet", "bRuleSet"}) {
      if (chance(90)) sets.set(name, maybeBroken(entries()));
    }
    if (chance(90)) rules.set("RuleSets", maybeBroken(std::move(sets)));
    return rules;
  }

 private:
  static constexpr const char* kNames[] = {"A", "B", "C", "aRuleSet", "bRuleSet"};

  bool chance(unsigned percent) { return random_() % 100 < percent; }
  Value maybeBroken(Dictionary value) { return chance(3) ? Value("broken") : Value(std::move(value)); }

  Dictionary entries() {
    Dictionary entries;
    for (std::size_t i = random_() % 4; i > 0; --i) {
      entries.set(kNames[random_() % std::size(kNames)],
                  maybeBroken(chance(50) ? Dictionary() : Dictionary{{"value", Value(int(random_() % 9))}}));
    }
    return entries;
  }

  Dictionary partNumbers() {
    Dictionary table;
    for (const char* partNumber : {"P", "Q"}) {
      Dictionary entry = entries();
      if (chance(60)) {
        entry.set("RegionRules", maybeBroken({{"EU", maybeBroken(entries())}, {"US", maybeBroken(entries())}}));
        for (const auto [name, value] : Dictionary(entries())) entry.set(name, value);
      }
      table.set(partNumber, maybeBroken(std::move(entry)));
    }
    return table;
  }

  std::mt19937 random_;
};

std::string textOf(const Dictionary& document) {
  const Value value(document);
  return description(&value);
}

std::vector<std::string> inOrder(const Dictionary& rules) {
  std::vector<std::string> lines;
  for (const auto [name, rule] : rules) lines.push_back(std::string(name) + " " + description(&rule));
  return lines;
}

// Who names what, as the layers say it: "NAME: LAYER=VALUE < LAYER", sorted. A name in layers before that of its set
// stands for the set.
std::vector<std::string> linesOf(std::span<const LocalLayer> layers) {
  std::map<std::string, std::string> open;
  std::vector<std::string> lines;
  for (const LocalLayer& layer : layers) {
    if (const auto set = open.find(std::string(layer.set)); layer.layer == LocalEntry::Layer::kSet) {
      EXPECT_NE(set, open.end());
      lines.push_back(set->first + set->second);
      open.erase(set);
    }
    std::size_t size = 0;
    for (auto item = layer.first; item != layer.last; ++item, ++size) {
      std::string& line = open[std::string((*item).key)];
      line += (line.empty() ? ": " : " < ") + layerOf({layer.layer, layer.set, &item.value()});
    }
    EXPECT_EQ(size, layer.size);
  }
  for (const auto& [name, line] : open) lines.push_back(name + line);
  std::ranges::sort(lines);
  return lines;
}

TEST(RuleOrigins, VisitsTheLayersThatRulesComeFrom) {
  std::size_t compared = 0;
  for (unsigned seed = 0; seed < 400; ++seed) {
    SCOPED_TRACE(seed);
    const RuleOrigins origins({}, RandomDocuments(seed).rules());
    origins.forEachKind([&](const DeviceKind& kind, std::span<const LocalLayer> layers) {
      const std::vector<std::string> lines = linesOf(layers);  // whatever is missing
      std::optional<Error> error;
      const auto device = origins.of(kind.partNumber, kind.region, error);
      if (!device) return;
      std::vector<std::string> expected;
      for (const RuleOrigin& rule : device->rules) expected.push_back(lineOfOrigin(rule));
      for (const RuleSetOrigin& set : device->sets) expected.push_back(lineOfOrigin(set));
      std::ranges::sort(expected);
      EXPECT_EQ(lines, expected);
      ++compared;
    });
  }
  EXPECT_GT(compared, 400U);
}

TEST(RuleOrigins, AgreesWithTheRulesOfACheck) {
  std::size_t failures = 0;
  for (unsigned seed = 0; seed < 400; ++seed) {
    SCOPED_TRACE(seed);
    RandomDocuments documents(seed);
    const Dictionary library = documents.library();
    const Dictionary rules = documents.rules();
    const auto kernel = kernelWith(textOf(library), std::make_shared<TestPlatform>());
    const RuleOrigins origins(parsedDictionary(textOf(library)), rules);
    std::vector<Dictionary> devices = {{}, {{"ModelNumber", "P"}}, {{"ModelNumber", "Q"}, {"RegionInfo", "unknown"}}};
    for (const DeviceKind& kind : origins.deviceKinds()) {
      devices.emplace_back();
      devices.back().setOrRemove("ModelNumber", kind.partNumber);
      devices.back().setOrRemove("RegionInfo", kind.region);
    }
    for (const Dictionary& attributes : devices) {
      std::optional<Error> checkError;
      std::optional<Error> error;
      const auto expected = kernel->makeDeviceRules(rules, attributes, checkError);
      const auto device = origins.of(attributes.find("ModelNumber"), attributes.find("RegionInfo"), error);
      ASSERT_EQ(device.has_value(), expected.has_value());
      if (!device) {
        ++failures;
        ASSERT_EQ(error->code(), checkError->code());
        ASSERT_EQ(error->localizedDescription(), checkError->localizedDescription());
        continue;
      }
      Dictionary found;
      for (const RuleOrigin& rule : device->rules) found.set(rule.name, rule.rule());
      ASSERT_EQ(inOrder(found), inOrder(*expected));
      ASSERT_FALSE(error);
    }
  }
  EXPECT_GT(failures, 100U);  // both ways out were seen
}

}  // namespace
}  // namespace tavik
