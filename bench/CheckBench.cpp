// Check runs compared with a hand-written loop over the same rules: checks with and without prepared rules, and two
// threads that share prepared rules. Before timing, the benchmark verifies that all rules have the same results and
// texts. Times include releasing the records.

#include <benchmark/benchmark.h>
#include <tavik/PreparedRules.h>
#include <tavik/ZRTTavikKernel.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <variant>
#include <vector>

#include "Allocations.h"
#include "Workload.h"

namespace tavik::bench {
namespace {

// ---- The hand-written reference ----

struct Record {
  std::string rule;
  std::string actual;
  std::string expected;
  bool result;
};

struct Finding {
  bool result;
  std::string actual;
  std::string expected;
};

std::string text(std::int64_t number) {
  char digits[20];
  return {digits, std::to_chars(std::begin(digits), std::end(digits), number).ptr};
}

bool equalIgnoringCase(std::string_view left, std::string_view right) {
  const auto folded = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; };
  return std::ranges::equal(left, right, {}, folded, folded);
}

const std::string& text(const std::string& text) { return text; }

template <class List>
std::string joined(const List& list) {
  std::string all;
  for (const auto& element : list) {
    if (!all.empty()) all += ',';
    all += text(element);
  }
  return all;
}

// An integer or a numeric string.
std::int64_t integerOf(const Plain& plain) {
  if (const std::int64_t* integer = std::get_if<std::int64_t>(&plain)) return *integer;
  const std::string& digits = std::get<std::string>(plain);
  std::int64_t integer = 0;
  std::from_chars(digits.data(), digits.data() + digits.size(), integer);
  return integer;
}

std::string described(const Bytes& bytes) {
  std::string digits = "<";
  digits.reserve(2 * bytes.size() + bytes.size() / 4 + 2);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (i != 0 && i % 4 == 0) digits += ' ';
    digits += "0123456789abcdef"[bytes[i] >> 4U];
    digits += "0123456789abcdef"[bytes[i] & 0xFU];
  }
  return digits + '>';
}

std::string hexadecimal(const Bytes& bytes) {
  std::string digits;
  digits.reserve(2 * bytes.size());
  for (const std::uint8_t byte : bytes) {
    digits += "0123456789abcdef"[byte >> 4U];
    digits += "0123456789abcdef"[byte & 0xFU];
  }
  return digits;
}

Finding judge(Predicate predicate, const Plain& attribute, const Plain& expected) {
  const auto texts = [&] {
    return std::pair<const std::string&, const std::string&>(std::get<std::string>(attribute),
                                                             std::get<std::string>(expected));
  };
  const auto numbers = [&] { return std::pair(std::get<std::int64_t>(attribute), std::get<std::int64_t>(expected)); };
  switch (predicate) {
    case Predicate::kEqual: {
      const std::int64_t actual = integerOf(attribute);
      const std::int64_t wanted = std::get<std::int64_t>(expected);
      const std::string* digits = std::get_if<std::string>(&attribute);
      return {actual == wanted, digits != nullptr ? *digits : text(actual), "equal " + text(wanted)};
    }
    case Predicate::kGreaterThan: {
      const auto [actual, wanted] = numbers();
      return {actual > wanted, text(actual), "greater than " + text(wanted)};
    }
    case Predicate::kEqualOrGreaterThan: {
      const auto [actual, wanted] = numbers();
      return {actual >= wanted, text(actual), "equal " + text(wanted) + " or greater than " + text(wanted)};
    }
    case Predicate::kNotEqual: {
      const auto [actual, wanted] = numbers();
      return {actual != wanted, text(actual), "not equal " + text(wanted)};
    }
    case Predicate::kCaseInsensitiveEqual: {
      const auto& [actual, wanted] = texts();
      return {equalIgnoringCase(actual, wanted), actual, "caseInsensitiveEqual:" + wanted};
    }
    case Predicate::kHasPrefix: {
      const auto& [actual, wanted] = texts();
      return {actual.starts_with(wanted), actual, "has prefix " + wanted};
    }
    case Predicate::kHasSuffix: {
      const auto& [actual, wanted] = texts();
      return {actual.ends_with(wanted), actual, "has suffix " + wanted};
    }
    case Predicate::kHasPrefixAndHasSuffix: {
      const auto& [actual, wanted] = texts();
      return {actual.starts_with(wanted) && actual.ends_with(wanted), actual + " and " + actual,
              "has prefix " + wanted + " and has suffix " + wanted};
    }
    case Predicate::kValueInList: {
      const std::string& actual = std::get<std::string>(attribute);
      const Texts& list = std::get<Texts>(expected);
      return {std::ranges::find(list, actual) != list.end(), actual, "one of " + joined(list)};
    }
    case Predicate::kIntegersInList: {
      const Integers& actual = std::get<Integers>(attribute);
      const Integers& list = std::get<Integers>(expected);
      const auto isListed = [&](std::int64_t integer) { return std::ranges::find(list, integer) != list.end(); };
      return {std::ranges::all_of(actual, isListed), joined(actual), "one of " + joined(list)};
    }
    case Predicate::kEqualData: {
      std::string actual = described(std::get<Bytes>(attribute));
      const std::string& wanted = std::get<std::string>(expected);
      const bool same = equalIgnoringCase(actual, wanted);
      return {same, std::move(actual), "equal " + wanted};
    }
    case Predicate::kCaseInsensitiveEqualData: {
      std::string actual = hexadecimal(std::get<Bytes>(attribute));
      const std::string& wanted = std::get<std::string>(expected);
      const bool same = equalIgnoringCase(actual, wanted);
      return {same, std::move(actual), "caseInsensitiveEqual:" + wanted};
    }
  }
  std::abort();
}

