// The calls before a check: lists by source, and descriptions of comparisons.

#include <map>

#include "support/Cases.h"
#include "support/TestSupport.h"

namespace tavik {
namespace {

using testing::Contains;
using testing::Each;
using testing::Not;
using testing::StartsWith;

constexpr const char* kLibrary = R"({
  version = 7;
  Order = { attribute = SerialNumber; domain = first; references = (
      { source = sfc; attribute = A; description = "Scan A"; },
      { source = SFC; attribute = B; },
      { source = Sfc; },
      { attribute = Own; description = "from the device"; },
      { source = sfcx; attribute = C; },
      { source = ( sfc ); attribute = D; },
      sfc,
      { source = gui; attribute = E; description = "Type E"; },
      { source = sfc; attribute = ( F ); description = "the name is not a string"; } ); };
  Label = { attribute = IMEI; poll = { every = 5; }; references = (
      { source = GUI; attribute = E; description = "Type E again"; },
      { source = gui; description = { text = Look; }; } ); };
  Card = { attribute = integratedCircuitCardIDENTITY; value = mine; domain = ( sim, card ); poll = ""; };
  Nameless = { domain = last; references = (
      { source = sfc; description = "no name"; }, { source = sfc; attribute = G; } ); };
  Flat = { attribute = ( IntegratedCircuitCardIdentity ); references = { source = sfc; }; };
  Word = text;
})";

constexpr const char* kEveryRule = R"({
  version = 8;
  GenericRules = { Nowhere = { domain = x; poll = x; references = ( { source = sfc; attribute = X; } ); };
                   Order = {}; Label = { value = 5; }; Card = { value = theirs; attribute = x; domain = x; };
                   Nameless = {}; Flat = {}; Word = {}; };
})";

using List = std::optional<Dictionary> (ZRTTavikKernel::*)(const Dictionary& localRules,
                                                           const Dictionary& deviceAttributes,
                                                           std::optional<Error>& error) const;
constexpr List kSfc = &ZRTTavikKernel::sfcCheckList;
constexpr List kGui = &ZRTTavikKernel::guiCheckList;
constexpr List kSim = &ZRTTavikKernel::simCheckList;
constexpr List kDomain = &ZRTTavikKernel::getDomainList;
constexpr List kPolling = &ZRTTavikKernel::getPollingList;

// Lists entries in order.
std::string listing(const Value& value) { return description(&value); }

struct Host {
  std::string list(List operation, std::string_view local) {
    const auto listed = ((*kernel).*operation)(parsedDictionary(local), {{"ModelNumber", "M"}}, error);
    return listed ? listing(*listed) : "absent";
  }

  std::shared_ptr<TestPlatform> platform = std::make_shared<TestPlatform>();
  std::unique_ptr<ZRTTavikKernel> kernel = kernelWith(kLibrary, platform);
  std::optional<Error> error;
};

TEST(CheckListsTest, Lists) {
  const std::map<std::string, List> lists = {
      {"sfc", kSfc}, {"gui", kGui}, {"sim", kSim}, {"domain", kDomain}, {"polling", kPolling}};
  for (const Case& c : casesIn("check-lists.json")) {  // without "local": every rule
    Host host;
    host.error = host.kernel->handleError(-1, "from an earlier call");
    const std::string local = c.has("local") ? c["local"] : kEveryRule;
    EXPECT_EQ(host.list(lists.at(c["list"]), local), listing(parsed(c["expected"]))) << c["why"];
    EXPECT_FALSE(host.error) << c["why"];
  }
}

TEST(CheckListsTest, ListForAnySource) {
  Host host;
  EXPECT_EQ(host.kernel->sourceSpecificCheckList(parsedDictionary(kEveryRule), "SFCx", {}, host.error),
            parsedDictionary("{ C = C; }"));
}

TEST(CheckListsTest, Errors) {
  for (const Case& c : casesIn("list-errors.json")) {
    for (const List list : {kSfc, kGui, kSim, kDomain, kPolling}) {
      Host host;
      EXPECT_EQ(host.list(list, c["local"]), "absent") << c["local"];
      ASSERT_TRUE(host.error) << c["local"];
      EXPECT_EQ(host.error->domain(), "ZRT Tavik Error Domain");
      EXPECT_EQ(host.error->code(), integerValue(c.entries.find("code")));
      EXPECT_EQ(host.error->userInfo(), (Dictionary{{"LocalizedDescription", c["message"]}}));
      EXPECT_THAT(host.platform->lines, Contains("*******ERROR:" + c["message"] + "*******"));
    }
  }
}

TEST(CheckListsTest, OnlyTheSfcListIsLogged) {
  Host host;
  const std::string listed = host.list(kSfc, kEveryRule);
  EXPECT_EQ(host.platform->lines.back(), "sfc check list;" + listed);
  host.list(kSfc, "{ MPNRules = {}; }");
  EXPECT_EQ(host.platform->lines.back(), "sfc check list;(null)");
  host.platform->lines.clear();
  for (const List list : {kGui, kSim, kDomain, kPolling}) host.list(list, kEveryRule);
  EXPECT_THAT(host.platform->lines, Each(StartsWith("making local rule ")));
  EXPECT_THAT(host.platform->lines, Not(testing::IsEmpty()));
}

// "ACTUAL | EXPECTED" of a description with just these entries.
std::string pairOf(const Dictionary& descriptionPair) {
  EXPECT_EQ(descriptionPair.size(), 2U);
  return description(descriptionPair.find("actual")) + " | " + description(descriptionPair.find("expected"));
}

TEST(DescriptionsTest, ValueInList) {
  const Value b("B");
  const Value list = parsed("( A, B )");
  const Value number(5);
  EXPECT_EQ(pairOf(ZRTTavikKernel::valueInListDescription(&list, &b)), "A,B | among B");
  EXPECT_EQ(pairOf(ZRTTavikKernel::valueInListDescription(&number, nullptr)), "5 | among ");
  EXPECT_EQ(pairOf(ZRTTavikKernel::valueInListDescription(nullptr, &list)), " | among A,B");
}

TEST(DescriptionsTest, NandSize) {
  const Value table(Dictionary{{"BCD", Value(64)}, {"ABC", "16"}});
  for (const Case& c : casesIn("nand-descriptions.json")) {
    EXPECT_EQ(pairOf(ZRTTavikKernel::nandSizeCheckDescription(parsedDictionary(c["device"]), &table)), c["pair"]);
  }
  const Dictionary device{{"SerialNumber", "XBCD"}};
  const Dictionary pair = ZRTTavikKernel::nandSizeCheckDescription(device, &table);
  EXPECT_EQ(*pair.find("expected"), Value(64)) << "the unchanged value of the table";
  EXPECT_EQ(pairOf(ZRTTavikKernel::nandSizeCheckDescription(device, nullptr)),
            "unknowned CCC code BCD | a known CCC code");
  EXPECT_THROW(ZRTTavikKernel::nandSizeCheckDescription({{"SerialNumber", "CD"}}, &table), std::out_of_range);
}

TEST(DescriptionsTest, NvramWhiteList) {
  const Value none{Dictionary()};
  EXPECT_EQ(pairOf(ZRTTavikKernel::nvramWhiteListDescription(&none, nullptr)),
            "actual keys: () | allowed keys: (null)");
}

}  // namespace
}  // namespace tavik
