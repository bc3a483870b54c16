// Checks with prepared rules have the same results as checks without, even if the cache is full. CInterfaceTest.cpp
// compares them for random documents.

#include "CheckAgreement.h"
#include "support/TestSupport.h"

namespace tavik {
namespace {

// A kernel with its log, local rules, and the prepared rules.
struct Host {
  Host(const Dictionary& library, std::optional<Dictionary> localRules) : rules(std::move(localRules)) {
    Reason why;
    kernel = ZRTTavikKernel::init(library, platform, why);
    if (kernel != nullptr) prepared = kernel->prepare(local());
  }

  [[nodiscard]] const Dictionary* local() const { return rules ? &*rules : nullptr; }

  // Compares both kinds of checks; returns the results.
  CheckTrace compare(const Dictionary& device) const {
    auto [checked, other] = checkBothWays(*kernel, *prepared, *platform, device, local(), nullptr, true);
    EXPECT_EQ(checked.text(), other.text());
    return std::move(checked);
  }

  std::optional<Dictionary> rules;
  std::shared_ptr<RecordingPlatform> platform = std::make_shared<RecordingPlatform>();
  std::unique_ptr<ZRTTavikKernel> kernel;
  std::unique_ptr<const PreparedRules> prepared;
};

TEST(PreparedRulesTest, OutlivesKernelAndDocuments) {
  auto host = std::make_unique<Host>(
      parsedDictionary("{ version = 7; \"a rule with a long name\" = { attribute = a; predicate = hasPrefix; }; }"),
      parsedDictionary(
          "{ version = 8; GenericRules = { \"a rule with a long name\" = { value = \"a long, long value\"; }; "
          "}; }"));
  const Dictionary device{{"a", "a long, long value and more"}};
  const auto platform = host->platform;
  const std::string checked = host->compare(device).text();
  const std::shared_ptr<const PreparedRules> prepared = std::move(host->prepared);
  const std::unique_ptr<const PreparedRules> unused = host->kernel->prepare(host->local());
  host.reset();
  for (const PreparedRules* rules : {prepared.get(), unused.get()}) {
    EXPECT_EQ(checked, traceOf(*platform, true, [&](Dictionary* station, std::optional<Error>& error) {
                         return rules->check(device, nullptr, station, error);
                       }).text());
  }
}

// Texts short and long, in several slabs, of rules that pass, fail, find no attribute, or hide their result.
TEST(PreparedRulesTest, KeptPartsOutliveTheRecords) {
  Dictionary library{{"version", Value(7)}};
  Dictionary entries;
  for (int number = 0; number < 300; ++number) {
    const std::string name = "rule " + std::to_string(number) + std::string(static_cast<std::size_t>(number), '.');
    Dictionary definition{{"attribute", number % 5 == 0 ? "b" : "a"}, {"predicate", "hasPrefix"}, {"value", name}};
    if (number % 3 == 0) definition.set("hideResult", "");
    library.set(name, definition);
    entries.set(name, Dictionary());
  }
  const Host host(library, Dictionary{{"version", Value(8)}, {"GenericRules", entries}});
  const std::string attribute = "rule 200" + std::string(600, '.');
  host.compare({{"a", attribute}});
  std::optional<Error> error;
  const auto partsOf = [](const std::optional<Array>& records) {
    Array parts;
    for (std::size_t i = 0; i + 3 < records->size(); i += 7) {
      parts.append(records->at(i));
      for (const char* key : {"rule", "actual", "expected"}) {
        parts.append(*records->at(i + 3).ifDictionary()->find(key));
      }
    }
    return parts;
  };
  const Array kept = partsOf(host.prepared->check({{"a", attribute}}, nullptr, nullptr, error));
  const Array expected = partsOf(host.kernel->check({{"a", attribute}}, host.local(), nullptr, error));
  EXPECT_EQ(kept, expected);
}

// The rules read the device as it was before the check.
TEST(PreparedRulesTest, StationCanBeTheDevice) {
  const Host host(
      parsedDictionary("{ version = 7; Send = { attribute = a; predicate = sendStaticAttribute; };"
                       " Read = { attribute = OnPass; predicate = isUppercase; }; }"),
      parsedDictionary("{ version = 8; GenericRules = { Send = { value = { OnPass = P; }; }; Read = {}; }; }"));
  for (const bool logs : {true, false}) {
    host.platform->keepsLog = logs;
    Dictionary device{{"a", "b"}};
    std::optional<Error> error;
    const auto records = host.prepared->check(device, nullptr, &device, error);
    EXPECT_EQ(linesOf(records).back(), "Read: FAIL, attribute OnPass not found from device!, N/A");
    EXPECT_EQ(device.findString("OnPass"), "P");
  }
}

TEST(PreparedRulesTest, HostCanChangeTheDeviceWhenItGetsALogLine) {
  struct Clearing : RecordingPlatform {
    Dictionary* device = nullptr;
    void log(std::string_view /*line*/) const override { *device = Dictionary(); }
  };
  const auto platform = std::make_shared<Clearing>();
  Dictionary device{{"a", "a text that is not short"}};
  platform->device = &device;
  Reason why;
  const auto kernel = ZRTTavikKernel::init(
      parsedDictionary("{ version = 7; A = { attribute = a; predicate = hasPrefix; value = a; }; }"), platform, why);
  const Dictionary rules = parsedDictionary("{ version = 8; GenericRules = { A = {}; }; }");
  std::optional<Error> error;
  EXPECT_EQ(linesOf(kernel->prepare(&rules)->check(device, nullptr, nullptr, error)).back(),
            "A: pass, a text that is not short, has prefix a");
}

TEST(PreparedRulesTest, FullCache) {
  constexpr int kPartNumbers = 560;  // of 500 rules each; the limit is 262,144 rules
  Dictionary library{{"version", Value(7)}};
  Dictionary entries;
  for (int number = 0; number < 500; ++number) {
    const std::string name = "rule " + std::to_string(number);
    library.set(name, Dictionary{{"attribute", "a"}, {"predicate", "hasPrefix"}, {"value", name}});
    entries.set(name, Dictionary());
  }
  Dictionary partNumbers;
  for (int number = 0; number < kPartNumbers; ++number) {
    Dictionary mine = entries;
    mine.set("rule 0", Dictionary{{"value", std::to_string(number)}});
    partNumbers.set(std::to_string(number), std::move(mine));
  }
  const Host host(library, Dictionary{{"version", Value(8)}, {"MPNRules", partNumbers}});
  host.platform->keepsLog = false;
  std::optional<Error> error;
  for (int number = 0; number < kPartNumbers; ++number) {
    const Dictionary device{{"ModelNumber", std::to_string(number)}};
    ASSERT_TRUE(host.prepared->check(device, nullptr, nullptr, error)) << number;
  }
  host.platform->keepsLog = true;
  for (const int number : {0, 1, 523, 524, 525, 558, 559}) {  // 524 fit
    for (int round = 0; round < 2; ++round) host.compare({{"ModelNumber", std::to_string(number)}, {"a", "559 of it"}});
  }
}

}  // namespace
}  // namespace tavik