using Attributes = std::unordered_map<std::string, Plain>;
using Sources = std::unordered_map<std::string, Attributes>;

Sources sourcesOf(const std::vector<Rule>& rules) {
  Sources sources;
  for (const Rule& rule : rules) {
    if (!rule.source.empty()) sources[rule.source].emplace(rule.attribute, rule.expected);
  }
  return sources;
}

std::vector<Record> checkByHand(const Attributes& attributes, const Sources& sources, const std::vector<Rule>& rules) {
  std::vector<Record> records;
  records.reserve(rules.size());
  for (const Rule& rule : rules) {
    const auto attribute = attributes.find(rule.attribute);
    if (attribute == attributes.end()) {
      records.push_back({rule.name, "attribute " + rule.attribute + " not found from device!", "N/A", false});
      continue;
    }
    const Plain& expected = rule.source.empty() ? rule.expected : sources.at(rule.source).at(rule.attribute);
    Finding finding = judge(rule.predicate, attribute->second, expected);
    records.push_back({rule.name, std::move(finding.actual), std::move(finding.expected), finding.result});
  }
  return records;
}

// ---- The kernel, and verification of its results ----

// Accepts every document; ValidationBench measures the signature check.
class Trusting : public Platform {
 public:
  std::optional<Value> validatedPropertyListFromSignedDictionary(
      const Dictionary& signedDictionary, const std::string& /*publicKeyPath*/,
      std::optional<std::string>& /*errorDescription*/) const override {
    return signedDictionary;
  }
  bool logs() const override { return false; }
};

[[noreturn]] void fail(const std::string& why) {
  std::fprintf(stderr, "CheckBench: %s\n", why.c_str());
  std::abort();
}

std::unique_ptr<const ZRTTavikKernel> makeKernel(const Dictionary& library) {
  Reason reason;
  auto kernel = ZRTTavikKernel::init(library, std::make_shared<Trusting>(), reason);
  if (kernel == nullptr) fail("no kernel: " + reason.description);
  return kernel;
}

constexpr std::size_t kVersionRecords = 3;

