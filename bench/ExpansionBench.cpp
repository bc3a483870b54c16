// The expansion of a device's packed attributes, a SysCfg blob of 100 entries and both manifests, compared with the
// decoders alone.

#include <benchmark/benchmark.h>
#include <tavik/ManifestParser.h>
#include <tavik/PropertyList.h>
#include <tavik/SystemConfig.h>
#include <tavik/ZRTTavikKernel.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

namespace tavik::bench {
namespace {

void append(std::vector<std::uint8_t>& bytes, std::uint32_t word) {
  for (int shift = 0; shift < 32; shift += 8) bytes.push_back(static_cast<std::uint8_t>(word >> shift));
}

void append(std::vector<std::uint8_t>& bytes, std::string_view text, std::size_t size) {
  bytes.insert(bytes.end(), text.begin(), text.end());
  bytes.resize(bytes.size() + size - text.size());
}

// Every fourth value is too long for its entry and follows the entries.
Data sysCfg(std::uint32_t entries) {
  constexpr std::uint32_t kHeader = 24;
  constexpr std::uint32_t kEntry = 20;
  constexpr std::uint32_t kLong = 32;
  const std::uint32_t size = kHeader + entries * kEntry + (entries + 3) / 4 * kLong;
  std::vector<std::uint8_t> blob;
  append(blob, "DUN2", 4);
  for (const std::uint32_t word : {size, size, 1U, 0U, entries}) append(blob, word);
  std::vector<std::uint8_t> behind;
  for (std::uint32_t i = 0; i < entries; ++i) {
    const std::uint32_t tag = 0x54616730 + (i / 10 << 8) + i % 10;
    if (i % 4 != 0) {
      append(blob, tag);
      append(blob, "DUN4410-" + std::to_string(7000 + i), 16);
      continue;
    }
    append(blob, 0x434E5442);  // "CNTB": the value follows the entries
    append(blob, tag);
    append(blob, kLong);
    append(blob, kHeader + entries * kEntry + static_cast<std::uint32_t>(behind.size()));
    append(blob, 0);
    append(behind, "A value of thirty-two bytes: " + std::to_string(100 + i), kLong);
  }
  blob.insert(blob.end(), behind.begin(), behind.end());
  return Data(blob);
}

const Dictionary& device() {
  static const Dictionary made = [] {
    std::ifstream file(TAVIK_EXAMPLE_DEVICE, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    std::string error;
    const auto value = readPropertyList({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()}, error);
    if (!value) {
      std::fprintf(stderr, "ExpansionBench: %s\n", error.c_str());
      std::abort();
    }
    Dictionary attributes = *value->ifDictionary();
    attributes.set("SysCfgData", sysCfg(100));
    return attributes;
  }();
  return made;
}

void decode(benchmark::State& state) {
  const Data* const blob = device().findData("SysCfgData");
  const Dictionary& manifests = *device().findDictionary("BasebandFirmwareManifestData");
  if (SystemConfig::sysCfgFromData(blob).size() != 100 || !ManifestParser::rootDictFromData(manifests) ||
      !ManifestParser::provisioningDictFromData(manifests)) {
    return state.SkipWithError("the packed attributes cannot be decoded");
  }
  for (auto _ : state) {
    auto fields = SystemConfig::sysCfgFromData(blob);
    auto provisioning = ManifestParser::provisioningDictFromData(manifests);
    auto root = ManifestParser::rootDictFromData(manifests);
    benchmark::DoNotOptimize(fields);
    benchmark::DoNotOptimize(provisioning);
    benchmark::DoNotOptimize(root);
  }
}

void expand(benchmark::State& state) {
  for (auto _ : state) {
    Dictionary attributes = device();
    ZRTTavikKernel::expandSysConfigData(attributes);
    ZRTTavikKernel::expandBasebandManifestData(attributes);
    benchmark::DoNotOptimize(attributes);
  }
}

BENCHMARK(decode);
BENCHMARK(expand);

}  // namespace
}  // namespace tavik::bench

BENCHMARK_MAIN();
