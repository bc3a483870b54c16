// One kernel, one set of prepared rules, one platform and shared values under eight threads: everybody gets what one
// thread alone gets. ThreadSanitizer watches.

#include <tavik/PreparedRules.h>
#include <tavik/StationPlatform.h>

#include <array>
#include <atomic>
#include <functional>
#include <thread>

#include "support/TestSupport.h"

namespace tavik {
namespace {

constexpr int kThreads = 8;
#if defined(__SANITIZE_THREAD__)
constexpr int kRounds = 10;
#elif defined(__has_feature)
constexpr int kRounds = __has_feature(thread_sanitizer) ? 10 : 50;
#else
constexpr int kRounds = 50;
#endif

// Runs every job in every thread, each thread beginning with another one, and again and again; what a job gives is what
// it gave before on one thread.
void expectSameEverywhere(const std::vector<std::pair<const char*, std::function<Value()>>>& jobs) {
  std::vector<Value> expected;
  for (const auto& [name, job] : jobs) expected.push_back(job());
  std::vector<std::atomic<int>> different(jobs.size());
  std::atomic<int> waiting = kThreads;
  const auto work = [&](std::size_t first) {
    --waiting;
    while (waiting != 0) std::this_thread::yield();
    for (std::size_t step = 0; step < kRounds * jobs.size(); ++step) {
      const std::size_t job = (first + step) % jobs.size();
      if (jobs[job].second() != expected[job]) ++different[job];
    }
  };
  std::vector<std::thread> threads;
  for (std::size_t thread = 0; thread < kThreads; ++thread) threads.emplace_back(work, thread * 5);
  for (std::thread& thread : threads) thread.join();
  for (std::size_t job = 0; job < jobs.size(); ++job) EXPECT_EQ(different[job], 0) << jobs[job].first;
}

constexpr std::string_view kLibrary = R"({
  version = 7;
  Prefix = { attribute = serial; predicate = "hasPrefix AND hasSuffix"; domain = "a domain that is long enough";
             poll = "a polling entry that is long enough"; };
  Not = { attribute = serial; predicate = "NOT caseInsensitiveEqual"; value = "another serial number"; hideResult = 1; };
  Unknown = { attribute = serial; predicate = nobodysPredicate; };
  "No Attribute x" = { attribute = serial; };
  Missing = { attribute = "an attribute that is missing"; predicate = equal; };
  FromShop = { attribute = serial; predicate = hasPrefix;
               references = ( { source = sfc; attribute = serial; description = "the serial number as sold"; } ); };
  Card = { attribute = IntegratedCircuitCardIdentity; predicate = valueInList; value = (89, 90, 91); };
  Sent = { attribute = serial; predicate = sendStaticAttribute; };
  Malformed = { attribute = serial; predicate = "four words of it"; };
})";

// Part numbers MD0 to MD19, each with two regions.
Dictionary localRules() {
  Dictionary rules = parsedDictionary(R"({
    version = 8;
    GenericRules = { "No Attribute x" = {}; Missing = {}; FromShop = {}; Card = {}; SpecialRuleSet = {}; };
    RuleSets = { SpecialRuleSet = { Sent = { value = { OnPass = "passed, as it should"; OnFail = "failed, alas"; }; }; }; };
  })");
  Dictionary table;
  for (int number = 0; number < 20; ++number) {
    const std::string text = "C02 with an ending of part number " + std::to_string(number);
    Dictionary entries{{"Prefix", Dictionary{{"value", text}}}};
    entries.set("RegionRules", Dictionary{{"LL", Dictionary{{"Not", Dictionary()}}},
                                          {"ZA", Dictionary{{"Unknown", Dictionary{{"value", text}}}}},
                                          {"XX", Dictionary{{"Malformed", Dictionary()}}}});
    table.set("MD" + std::to_string(number), entries);
  }
  rules.set("MPNRules", table);
  return rules;
}

Dictionary device(int number, std::string_view region) {
  return {{"serial", "C02 with an ending of part number " + std::to_string(number)},
          {"ModelNumber", "MD" + std::to_string(number)},
          {"RegionInfo", region},
          {"IntegratedCircuitCardIdentity", "90"}};
}

// Records, station dictionary and error of a run.
template <class Check>
Value outcome(Check check) {
  Dictionary station;
  std::optional<Error> error;
  const auto records = check(&station, error);
  return Array::of(records ? Value(*records) : Value("absent"), station,
                   error ? error->localizedDescription() : "no error");
}