void compare(const std::vector<Record>& byHand, const std::optional<Array>& records) {
  if (!records || records->size() != byHand.size() + kVersionRecords) fail("not a record for every rule");
  for (std::size_t i = 0; i < byHand.size(); ++i) {
    const Dictionary& record = *records->at(i + kVersionRecords).ifDictionary();
    if (description(record.find("rule")) != byHand[i].rule || description(record.find("actual")) != byHand[i].actual ||
        description(record.find("expected")) != byHand[i].expected ||
        booleanValue(record.find("result")) != byHand[i].result) {
      fail("the kernel and the reference differ in rule " + byHand[i].rule);
    }
  }
}

// A workload of one size, prepared for all kinds of checks.
struct Scene {
  Scene(std::size_t ruleCount, Workload::Mix mix)
      : work(Workload::of(ruleCount, mix)),
        attributes(work.attributes.begin(), work.attributes.end()),
        plainSources(sourcesOf(work.rules)),
        device(work.device()),
        sources(work.sources()),
        localRules(work.localRules()),
        kernel(makeKernel(work.ruleLibrary())),
        prepared(kernel->prepare(&localRules)) {
    const std::vector<Record> byHand = checkByHand(attributes, plainSources, work.rules);
    const auto passing = static_cast<std::size_t>(std::ranges::count_if(byHand, &Record::result));
    if (passing != ruleCount * 9 / 10) fail("not nine rules in ten pass");
    std::optional<Error> error;
    compare(byHand, kernel->check(device, &localRules, &sources, error));
    compare(byHand, prepared->check(device, &sources, nullptr, error));
  }

  // All are created before the first measurement, so that they share the state of the heap.
  static const Scene& of(Workload::Mix mix, const benchmark::State& state) {
    using enum Workload::Mix;
    static const std::map<std::pair<Workload::Mix, std::int64_t>, Scene> scenes = [] {
      std::map<std::pair<Workload::Mix, std::int64_t>, Scene> made;
      for (const Workload::Mix each : {kComparisons, kDevice, kReferences, kCombinations}) {
        for (const std::int64_t count : {20, 200, 2000}) {
          made.try_emplace({each, count}, static_cast<std::size_t>(count), each);
        }
      }
      return made;
    }();
    return scenes.at({mix, state.range(0)});
  }

  Workload work;
  Attributes attributes;
  Sources plainSources;
  Dictionary device;
  Dictionary sources;
  Dictionary localRules;
  std::unique_ptr<const ZRTTavikKernel> kernel;
  std::unique_ptr<const PreparedRules> prepared;
};

// Many rules with predicates that do more than compare, for one device.
struct OtherPredicates {
  explicit OtherPredicates(std::size_t ruleCount) {
    constexpr std::size_t kControlBitBlock = 8192;
    const std::vector<std::uint8_t> untested(kControlBitBlock, 0xFF);
    const Dictionary mask{{"Mask", Data({0xFF, 0xFF, 0, 0})}, {"Result", Data({0x12, 0x34, 0, 0})}};
    struct Template {
      std::string_view predicate;
      std::string_view attribute;
      Value actual;
      std::optional<Value> expected = {};
    };
    const Template templates[] = {
        {"MPN4CListCheck", "SerialNumber", "D2K64705017KQ2", Array::of("7KQ1", "7KQ2", "7KQ3")},
        {"validIMEI", "IMEI", "001044120005019", Array::of("00104411", "00104412")},
        {"isUppercase", "BoardName", "DUN4410-7712"},
        {"dataNotNull", "BootKeyDigest", Data({0x48, 0xE4, 0x06, 0xBC, 0xCF, 0x98, 0x9B, 0x6D, 0xB2, 0xA3})},
        {"boolEqual", "BootLoaderLocked", Value(true), Value(true)},
        {"nvramWhiteList", "FirmwareVariables", Dictionary{{"language", "en"}, {"boot_count", "14"}},
         Array::of("language", "boot_count", "display_level")},
        {"controlBitCheck", "ControlBits", Data(untested), Array::of(Value(3), Value(17), Value(42))},
        {"equalMask", "RadioConfiguration", Data({0x12, 0x34, 0x56, 0x78}), mask},
        {"minimumNandSize", "TotalDiskCapacity", Value(64035676160), Value(32)},
    };
    Dictionary library{{"version", "31"}};
    Dictionary entries;
    for (std::size_t i = 0; i < ruleCount; ++i) {
      const auto& [predicate, attribute, actual, expected] = templates[i % std::size(templates)];
      Dictionary definition{{"attribute", attribute}, {"predicate", predicate}};
      if (expected) definition.set("value", *expected);
      const std::string name = "Check of " + std::string(predicate) + ' ' + std::to_string(i);
      library.set(name, definition);
      entries.set(name, Dictionary());
      device.set(attribute, actual);
    }
    const Dictionary localRules{{"version", "12"}, {"GenericRules", entries}};
    prepared = makeKernel(library)->prepare(&localRules);
    if (prepared->run(device).verdict == Verdict::kNone) fail("no verdict");
  }

