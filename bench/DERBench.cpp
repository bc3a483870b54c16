// Device data: iteration over 1000 DER elements compared with a hand-written loop and OpenSSL, and manifests and SysCfg
// blobs of several sizes, for which the cost per byte must not grow.

#include <benchmark/benchmark.h>
#include <openssl/asn1.h>
#include <tavik/DERDecoder.h>
#include <tavik/ManifestParser.h>
#include <tavik/SystemConfig.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;
constexpr std::uint32_t kElements = 1000;

void append(Bytes& bytes, const Bytes& more) { std::ranges::copy(more, std::back_inserter(bytes)); }

void appendWord(Bytes& bytes, std::uint32_t word) {
  for (int shift = 0; shift < 32; shift += 8) bytes.push_back(static_cast<std::uint8_t>(word >> shift));
}

// An element with a long tag number and a length of one or three octets, as in manifests.
Bytes element(std::uint32_t tag, const Bytes& content) {
  Bytes bytes = {0x9F, static_cast<std::uint8_t>(0x80 | tag >> 14), static_cast<std::uint8_t>(0x80 | tag >> 7),
                 static_cast<std::uint8_t>(tag & 0x7F)};
  bytes[1] |= 0x40;  // not zero: OpenSSL rejects a leading zero
  if (content.size() >= 0x80) {
    append(bytes, {0x82, static_cast<std::uint8_t>(content.size() >> 8)});
  }
  bytes.push_back(static_cast<std::uint8_t>(content.size()));
  append(bytes, content);
  return bytes;
}

// Short elements with one-octet tag numbers, or long ones with four-octet tag numbers.
Bytes elements(bool longForms) {
  Bytes bytes;
  for (std::uint32_t i = 0; i < kElements; ++i) {
    append(bytes, longForms ? element(i, Bytes(200, 'x')) : Bytes{0x04, 0x04, 1, 2, 3, 4});
  }
  return bytes;
}

void countPerElement(benchmark::State& state) { state.SetItemsProcessed(state.iterations() * kElements); }

void walkWithDecoder(benchmark::State& state) {
  const Bytes bytes = elements(state.range(0) != 0);
  const DERDecoder decoder{bytes.data(), static_cast<std::uint32_t>(bytes.size())};
  for (auto _ : state) {
    std::uint32_t count = 0;
    if (DERDecoderGetCount(&decoder, &count) != kDERDecoderErrorNone || count != kElements) std::abort();
    benchmark::DoNotOptimize(count);
  }
  countPerElement(state);
}

void walkWithOpenSSL(benchmark::State& state) {
  const Bytes bytes = elements(state.range(0) != 0);
  for (auto _ : state) {
    std::uint32_t count = 0;
    const unsigned char* position = bytes.data();
    const unsigned char* end = position + bytes.size();
    while (position < end) {
      long length = 0;
      int tag = 0;
      int tagClass = 0;
      if ((ASN1_get_object(&position, &length, &tag, &tagClass, end - position) & 0x80) != 0) std::abort();
      position += length;
      ++count;
    }
    if (count != kElements) std::abort();
    benchmark::DoNotOptimize(count);
  }
  countPerElement(state);
}

// The minimum for iterating over valid elements: checks bounds but not encodings.
void walkByHand(benchmark::State& state) {
  const Bytes bytes = elements(state.range(0) != 0);
  for (auto _ : state) {
    std::uint32_t count = 0;
    const std::uint8_t* position = bytes.data();
    const std::uint8_t* end = position + bytes.size();
    while (end - position >= 2) {
      std::uint32_t tag = *position & 0x1F;
      if (tag == 0x1F) {
        tag = 0;
        do {
          tag = tag << 7 | (*++position & 0x7F);
        } while (end - position > 2 && (*position & 0x80) != 0);
      }
      benchmark::DoNotOptimize(tag);
      std::uint32_t length = *++position;
      ++position;
      if (length >= 0x80) {
        std::uint32_t octets = length & 0x7F;
        if (end - position < octets) std::abort();
        for (length = 0; octets > 0; --octets) length = length << 8 | *position++;
      }
      if (end - position < length) std::abort();
      position += length;
      ++count;
    }
    if (count != kElements) std::abort();
    benchmark::DoNotOptimize(count);
  }
  countPerElement(state);
}

BENCHMARK(walkWithDecoder)->ArgName("long")->Arg(0)->Arg(1);
BENCHMARK(walkByHand)->ArgName("long")->Arg(0)->Arg(1);
BENCHMARK(walkWithOpenSSL)->ArgName("long")->Arg(0)->Arg(1);

Bytes withLength(std::uint8_t identifier, const Bytes& content) {
  Bytes bytes = {identifier, 0x83, static_cast<std::uint8_t>(content.size() >> 16),
                 static_cast<std::uint8_t>(content.size() >> 8), static_cast<std::uint8_t>(content.size())};
  append(bytes, content);
  return bytes;
}

void decodeManifest(benchmark::State& state) {
  Bytes items;
  for (std::int64_t i = 0; i < state.range(0); ++i) {
    append(items, element(static_cast<std::uint32_t>(i), Bytes(20, i % 2 == 0 ? 'x' : '_')));
  }
  Bytes body = {0x30, 0x0B, 0x06, 0x09, 0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x01, 0x05};
  append(body, withLength(0x31, items));
  append(body, {0x04, 0x00, 0xA3, 0x00});
  const tavik::Data manifest(withLength(0x30, body));
  const tavik::Dictionary container{{"RootManifestData", manifest}};
  for (auto _ : state) {
    const auto dictionary = tavik::ManifestParser::rootDictFromData(container);
    if (dictionary->size() != static_cast<std::size_t>(state.range(0))) std::abort();
    benchmark::DoNotOptimize(dictionary);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(manifest.size()));
}

// A blob in which every other field is indirect.
void decodeSysCfg(benchmark::State& state) {
  constexpr std::uint32_t kIndirect = 0x434E5442;
  const auto count = static_cast<std::uint32_t>(state.range(0));
  Bytes bytes(20);
  appendWord(bytes, count);
  for (std::uint32_t i = 0; i < count; ++i) {
    const std::uint32_t place = 24 + 20 * count + 40 * (i / 2);
    for (const std::uint32_t word :
         i % 2 == 0 ? std::vector{i, 0x41414141U, 0U, 0U, 0U} : std::vector{kIndirect, i, 40U, place, 0U}) {
      appendWord(bytes, word);
    }
  }
  append(bytes, Bytes(std::size_t{20} * count, 'x'));
  const tavik::Data blob(bytes);
  for (auto _ : state) {
    const tavik::Dictionary fields = tavik::SystemConfig::sysCfgFromData(&blob);
    if (fields.size() != count) std::abort();
    benchmark::DoNotOptimize(fields);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(blob.size()));
}

void decodeControlBits(benchmark::State& state) {
  const tavik::Data block(Bytes(8192, 'x'));
  for (auto _ : state) benchmark::DoNotOptimize(tavik::SystemConfig::controlBitsFromData(&block));
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(block.size()));
}

BENCHMARK(decodeManifest)->ArgName("items")->RangeMultiplier(8)->Range(8, 1 << 15);
BENCHMARK(decodeSysCfg)->ArgName("entries")->RangeMultiplier(8)->Range(8, 1 << 18);
BENCHMARK(decodeControlBits);

}  // namespace

BENCHMARK_MAIN();
