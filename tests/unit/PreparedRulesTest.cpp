// A check with prepared rules has the same results as a check: on random documents, and beyond what prepared rules
// keep.

#include "CheckAgreement.h"
#include "support/RandomDocuments.h"
#include "support/TestSupport.h"

namespace tavik {
namespace {

// A kernel whose platform keeps the log, the local rules, and these made ready.
struct Host {
  Host(const Dictionary& library, std::optional<Dictionary> localRules) : rules(std::move(localRules)) {
    Reason why;
    kernel = ZRTTavikKernel::init(library, platform, why);
    if (kernel != nullptr) prepared = kernel->prepare(local());
  }

  [[nodiscard]] const Dictionary* local() const { return rules ? &*rules : nullptr; }

  // Compares, and returns what the check left.
  CheckTrace compare(const Dictionary& device, const Dictionary* sources = nullptr, bool hasStation = true) const {
    auto [checked, other] = checkBothWays(*kernel, *prepared, *platform, device, local(), sources, hasStation);
    EXPECT_EQ(checked.text(), other.text());
    return std::move(checked);
  }

  std::optional<Dictionary> rules;
  std::shared_ptr<RecordingPlatform> platform = std::make_shared<RecordingPlatform>();
  std::unique_ptr<ZRTTavikKernel> kernel;
  std::unique_ptr<const PreparedRules> prepared;
};

TEST(PreparedRulesTest, RandomDocuments) {
  std::mt19937_64 random(20261121);
  std::size_t ruleRecords = 0;
  std::size_t faults = 0;
  std::size_t errors = 0;
  for (int document = 0; document < 2000 && !HasFailure(); ++document) {
    SCOPED_TRACE("document " + std::to_string(document));
    const RuleDocuments made = randomDocuments(random);
    const Host host(made.library, made.rules);
    if (host.kernel == nullptr) continue;
    for (int round = 0; round < 2; ++round) {
      for (const Dictionary& device : made.devices) {
        const CheckTrace outcome = host.compare(device, made.sources ? &*made.sources : nullptr, round == 0);
        ruleRecords += outcome.records && outcome.records->size() > 4 ? outcome.records->size() - 3 : 0;
        if (!outcome.fault.empty()) ++faults;
        if (outcome.error && outcome.error->code() != -1) ++errors;
      }
    }
  }
  EXPECT_GT(ruleRecords, 4000u);
  EXPECT_GT(faults, 500u);
  EXPECT_GT(errors, 500u);
}

TEST(PreparedRulesTest, OutlivesItsKernelAndDocuments) {
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

TEST(PreparedRulesTest, BeyondWhatIsKept) {
  constexpr int kPartNumbers = 560;  // of 500 rules each: more than 262,144
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
  for (const int number : {0, 1, 523, 524, 525, 558, 559}) {  // 524 are kept
    for (int round = 0; round < 2; ++round) host.compare({{"ModelNumber", std::to_string(number)}, {"a", "559 of it"}});
  }
}

}  // namespace
}  // namespace tavik
