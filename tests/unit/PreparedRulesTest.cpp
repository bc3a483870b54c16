// A check with prepared rules leaves behind what a check does: on every example device, on random documents, where
// documents are refused or malformed, and beyond what prepared rules keep.

#include <random>

#include "CheckAgreement.h"
#include "RuleDocumentMaker.h"
#include "support/ExampleDocuments.h"
#include "support/TestSupport.h"

namespace tavik {
namespace {

// A kernel whose platform keeps the log, the local rules, and these made ready.
struct Host {
  Host(std::string_view library, std::optional<Dictionary> localRules) : rules(std::move(localRules)) {
    const TemporaryFile file(library);
    kernel = ZRTTavikKernel::init(file.path(), platform);
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

TEST(PreparedRulesTest, EveryExampleDevice) {
  const Host host(bytesOf(documentAt(kExample / "rule-library.plist")), documentAt(kExample / "local-rules.plist"));
  std::size_t records = 0;
  for (const auto& [attributes, sources] : exampleDevices()) {
    const auto outcome = host.compare(attributes, &sources);
    if (outcome.records) records += outcome.records->size();  // a fault or a malformed expression leaves none
    host.compare(attributes, nullptr, /*hasStation=*/false);
    if (HasFailure()) break;
  }
  EXPECT_GT(records, 300u * 20);
}

TEST(PreparedRulesTest, RandomDocuments) {
  std::mt19937_64 random(20261121);
  std::size_t ruleRecords = 0;
  std::size_t faults = 0;
  std::size_t errors = 0;
  for (int document = 0; document < 2000 && !HasFailure(); ++document) {
    SCOPED_TRACE("document " + std::to_string(document));
    std::vector<std::uint8_t> bytes(200 + random() % 1500);
    for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(random());
    const RuleDocuments made = RuleDocumentMaker(Choices(bytes)).documents();
    std::string error;
    if (!writePropertyList(Value(made.library), PropertyListFormat::kBinary, error)) continue;
    const Host host(bytesOf(made.library), made.rules);
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

TEST(PreparedRulesTest, WhatCannotBeChecked) {
  constexpr std::string_view kLibrary =
      "{ version = 7; A = { attribute = a; predicate = hasPrefix; value = x; }; "
      "Malformed = { attribute = a; predicate = \"one two three four\"; }; "
      "Fault = { attribute = a; predicate = hasPrefix; references = (); }; }";
  struct Case {
    const char* why;
    std::string_view library;
    const char* rules;  // null: none
    const char* leaves;
  };
  const Case cases[] = {
      {"no rules", kLibrary, nullptr, "null local rules"},
      {"refused", kLibrary, "{ untrusted = \"another key\"; }", "another key"},
      {"empty", kLibrary, "{}", "emtpy local rules"},
      {"validates to nothing", kLibrary, "{ nothing = yes; }", "emtpy local rules"},
      {"no entries", kLibrary, "{ version = 8; }", "no rules specified"},
      {"no version", kLibrary, "{ GenericRules = { A = {}; }; }", "fault invalid argument: device Rules version"},
      {"library without a version", "{ A = {}; }", "{ version = 8; }", "fault invalid argument: TavikRules version"},
      {"unknown part number", kLibrary, "{ version = 8; MPNRules = {}; }", "error -100003"},
      {"unknown region", kLibrary, "{ version = 8; MPNRules = { M = { RegionRules = {}; }; }; }",
       "unknown Region Code:R"},
      {"part number that is no dictionary", kLibrary, "{ version = 8; MPNRules = { M = text; }; }", "error -100003"},
      {"unknown set", kLibrary, "{ version = 8; GenericRules = { ARuleSet = {}; }; }", "error -100004"},
      {"set that is no dictionary", kLibrary,
       "{ version = 8; GenericRules = { ARuleSet = {}; }; RuleSets = { ARuleSet = (); }; }", "error -100003"},
      {"entry that is no dictionary", kLibrary, "{ version = 8; GenericRules = { A = {}; B = text; }; }",
       "making local rule B"},
      {"malformed expression", kLibrary, "{ version = 8; GenericRules = { A = {}; Malformed = {}; }; }",
       "error -100007"},
      {"no reference to take the value from", kLibrary, "{ version = 8; GenericRules = { A = {}; Fault = {}; }; }",
       "fault out of range"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    const Host host(c.library, c.rules == nullptr ? std::nullopt : std::optional(parsedDictionary(c.rules)));
    for (int round = 0; round < 3; ++round) {
      const CheckTrace outcome = host.compare({{"ModelNumber", "M"}, {"RegionInfo", "R"}, {"a", "xyz"}});
      EXPECT_THAT(outcome.text(), testing::HasSubstr(c.leaves));
    }
  }
}

TEST(PreparedRulesTest, OutlivesItsKernelAndDocuments) {
  auto host = std::make_unique<Host>(
      "{ version = 7; \"a rule with a long name\" = { attribute = a; predicate = hasPrefix; }; }",
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
  const Host host(bytesOf(library), Dictionary{{"version", Value(8)}, {"MPNRules", partNumbers}});
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
