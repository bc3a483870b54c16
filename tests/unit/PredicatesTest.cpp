// Direct calls of predicates: helpers that rules cannot use, and absent attributes. tests/cases/ has the cases for
// rules.

#include <map>

#include "support/Cases.h"
#include "support/TestSupport.h"

namespace tavik {
namespace {

using Kernel = ZRTTavikKernel;

TEST(PredicatesTest, IdentityCodes) {
  const std::map<std::string, std::optional<Value> (*)(const Value*)> extractors = {{"CCC", Kernel::parseCCCCode},
                                                                                    {"4C", Kernel::parse4CCode},
                                                                                    {"EEE", Kernel::parseEEECode},
                                                                                    {"4E", Kernel::parse4ECode}};
  for (const Case& c : casesIn("identity-codes.json")) {  // no "is": too short
    SCOPED_TRACE(c["code"] + " of " + c["serialNumber"]);
    const auto extract = extractors.at(c["code"]);
    const Value* serialNumber = c.entries.find("serialNumber");
    if (c.has("is")) {
      EXPECT_EQ(extract(serialNumber), *c.entries.find("is"));
    } else {
      EXPECT_THROW(extract(serialNumber), std::out_of_range);
    }
  }
  const Value number(123456789012345678);
  for (const auto& [name, extract] : extractors) {
    EXPECT_FALSE(extract(nullptr)) << name;
    EXPECT_FALSE(extract(&number)) << name;
  }
}

// Sizes must be exact to the byte.
TEST(PredicatesTest, NandSizesAroundEveryBoundary) {
  constexpr std::int64_t kGigabyte = 1'000'000'000;
  const auto sizeOf = [](std::int64_t bytes) {
    const Value value(bytes);
    return Kernel::parseNandSize(&value);
  };
  for (std::int64_t size = 0; size <= 2048; ++size) {
    const std::int64_t first = size <= 64 ? size * kGigabyte - kGigabyte / 2 : size * kGigabyte;
    EXPECT_EQ(sizeOf(std::max<std::int64_t>(first, 0)), size);
    EXPECT_EQ(sizeOf(first - 1), size == 0 ? -1 : size - 1);
    EXPECT_EQ(sizeOf(size * kGigabyte), size);
  }
  EXPECT_EQ(Kernel::parseNandSize(nullptr), 0);
}

// A record cannot have an absent "actual". Predicates that do not store the attribute fail.
TEST(PredicatesTest, AbsentAttributes) {
  const Value text("text");
  const Value codes = parsed("( ABCD )");
  const Dictionary none;
  const Value boards(Dictionary{{"FCC", Array::of("BCD")}});
  for (const auto predicate :
       {Kernel::hasSuffix, Kernel::caseInsensitiveEqual, Kernel::equal, Kernel::isUppercase, Kernel::MPNCCCCheck,
        Kernel::MPN4CCheck, Kernel::MPN4ECheck, Kernel::validIMEI, Kernel::checkIMEIfromGUI}) {
    EXPECT_THROW(predicate(nullptr, &text), std::invalid_argument);
  }
  EXPECT_THROW(Kernel::MPN4CListCheck(nullptr, &codes), std::invalid_argument);
  EXPECT_THROW(Kernel::MPN4EListCheck(nullptr, &codes), std::invalid_argument);

  EXPECT_EQ(lineOf(Kernel::valueInList(nullptr, &codes)), "(null): FAIL, (null), one of ABCD");
  EXPECT_EQ(lineOf(Kernel::valueInList(nullptr, nullptr)), "(null): FAIL, (null), one of ");
  EXPECT_EQ(lineOf(Kernel::boolEqual(nullptr, nullptr)), "(null): FAIL, (null), is (null)");
  EXPECT_EQ(lineOf(Kernel::dataNotNull(nullptr, nullptr)), "(null): FAIL, (null), not all null");
  EXPECT_EQ(lineOf(Kernel::equalData(nullptr, &text)), "(null): FAIL, (null), equal text");
  EXPECT_EQ(lineOf(Kernel::caseInsensitiveEqualData(nullptr, nullptr)),
            "(null): FAIL, (null), caseInsensitiveEqual:(null)");
  const Value zero(0);
  EXPECT_EQ(lineOf(Kernel::nandSizeCheck(nullptr, &zero)), "(null): pass, 0, 0");
  const Dictionary fcc{{"FCCID", "FCC"}};
  EXPECT_EQ(lineOf(Kernel::checkEEEFCCIDTable(nullptr, &fcc, &boards)), "(null): FAIL, (null), one of BCD");
  EXPECT_EQ(lineOf(Kernel::checkEEEFCCIDTable(nullptr, &none, &boards)),
            "(null): FAIL, unknown FCCID (null), known FCCID");
}

// Searching a long list must give the same result as comparing with each element.
TEST(PredicatesTest, LongLists) {
  const Value nan(std::nan(""));
  const auto makes = std::to_array<Value (*)(int)>({
      [](int i) { return Value("code " + std::to_string(i)); },
      [](int i) { return Value(i); },
      [](int i) { return Value(i + 0.5); },
      [](int i) {
        return Value(Data{static_cast<std::uint8_t>(i), static_cast<std::uint8_t>(i >> 8)});
      },
      [](int i) { return Value(Date::sinceReference(i)); },
      [](int i) { return Value(Array::of(Array::of("x", i), Array())); },
      [](int i) {
        return Value(Dictionary{{"a", Value(i)}, {"b", Value(Array::of(i))}});
      },
      [](int i) {
        return Value(Dictionary{{"b", Value(Array::of(i * 1.0))}, {"a", Value(i * 1.0)}});
      },
  });
  Array list = Array::of(true, 0, Date::sinceReference(-0.0), nan, Dictionary(), Array::of(nan));
  for (int i = 0; i < 600; ++i) list.append(makes[static_cast<std::size_t>(i) % makes.size()](i));
  Array probes = Array::of(false, -0.0, 1.0, "true", nan, Array(), Array::of(nan), Date::sinceReference(0), 1e300);
  for (int i = 580; i < 620; ++i) {
    for (const auto make : makes) probes.append(make(i));
  }
  for (const Value& probe : list) probes.append(probe);
  int listed = 0;
  for (const Value& probe : probes) {
    const Value attribute(Array::of("code 0", probe));
    const Value expected(list);
    const bool found = booleanValue(Kernel::valueInList(&attribute, &expected).find("result"));
    EXPECT_EQ(found, list.contains(probe)) << description(&probe);
    listed += found ? 1 : 0;
  }
  EXPECT_GT(listed, 600);
}

TEST(PredicatesTest, LogsCallsWithoutAllPartNumberReferences) {
  const auto platform = std::make_shared<TestPlatform>();
  const PredicateKernel kernel(platform);
  Dictionary references = parsedDictionary("{ ModelNumber = M; RegionInfo = R; mpn = M; }");
  EXPECT_TRUE(kernel.perform("combinedMPNRCCheck", nullptr, &references, nullptr));
  EXPECT_THAT(platform->lines, testing::ElementsAre("{\n    ModelNumber = M;\n    RegionInfo = R;\n    mpn = M;\n}"));
  references.set("region_code", "R");
  EXPECT_TRUE(kernel.perform("combinedMPNRCCheck", nullptr, &references, nullptr));
  EXPECT_EQ(platform->lines.size(), 1U);
}

TEST(PredicatesTest, AbsentReferencesAndLists) {
  const Value text("text");
  EXPECT_THROW(Kernel::staticTextGUIEquals(&text, nullptr, &text), std::out_of_range);
  EXPECT_EQ(lineOf(Kernel::combinedMPNRCCheck(nullptr, nullptr, nullptr)).substr(0, 12), "(null): FAIL");
  EXPECT_EQ(lineOf(Kernel::checkEEEFCCIDTable(&text, nullptr, &text)),
            "(null): FAIL, unknown FCCID (null), known FCCID");
  const Value conditional = parsed("{ list = (text); match = { OnPass = 1; }; nonMatch = { OnPass = 2; }; }");
  EXPECT_EQ(description(Kernel::sendConditionalAttribute(nullptr, &conditional).find("attributes")),
            "{\n    OnPass = 2;\n}");
  EXPECT_THROW(Kernel::sendStaticAttribute(&text, nullptr), std::invalid_argument);
  const Value number(5);
  EXPECT_EQ(description(Kernel::nandSizeCheckDescription({{"SerialNumber", number}}, &text).find("actual")),
            "unknowned CCC code 5");
  EXPECT_EQ(Kernel::nvramWhiteListDescription(&text, nullptr),
            (Dictionary{{"actual", "actual keys: text"}, {"expected", "allowed keys: (null)"}}));
}

}  // namespace
}  // namespace tavik