  Dictionary device;
  std::unique_ptr<const PreparedRules> prepared;
};

// ---- Cases ----

template <class Check>
void measure(benchmark::State& state, Check check) {
  const std::uint64_t before = allocations();
  for (auto _ : state) {
    auto records = check();
    benchmark::DoNotOptimize(records);
  }
  const auto rules = static_cast<double>(state.iterations() * state.range(0));
  state.SetItemsProcessed(state.iterations() * state.range(0));
  state.counters["allocationsPerRule"] =
      benchmark::Counter(static_cast<double>(allocations() - before) / rules, benchmark::Counter::kAvgThreads);
}

template <Workload::Mix kMix>
void reference(benchmark::State& state) {
  const Scene& scene = Scene::of(kMix, state);
  measure(state, [&] { return checkByHand(scene.attributes, scene.plainSources, scene.work.rules); });
}

void check(benchmark::State& state) {
  const Scene& scene = Scene::of(Workload::Mix::kComparisons, state);
  std::optional<Error> error;
  measure(state, [&] { return scene.kernel->check(scene.device, &scene.localRules, nullptr, error); });
}

template <Workload::Mix kMix>
void checkPrepared(benchmark::State& state) {
  const Scene& scene = Scene::of(kMix, state);
  const Dictionary device = scene.work.device();  // each thread has its own device
  std::optional<Error> error;
  measure(state, [&] { return scene.prepared->check(device, &scene.sources, nullptr, error); });
}

void checkOtherPredicates(benchmark::State& state) {
  static const OtherPredicates rules(static_cast<std::size_t>(state.range(0)));
  std::optional<Error> error;
  measure(state, [&] { return rules.prepared->check(rules.device, nullptr, nullptr, error); });
}

constexpr auto kComparisons = Workload::Mix::kComparisons;
constexpr auto kDevice = Workload::Mix::kDevice;
constexpr auto kReferences = Workload::Mix::kReferences;
constexpr auto kCombinations = Workload::Mix::kCombinations;

BENCHMARK(reference<kComparisons>)->Name("reference")->ArgName("rules")->Arg(20)->Arg(200)->Arg(2000);
BENCHMARK(check)->ArgName("rules")->Arg(20)->Arg(200)->Arg(2000);
BENCHMARK(checkPrepared<kComparisons>)->Name("checkPrepared")->ArgName("rules")->Arg(20)->Arg(200)->Arg(2000);
BENCHMARK(checkPrepared<kComparisons>)
    ->Name("checkPrepared")
    ->ArgName("rules")
    ->Arg(200)
    ->Arg(2000)
    ->Threads(2)
    ->UseRealTime();
BENCHMARK(reference<kDevice>)->Name("deviceReference")->ArgName("rules")->Arg(20)->Arg(200);
BENCHMARK(checkPrepared<kDevice>)->Name("deviceCheckPrepared")->ArgName("rules")->Arg(20)->Arg(200);
BENCHMARK(checkPrepared<kReferences>)->Name("referencesCheckPrepared")->ArgName("rules")->Arg(200);
BENCHMARK(checkPrepared<kCombinations>)->Name("combinationsCheckPrepared")->ArgName("rules")->Arg(200);
BENCHMARK(checkOtherPredicates)->ArgName("rules")->Arg(200);

}  // namespace
}  // namespace tavik::bench

BENCHMARK_MAIN();
