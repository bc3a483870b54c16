// Check runs: records and their order, log lines, early exits, errors, faults, the station dictionary.

#include "support/Cases.h"
#include "support/TestSupport.h"

namespace tavik {
namespace {

using testing::Contains;
using testing::ElementsAre;

// A kernel with its log, and the outputs of a run.
struct Host {
  explicit Host(std::string_view library) : kernel(kernelWith(library, platform)) {}

  std::vector<std::string> check(std::string_view device, std::string_view local, std::string_view sources = "{}") {
    const Dictionary rules = parsedDictionary(local);
    const Dictionary sourceValues = parsedDictionary(sources);
    platform->lines.clear();
    return linesOf(kernel->check(parsedDictionary(device), &rules, &sourceValues, &station, error));
  }

  // The records after the three version records.
  std::vector<std::string> rules(std::string_view device, std::string_view local, std::string_view sources = "{}") {
    auto lines = check(device, local, sources);
    if (lines.size() >= 3) lines.erase(lines.begin(), lines.begin() + 3);
    return lines;
  }

  std::shared_ptr<TestPlatform> platform = std::make_shared<TestPlatform>();
  std::unique_ptr<ZRTTavikKernel> kernel;
  std::optional<Error> error;
  Dictionary station;
};

// tests/cli/cases/check-json.json has the other early exits.
TEST(CheckRunTest, EarlyExits) {
  Host host("{ version = 7; R = { attribute = a; predicate = isUppercase; }; }");
  host.error = host.kernel->handleError(-1, "previous");
  EXPECT_THAT(linesOf(host.kernel->check({}, nullptr, nullptr, host.error)),
              ElementsAre("valid local rules: FAIL, null local rules, non-null local rules"));
  EXPECT_THAT(host.check("{}", "{ untrusted = \"another key\"; }"),
              ElementsAre("Valid Product Rules: FAIL, another key, valid rule lists"));
  for (const char* empty : {"{}", "{ nothing = yes; }"}) {
    EXPECT_THAT(host.check("{}", empty),
                ElementsAre("valid local rules: FAIL, emtpy local rules, non-empty local rules"));
  }
  EXPECT_EQ(host.error->localizedDescription(), "previous");
  EXPECT_THAT(host.rules("{}", "{ version = 8; }"),
              ElementsAre("Device Rules: FAIL, no rules specified, valid rule lists"));
  EXPECT_FALSE(host.error) << "cleared before assembly";
}

TEST(CheckRunTest, OrderOfRecordsAndLogLines) {
  Host host(R"({
    version = 7;
    Second = { attribute = s; predicate = hasPrefix; value = S; hideResult = no; };
    "No Attribute x" = { attribute = x; predicate = "a b c d"; hideResult = yes; };
    Missing = { attribute = m; predicate = isUppercase; hideResult = yes; };
  })");
  const char* local =
      "{ version = 8; GenericRules = { Second = {}; \"No Attribute x\" = {}; Missing = {}; Nowhere = {}; }; }";
  EXPECT_THAT(host.rules("{ s = ST; x = 1; }", local),
              ElementsAre("Second: pass, ST, has prefix S, hideResult ",
                          "No Attribute x: FAIL, attribute x exists, no attribute x",
                          "Missing: FAIL, attribute m not found from device!, N/A",
                          "Nowhere: FAIL, attribute (null) not found from device!, N/A"));
  std::vector<std::string> begins;
  for (const std::string& line : host.platform->lines) begins.push_back(line.substr(0, line.find('\n')));
  EXPECT_THAT(begins,
              ElementsAre("sourcesForReferences: {}", "making local rule Second", "making local rule No Attribute x",
                          "making local rule Missing", "making local rule Nowhere", "processing Second",
                          "ruleResult: {", "processing No Attribute x", "No attribute rule name: No Attribute x",
                          "processing Missing", "processing Nowhere",
                          "-(NSArray*)check:(NSDictionary*)deviceAttributes rules:(NSDictionary*)sLocalRules "
                          "sourcesForReferenceValues:(NSDictionary*)sources error:(NSError**)e",
                          "return value:"));
}

TEST(CheckRunTest, MalformedExpressionsEndTheRun) {
  Host host(
      "{ version = 7; Good = { attribute = a; predicate = isUppercase; }; Bad = { attribute = a; predicate = \"a AND b "
      "OR c\"; }; None = { attribute = a; }; }");
  EXPECT_THAT(host.check("{ a = 1; }", "{ version = 1; GenericRules = { Good = {}; Bad = {}; }; }"),
              ElementsAre("absent"));
  EXPECT_EQ(host.error->code(), -100007);
  EXPECT_EQ(host.error->localizedDescription(), "invalid logical operator:a AND b OR c");
  EXPECT_THAT(host.platform->lines, Contains("*******ERROR:invalid logical operator:a AND b OR c*******"));
  EXPECT_THAT(host.check("{ a = 1; }", "{ version = 1; GenericRules = { None = {}; }; }"), ElementsAre("absent"));
  // The expression is not parsed if the attribute is missing.
  EXPECT_THAT(host.rules("{}", "{ version = 1; GenericRules = { Bad = {}; }; }"),
              ElementsAre("Bad: FAIL, attribute a not found from device!, N/A"));
}

TEST(CheckRunTest, References) {
  for (const Case& c : casesIn("references.json")) {
    Host host("{ version = 7; R = " + c["rule"] + "; }");
    EXPECT_THAT(host.rules("{ a = 1; b = 2; }", "{ version = 1; GenericRules = { R = {}; }; }",
                           "{ sfc = { a = 01; }; flat = text; }"),
                ElementsAre("R: " + c["line"]))
        << c["why"];
  }
  Host host("{ version = 7; R = { attribute = a; predicate = equal; references = (); }; }");
  EXPECT_THROW(host.check("{ a = 1; }", "{ version = 1; GenericRules = { R = {}; }; }"), std::out_of_range);
  EXPECT_THAT(host.rules("{}", "{ version = 1; GenericRules = { R = {}; }; }"),
              ElementsAre("R: FAIL, attribute a not found from device!, N/A"))
      << "the kernel is usable after a fault";
}

TEST(CheckRunTest, PackedAttributes) {
  Host host("{ version = 7; R = { attribute = \"SysCfgData.MLB#\"; predicate = hasPrefix; value = C02; }; }");
  std::string blob(24, '\0');
  blob[20] = 1;
  blob += "#BLM" + std::string("C02XYZ") + std::string(10, '\0');
  Dictionary device{{"SysCfgData", dataOf(blob)}, {"SysCfgData.MLB#", "replaced"}};
  const Dictionary local = parsedDictionary("{ version = 1; GenericRules = { R = {}; }; }");
  EXPECT_THAT(linesOf(host.kernel->check(device, &local, nullptr, host.error)),
              Contains("R: pass, C02XYZ, has prefix C02"));

  ZRTTavikKernel::expandSysConfigData(device);
  const Dictionary once = device;
  ZRTTavikKernel::expandSysConfigData(device);
  EXPECT_EQ(device, once);
  Dictionary notPacked{{"SysCfgData", "not data"}, {"BasebandFirmwareManifestData", Array()}};
  const Dictionary before = notPacked;
  ZRTTavikKernel::expandSysConfigData(notPacked);
  ZRTTavikKernel::expandBasebandManifestData(notPacked);
  EXPECT_EQ(notPacked, before);
}

}  // namespace
}  // namespace tavik
