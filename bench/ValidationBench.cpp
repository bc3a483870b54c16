// The signature check: the first validation of a signed document compared with repeated validation.

#include <benchmark/benchmark.h>
#include <tavik/PropertyList.h>
#include <tavik/StationPlatform.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <string_view>

#include "Workload.h"

namespace tavik::bench {
namespace {

[[noreturn]] void fail(const std::string& why) {
  std::fprintf(stderr, "ValidationBench: %s\n", why.c_str());
  std::abort();
}

// The files of a key pair in a temporary folder.
class KeyFiles {
 public:
  KeyFiles() {
    std::string name = (std::filesystem::temp_directory_path() / "tavik-bench-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) fail("no folder for the keys");
    folder_ = name;
    std::string error;
    const std::optional<KeyPair> pair = generateKeyPair(KeyAlgorithm::kEd25519, error);
    if (!pair) fail(error);
    std::ofstream(privatePath()) << pair->privateKey;
    std::ofstream(publicPath()) << pair->publicKey;
  }
  KeyFiles(const KeyFiles&) = delete;
  KeyFiles& operator=(const KeyFiles&) = delete;
  ~KeyFiles() { std::filesystem::remove_all(folder_); }

  [[nodiscard]] std::string privatePath() const { return folder_ / "private.pem"; }
  [[nodiscard]] std::string publicPath() const { return folder_ / "public.pem"; }
  [[nodiscard]] std::string statePath() const { return folder_ / "state.json"; }

 private:
  std::filesystem::path folder_;
};

const KeyFiles& keyFiles() {
  static const KeyFiles files;
  return files;
}

Dictionary signedLibrary(const benchmark::State& state) {
  const Dictionary library = Workload::of(static_cast<std::size_t>(state.range(0))).ruleLibrary();
  std::string error;
  const std::optional<Data> payload = writePropertyList(library, PropertyListFormat::kXml, error);
  if (!payload) fail(error);
  std::optional<Dictionary> document = signPropertyList(*payload, keyFiles().privatePath(), error);
  if (!document) fail(error);
  return *document;
}

Value validated(const StationPlatform& platform, const Dictionary& document) {
  std::optional<std::string> error;
  std::optional<Value> value =
      platform.validatedPropertyListFromSignedDictionary(document, keyFiles().publicPath(), error);
  if (!value) fail(*error);
  return *value;
}

void validateFirst(benchmark::State& state) {
  const Dictionary document = signedLibrary(state);
  for (auto _ : state) {
    const StationPlatform platform;
    benchmark::DoNotOptimize(validated(platform, document));
  }
}

// The same dictionary again, as in a host that checks many devices.
void validateAgain(benchmark::State& state) {
  const Dictionary document = signedLibrary(state);
  const StationPlatform platform;
  validated(platform, document);
  for (auto _ : state) benchmark::DoNotOptimize(validated(platform, document));
}

// The same bytes in other memory blocks, as after reading the file again.
void validateCopy(benchmark::State& state) {
  const Dictionary document = signedLibrary(state);
  Dictionary copy = document;
  copy.set("payload", Data(document.findData("payload")->bytes()));
  const StationPlatform platform;
  validated(platform, document);
  for (auto _ : state) benchmark::DoNotOptimize(validated(platform, copy));
}

const KeyFiles& secondKeyFiles() {
  static const KeyFiles files;
  return files;
}

// A statement with two signatures.
Dictionary signedTwice(const benchmark::State& state) {
  const Dictionary plain = signedLibrary(state);
  std::string error;
  std::optional<Dictionary> document =
      signStatement(*plain.findData("payload"), {.role = DocumentRole::kLibrary, .product = "Bench", .expires = {}},
                    keyFiles().privatePath(), error);
  if (document) document = addSignature(*document, secondKeyFiles().privatePath(), error);
  if (!document) fail(error);
  return *document;
}

TrustPolicy policyOfTwo() {
  TrustPolicy policy;
  policy.keys = {{"first", keyFiles().publicPath()}, {"second", secondKeyFiles().publicPath()}};
  policy.threshold = 2;
  return policy;
}

void validateTwoKeysFirst(benchmark::State& state) {
  const Dictionary document = signedTwice(state);
  for (auto _ : state) {
    const StationPlatform platform(policyOfTwo());
    benchmark::DoNotOptimize(validated(platform, document));
  }
}

// With a state file, which is read for every validation.
void validateTwoKeysAgain(benchmark::State& state) {
  const Dictionary document = signedTwice(state);
  TrustPolicy policy = policyOfTwo();
  policy.state = keyFiles().statePath();
  const StationPlatform platform(policy);
  validated(platform, document);
  for (auto _ : state) benchmark::DoNotOptimize(validated(platform, document));
}

BENCHMARK(validateFirst)->ArgName("rules")->Arg(20)->Arg(400);
BENCHMARK(validateAgain)->ArgName("rules")->Arg(20)->Arg(400);
BENCHMARK(validateCopy)->ArgName("rules")->Arg(20)->Arg(400);
BENCHMARK(validateTwoKeysFirst)->ArgName("rules")->Arg(20)->Arg(400);
BENCHMARK(validateTwoKeysAgain)->ArgName("rules")->Arg(20)->Arg(400);

}  // namespace
}  // namespace tavik::bench

BENCHMARK_MAIN();
