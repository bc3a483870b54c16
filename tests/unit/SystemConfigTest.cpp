// SysCfg blobs and control bits.

#include <gtest/gtest.h>
#include <tavik/SystemConfig.h>

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "support/Cases.h"

namespace tavik {
namespace {

using Bytes = std::vector<std::uint8_t>;
constexpr std::uint32_t kIndirect = 0x434E5442;

void append(Bytes& bytes, std::uint32_t word) {
  for (int shift = 0; shift < 32; shift += 8) bytes.push_back(static_cast<std::uint8_t>(word >> shift));
}

// A blob: header, entry count, entries of five words, other bytes.
Bytes blob(std::uint32_t count, const std::vector<std::array<std::uint32_t, 5>>& entries, std::string_view rest = "") {
  Bytes bytes(20, 0xEE);
  append(bytes, count);
  for (const auto& entry : entries) {
    for (const std::uint32_t word : entry) append(bytes, word);
  }
  bytes.insert(bytes.end(), rest.begin(), rest.end());
  return bytes;
}

Dictionary fields(const Bytes& bytes) {
  const Data data(bytes);
  return SystemConfig::sysCfgFromData(&data);
}

TEST(SystemConfigTest, ConvertsTextToStrings) {
  for (const Case& c : casesIn("syscfg-texts.json")) {  // no "text": remains data
    const Data bytes(fromHex(c["bytes"]));
    EXPECT_EQ(SystemConfig::tryConvertValueToString(bytes), c.has("text") ? Value(c["text"]) : Value(bytes))
        << c["why"];
  }
}

TEST(SystemConfigTest, TagsStartWithTheMostSignificantByte) {
  EXPECT_EQ(SystemConfig::convertTag(0x53724E6D), "SrNm");
  EXPECT_EQ(SystemConfig::convertTag(kIndirect), "CNTB");
  EXPECT_EQ(SystemConfig::convertTag(0x41FF0080), std::string("A\xC3\xBF\0\xC2\x80", 6));
}

TEST(SystemConfigTest, ReadsBlobs) {
  constexpr std::uint32_t kA = 0x41414141, kB = 0x42424242;  // "AAAA", "BBBB"
  const Dictionary both{{"AAAA", "US"}, {"BBBB", "hidden text"}};
  const std::array<std::uint32_t, 5> plain{kA, 0x5355};
  struct Case {
    const char* why;
    Bytes bytes;
    Dictionary expected;
  };
  const Case cases[] = {
      {"no bytes", {}, {}},
      {"a header cut off", Bytes(23, 1), {}},
      {"no entries", blob(0, {plain}), {}},
      {"only as many entries as counted", blob(1, {plain, {kB}}), {{"AAAA", "US"}}},
      {"a count larger than the number of entries", blob(0xFFFFFFFF, {plain}), {{"AAAA", "US"}}},
      {"an entry cut off", blob(2, {plain}, "BBBB..............."), {{"AAAA", "US"}}},
      {"a plain value that is not text",
       blob(1, {{kA, 0x00585355, 0x58}}),
       {{"AAAA", Data{0x55, 0x53, 0x58, 0, 0x58, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}}}},
      {"a plain value of padding", blob(1, {{kA}}), {{"AAAA", ""}}},
      {"an indirect value", blob(2, {plain, {kIndirect, kB, 11, 64}}, "hidden text"), both},
      {"an indirect value inside its own entry", blob(1, {{kIndirect, kB, 4, 28, 7}}), {{"BBBB", "BBBB"}}},
      {"an empty indirect value at the end", blob(1, {{kIndirect, kB, 0, 44}}), {{"BBBB", ""}}},
      {"an indirect value one byte past the end",
       blob(2, {plain, {kIndirect, kB, 12, 64}}, "hidden text"),
       {{"AAAA", "US"}}},
      {"an empty indirect value past the end", blob(2, {plain, {kIndirect, kB, 0, 65}}), {{"AAAA", "US"}}},
      {"an indirect value far past the end",
       blob(2, {plain, {kIndirect, kB, 0xFFFFFFFF, 0xFFFFFFFF}}),
       {{"AAAA", "US"}}},
      {"no entries after an invalid one", blob(2, {{kIndirect, kB, 1, 99}, plain}), {}},
      {"the later of two entries wins", blob(2, {{kA, 0x58}, plain}), {{"AAAA", "US"}}},
      {"a later indirect entry wins", blob(2, {plain, {kIndirect, kA, 1, 64}}, "X"), {{"AAAA", "X"}}},
      {"an indirect entry with the marker as tag", blob(1, {{kIndirect, kIndirect, 1, 44}}, "X"), {{"CNTB", "X"}}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    EXPECT_EQ(fields(c.bytes), c.expected);
  }
  EXPECT_EQ(SystemConfig::sysCfgFromData(nullptr), Dictionary());
}

TEST(SystemConfigTest, LimitsOverlappingValues) {
  const auto overlapping = [](std::uint32_t count) {
    const std::uint32_t size = 24 + 20 * count;
    std::vector<std::array<std::uint32_t, 5>> entries;
    for (std::uint32_t i = 0; i < count; ++i) entries.push_back({kIndirect, i, size, 0});
    return blob(count, entries);
  };
  EXPECT_EQ(fields(overlapping(900)).size(), 900U);                               // 18 KB: all
  EXPECT_EQ(fields(overlapping(10000)).size(), (16U << 20) / (24 + 20 * 10000));  // 200 KB: 16 MiB
  EXPECT_EQ(fields(overlapping(200000)).size(), 8U);                              // 4 MB: eight times the blob
}

Bytes record(std::uint32_t status, std::uint32_t timestamp, std::string_view version) {
  Bytes bytes;
  append(bytes, status);
  append(bytes, timestamp);
  bytes.insert(bytes.end(), version.begin(), version.end());
  bytes.resize(SystemConfig::kControlBitSize);
  return bytes;
}

TEST(SystemConfigTest, ReadsControlBits) {
  struct Case {
    const char* why;
    std::uint32_t status, timestamp;
    std::string version;
    Dictionary expected;
  };
  const auto expected = [](const char* state, int erase, int absFail, int relFail, double seconds,
                           std::string_view version) {
    return Dictionary{{"Test State", state},
                      {"Erase Count", Value(erase)},
                      {"Abs Fail Count", Value(absFail)},
                      {"Rel Fail Count", Value(relFail)},
                      {"Timestamp", Date::sinceEpoch(seconds)},
                      {"Software Version", version}};
  };
  using namespace std::string_literals;
  const std::string longest = "123456789012345678901234";
  const Case cases[] = {
      {"inverted counters", 0xFFFFFFFF, 0, "", expected("Untested", 0, 0, 0, 0, "")},
      {"all zero", 0, 1, "1.0", expected("Pass", 4095, 1023, 255, 1, "1.0")},
      {"bits of each field", 0xABCFFFFE & ~0x3C0U, 0x80000000, "", expected("Fail", 0x543, 0, 0xF0, 2147483648.0, "")},
      {"the last second", 0x000FFC01, 0xFFFFFFFF, longest, expected("Incomplete", 4095, 0, 255, 4294967295.0, longest)},
      {"text ends at the first NUL", 0, 0, "AB\0CD"s, expected("Pass", 4095, 1023, 255, 0, "AB")},
      {"high bytes", 0, 0, "\x80\xFF", expected("Pass", 4095, 1023, 255, 0, "\xC2\x80\xC3\xBF")},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    const Bytes bytes = record(c.status, c.timestamp, c.version);
    const Dictionary decoded =
        SystemConfig::convertControlBitToDict(std::span(bytes).first<SystemConfig::kControlBitSize>());
    EXPECT_EQ(decoded, c.expected);
    std::string keys;
    for (const auto [key, value] : decoded) keys += std::string(key) + ", ";
    EXPECT_EQ(keys, "Test State, Erase Count, Abs Fail Count, Rel Fail Count, Timestamp, Software Version, ");
  }
  EXPECT_EQ(SystemConfig::testStateToString(3), "Untested");
  EXPECT_EQ(SystemConfig::testStateToString(4), "Unknown");
}

TEST(SystemConfigTest, ReadsCompleteRecords) {
  Bytes block(64, 0xEE);
  for (std::uint32_t i = 0; i < 256; ++i) {
    const Bytes one = record(i % 4, i, std::to_string(i));
    block.insert(block.end(), one.begin(), one.end());
  }
  for (std::size_t size = 0; size <= block.size(); size += size < 200 || size > 8100 ? 1 : 32) {
    const Data data(std::span<const std::uint8_t>(block).first(size));
    const Array records = SystemConfig::controlBitsFromData(&data);
    ASSERT_EQ(records.size(), size < 64 ? 0 : std::min<std::size_t>(254, (size - 64) / 32)) << size;
    if (records.empty()) continue;
    const Dictionary& last = *records.at(records.size() - 1).ifDictionary();
    ASSERT_EQ(last.findString("Software Version"), std::to_string(records.size() - 1));
  }
  EXPECT_TRUE(SystemConfig::controlBitsFromData(nullptr).empty());
}

}  // namespace
}  // namespace tavik