std::span<const std::uint8_t> bytesOf(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

TEST(ThreadTest, EverybodyGetsTheSame) {
  auto platform = std::make_shared<TestPlatform>();
  platform->keepsLog = false;
  const auto kernel = kernelWith(kLibrary, platform);
  const Dictionary local = localRules();
  const Dictionary sources{{"sfc", Dictionary{{"serial", "C02 with an ending"}}}};
  const auto prepared = kernel->prepare(&local);
  const Value shared = Array::of(local, device(1, "LL"));

  std::vector<std::pair<const char*, std::function<Value()>>> jobs;
  for (int number = 0; number < 22; ++number) {  // two that nobody knows among them
    const char* region = std::array{"LL", "ZA", "XX", "none"}[static_cast<std::size_t>(number) % 4];
    const Dictionary attributes = device(number, region);
    jobs.emplace_back("check", [&, attributes] {
      return outcome([&](Dictionary* station, std::optional<Error>& why) {
        return kernel->check(attributes, &local, &sources, station, why);
      });
    });
    jobs.emplace_back("prepared check", [&, attributes] {
      return outcome([&](Dictionary* station, std::optional<Error>& why) {
        return prepared->check(attributes, &sources, station, why);
      });
    });
  }
  for (std::size_t job = 0; job < jobs.size(); job += 2) EXPECT_EQ(jobs[job].second(), jobs[job + 1].second());

  jobs.emplace_back("list", [&]() -> Value {
    std::optional<Error> why;
    return kernel->sfcCheckList(local, device(3, "LL"), why).value();
  });
  jobs.emplace_back("prepare", [&] {
    const auto own = kernel->prepare(&local);
    std::optional<Error> why;
    return Value(own->check(device(4, "LL"), nullptr, nullptr, why).value());
  });
  jobs.emplace_back("predicate", [&]() -> Value {
    std::optional<Error> why;
    const Value attribute("a text that is long enough");
    return *AbstractTreeNode::parsePredicateString("hasPrefix OR isUppercase", *kernel, why)
                ->process(&attribute, &attribute, nullptr);
  });
  jobs.emplace_back("description", [&] { return Value(description(&shared)); });
  jobs.emplace_back("writing", [&] {
    std::string why;
    return Value(writePropertyList(shared, PropertyListFormat::kBinary, why).value());
  });
  jobs.emplace_back("changing a copy", [&] {
    Dictionary copy = local;
    copy.set("new", shared);
    copy.erase("version");
    Array list = *shared.ifArray();
    list.set(1, copy);
    return Value(list);
  });
  expectSameEverywhere(jobs);
}

TEST(ThreadTest, OneStationPlatformServesAll) {
  std::string error;
  const KeyPair keys = generateKeyPair(KeyAlgorithm::kEd25519, error).value();
  const KeyPair otherKeys = generateKeyPair(KeyAlgorithm::kEd25519, error).value();
  const TemporaryFile publicKey(keys.publicKey);
  const TemporaryFile privateKey(keys.privateKey);
  const TemporaryFile otherPrivateKey(otherKeys.privateKey);
  const StationPlatform platform(publicKey.path(), StationPlatform::Log::kNone);

  std::vector<std::pair<const char*, std::function<Value()>>> jobs;
  const auto add = [&](const char* name, const Dictionary& document, bool holds) {
    const auto validation = [&platform, document]() -> Value {
      std::optional<std::string> why;
      const auto validated = platform.validatedPropertyListFromSignedDictionary(document, "", why);
      return validated ? *validated : Value(*why);
    };
    EXPECT_EQ(validation().ifDictionary() != nullptr, holds) << name;
    jobs.emplace_back(name, validation);
  };
  for (int number = 0; number < 10; ++number) {  // more than a small memory of verdicts holds
    const std::string payload = "{ version = " + std::to_string(number) + "; A = \"a text that is long enough\"; }";
    const Dictionary document = signPropertyList(Data(bytesOf(payload)), privateKey.path(), error).value();
    add("a document", document, true);
    Dictionary changed = document;
    changed.set("payload", Data(bytesOf(payload + " ")));
    add("a changed document", changed, false);
    add("a document of another key", *signPropertyList(Data(bytesOf(payload)), otherPrivateKey.path(), error), false);
  }
  expectSameEverywhere(jobs);
}

}  // namespace
}  // namespace tavik
