// The check run: a hand-written loop over the same rules beside the kernel's check, and beside checks with rules that
// were prepared once, also by two threads that share them. What is compared is the same work: every rule's verdict and
// texts are compared before anything is timed. Times include letting go of the records.

#include <benchmark/benchmark.h>
#include <tavik/PreparedRules.h>
#include <tavik/PropertyList.h>
#include <tavik/ZRTTavikKernel.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
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

// ---- The reference: what one would write by hand ----

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

std::string joined(const Texts& texts) {
  std::string all;
  for (const std::string& text : texts) {
    if (!all.empty()) all += ',';
    all += text;
  }
  return all;
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
      const auto [actual, wanted] = numbers();
      return {actual == wanted, text(actual), "equal " + text(wanted)};
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

std::vector<Record> checkByHand(const Attributes& attributes, const std::vector<Rule>& rules) {
  std::vector<Record> records;
  records.reserve(rules.size());
  for (const Rule& rule : rules) {
    const auto attribute = attributes.find(rule.attribute);
    if (attribute == attributes.end()) {
      records.push_back({rule.name, "attribute " + rule.attribute + " not found from device!", "N/A", false});
      continue;
    }
    Finding finding = judge(rule.predicate, attribute->second, rule.expected);
    records.push_back({rule.name, std::move(finding.actual), std::move(finding.expected), finding.result});
  }
  return records;
}

// ---- The kernel, and that it does the same ----

// Takes every document as it is: the signature check is measured elsewhere.
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
  std::string name = (std::filesystem::temp_directory_path() / "tavik-bench-XXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) fail("no folder for the rule library");
  const std::string path = name + "/rule-library.plist";
  std::string error;
  const Data file = writePropertyList(library, PropertyListFormat::kBinary, error).value();
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(file.bytes().data()), static_cast<std::streamsize>(file.size()));
  auto kernel = ZRTTavikKernel::init(path, std::make_shared<Trusting>());
  std::filesystem::remove_all(name);
  if (kernel == nullptr) fail("no kernel");
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

// One size of the workload, ready to be checked in every way.
struct Scene {
  explicit Scene(std::size_t ruleCount)
      : work(Workload::of(ruleCount)),
        attributes(work.attributes.begin(), work.attributes.end()),
        device(work.device()),
        localRules(work.localRules()),
        kernel(makeKernel(work.ruleLibrary())),
        prepared(kernel->prepare(&localRules)) {
    const std::vector<Record> byHand = checkByHand(attributes, work.rules);
    const auto passing = static_cast<std::size_t>(std::ranges::count_if(byHand, &Record::result));
    if (passing != ruleCount * 9 / 10) fail("not nine rules in ten pass");
    std::optional<Error> error;
    compare(byHand, kernel->check(device, &localRules, nullptr, error));
    compare(byHand, prepared->check(device, nullptr, nullptr, error));
  }

  static const Scene& of(const benchmark::State& state) {
    static const std::map<std::int64_t, Scene> scenes = [] {
      std::map<std::int64_t, Scene> made;
      for (const std::int64_t count : {20, 200, 2000}) made.try_emplace(count, static_cast<std::size_t>(count));
      return made;
    }();
    return scenes.at(state.range(0));
  }

  Workload work;
  Attributes attributes;
  Dictionary device;
  Dictionary localRules;
  std::unique_ptr<const ZRTTavikKernel> kernel;
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

void reference(benchmark::State& state) {
  const Scene& scene = Scene::of(state);
  measure(state, [&] { return checkByHand(scene.attributes, scene.work.rules); });
}

void check(benchmark::State& state) {
  const Scene& scene = Scene::of(state);
  std::optional<Error> error;
  measure(state, [&] { return scene.kernel->check(scene.device, &scene.localRules, nullptr, error); });
}

void checkPrepared(benchmark::State& state) {
  const Scene& scene = Scene::of(state);
  const Dictionary device = scene.work.device();  // each thread checks a device of its own
  std::optional<Error> error;
  measure(state, [&] { return scene.prepared->check(device, nullptr, nullptr, error); });
}

BENCHMARK(reference)->ArgName("rules")->Arg(20)->Arg(200)->Arg(2000);
BENCHMARK(check)->ArgName("rules")->Arg(20)->Arg(200)->Arg(2000);
BENCHMARK(checkPrepared)->ArgName("rules")->Arg(20)->Arg(200)->Arg(2000);
BENCHMARK(checkPrepared)->ArgName("rules")->Arg(20)->Arg(200)->Arg(2000)->Threads(2)->UseRealTime();

}  // namespace
}  // namespace tavik::bench

BENCHMARK_MAIN();
