// Very deeply nested values on a thread with a small stack: no operation may be recursive.

#include <pthread.h>
#include <tavik/Json.h>
#include <tavik/PredicateFacts.h>

#include <functional>

#include "support/TestSupport.h"

namespace tavik {
namespace {

constexpr std::size_t kStack = TAVIK_SANITIZED ? 1 << 20 : 256 << 10;
constexpr int kDeep = 1'000'000;
// For operations that describe values many times: a recursion of this depth overflows the stack even with minimal
// frames.
constexpr int kDeepEnough = kStack / (2 * sizeof(void*));

void onSmallStack(std::function<void()> action) {
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  ASSERT_EQ(pthread_attr_setstacksize(&attributes, kStack), 0);
  const auto start = [](void* given) -> void* {
    (*static_cast<std::function<void()>*>(given))();
    return nullptr;
  };
  pthread_t thread{};
  ASSERT_EQ(pthread_create(&thread, &attributes, start, &action), 0);
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
}

// Alternates arrays and dictionaries, with a dictionary outermost; every thousandth level has 20 more entries.
Value nested(int depth, Value core) {
  for (int level = 1; level <= depth; ++level) {
    const int siblings = level % 1000 == 0 ? 20 : 0;
    if ((depth - level) % 2 == 1) {
      Array array = Array::of(std::move(core));
      for (int sibling = 0; sibling < siblings; ++sibling) array.append(Value(sibling));
      core = std::move(array);
    } else {
      Dictionary dictionary{{"k", std::move(core)}};
      for (int sibling = 0; sibling < siblings; ++sibling) dictionary.set(std::to_string(sibling), Array());
      core = std::move(dictionary);
    }
  }
  return core;
}

TEST(DepthTest, ValuesAndDocuments) {
  onSmallStack([] {
    Value one = nested(kDeep, "core");
    const Value equal = nested(kDeep, "core");
    const Value unequal = nested(kDeep, "cork");
    Value copy = one;
    Dictionary changed = *copy.ifDictionary();
    changed.set("new", one);
    EXPECT_TRUE(one == equal);
    EXPECT_FALSE(one == unequal) << "different at the innermost level";
    EXPECT_TRUE(Array::of("x", one).contains(equal));
    EXPECT_TRUE(changed.find("k") != nullptr && *changed.find("k") == *equal.ifDictionary()->find("k"));

    Array list = Array::of(nested(kDeep / 10, "core"));
    while (list.size() < 2000) list.append(Value(true));
    for (const bool listed : {true, false}) {
      const Value attribute(Array::of(true, nested(kDeep / 10, listed ? "core" : "cork")));
      const Value expected(list);
      EXPECT_EQ(booleanValue(ZRTTavikKernel::valueInList(&attribute, &expected).find("result")), listed);
    }

    const std::string listing = description(&one);
    EXPECT_THAT(listing.substr(0, 40), testing::StartsWith("{\n    k = (\n        {\n"));
    EXPECT_LT(listing.size(), std::size_t{150} * kDeep) << "indentation is limited";
    std::string error;
    EXPECT_FALSE(readPropertyList({reinterpret_cast<const std::uint8_t*>(listing.data()), listing.size()}, error));
    EXPECT_THAT(error, testing::HasSubstr("more than 512 levels deep"));

    constexpr std::string_view kTooDeep = "….k[0].k[0].k[0].k[0]: nested more than 512 levels deep";
    for (const auto format : {PropertyListFormat::kXml, PropertyListFormat::kBinary}) {
      error.clear();
      EXPECT_FALSE(writePropertyList(changed, format, error));
      EXPECT_EQ(error, kTooDeep);
    }
    error.clear();
    EXPECT_FALSE(writeJson(changed, error));
    EXPECT_EQ(error, kTooDeep);
    std::string json;
    for (int level = 0; level < kPropertyListDepthLimit; level += 2) json += "{\"k\": [";
    EXPECT_FALSE(readJson(json, error));
    for (int level = 0; level < kPropertyListDepthLimit; level += 2) json += "]}";
    EXPECT_TRUE(readJson(json, error)) << error;
    copy = Value();
    changed = Dictionary();
    one = Value("replaced");
  });
}

// Every predicate with a deep attribute, expected value or references, in both forms. Each call must end with a record
// or a fault.
TEST(DepthTest, Predicates) {
  onSmallStack([] {
    const PredicateKernel kernel(std::make_shared<TestPlatform>());
    const Value deep = nested(kDeepEnough, "core");
    const Value list = Array::of(deep, "x");
    const Value text("a text");
    Dictionary references{{"SerialNumber", deep}, {"FCCID", deep}, {"MLBSerialNumber", deep}, {"RegionInfo", deep}};
    std::size_t records = 0;
    std::size_t faults = 0;
    for (const PredicateFacts& facts : PredicateFacts::all()) {
      std::optional<Error> error;
      const auto tree = AbstractTreeNode::parsePredicateString(facts.word, kernel, error);
      const std::pair<const Value*, const Value*> pairs[] = {{&deep, &text}, {&text, &deep}, {&deep, &list}};
      for (const auto& [attribute, value] : pairs) {
        for (const Dictionary* given : {static_cast<const Dictionary*>(nullptr), &std::as_const(references)}) {
          try {
            records += std::size_t{tree->process(attribute, value, given)->contains("result")};
          } catch (const std::logic_error&) {
            ++faults;
          }
        }
      }
    }
    EXPECT_EQ(records + faults, 6 * PredicateFacts::all().size());
    EXPECT_GT(records, 5 * PredicateFacts::all().size());
  });
}

TEST(DepthTest, Checks) {
  onSmallStack([] {
    const Value deep = nested(kDeepEnough, "core");
    const Value reference = Array::of(Dictionary{{"source", "sfc"}, {"description", deep}});
    const Dictionary library{
        {"version", "1"},
        {"Deep value", Dictionary{{"attribute", "deep"}, {"predicate", "valueInList"}, {"value", deep}}},
        {"Deep reference", Dictionary{{"attribute", "deep"}, {"predicate", "valueInList"}, {"references", reference}}},
        {"Deep references", Dictionary{{"attribute", "deep"}, {"references", deep}}},
        {"Deep attribute", Dictionary{{"attribute", deep}, {"predicate", "equal"}}},
        {"Deep domain", Dictionary{{"attribute", "x"}, {"domain", deep}, {"poll", deep}}},
        {"No Attribute deep", Dictionary{{"attribute", "deep"}, {"predicate", deep}}},
        {"Forwarded", Dictionary{{"attribute", "deep"}, {"predicate", "sendStaticAttribute"}}}};
    auto platform = std::make_shared<TestPlatform>();
    Reason why;
    const auto kernel = ZRTTavikKernel::init(library, platform, why);
    ASSERT_TRUE(kernel);
    Dictionary entries;
    for (const char* name : {"Deep value", "Deep reference", "Deep references", "Deep attribute", "Deep domain",
                             "No Attribute deep", "Nowhere"}) {
      entries.set(name, Dictionary{{"deeper", deep}});
    }
    entries.set("Forwarded", Dictionary{{"value", Dictionary{{"OnPass", deep}, {"OnFail", deep}}}});
    const Dictionary local{{"version", "2"}, {"GenericRules", entries}, {"unread", deep}};
    const Dictionary device{{"deep", deep}, {"SysCfgData", deep}, {"BasebandFirmwareManifestData", deep}};
    const Dictionary sources{{"sfc", Dictionary{{"deep", nested(kDeepEnough, "core")}}}};

    for (const bool log : {false, true}) {
      platform->keepsLog = log;
      Dictionary station;
      std::optional<Error> error;
      const auto records = kernel->check(device, &local, &sources, &station, error);
      ASSERT_TRUE(records) << error->localizedDescription();
      EXPECT_EQ(records->size(), 3U + entries.size());
      EXPECT_EQ(*station.find("OnPass"), deep);
      const auto prepared = kernel->prepare(&local);
      EXPECT_EQ(prepared->check(device, &sources, nullptr, error), records);
    }
    EXPECT_THAT(platform->lines, testing::Contains(testing::SizeIs(testing::Gt(std::size_t{kDeepEnough}))));

    std::optional<Error> error;
    EXPECT_EQ(*kernel->sfcCheckList(local, device, error)->find("deep"), deep);
    EXPECT_TRUE(ZRTTavikKernel::valueInListDescription(&deep, &deep).contains("actual"));
    EXPECT_TRUE(ZRTTavikKernel::nandSizeCheckDescription(device, &deep).contains("actual"));
    EXPECT_TRUE(ZRTTavikKernel::nvramWhiteListDescription(&deep, &deep).contains("actual"));
  });
}

}  // namespace
}  // namespace tavik
