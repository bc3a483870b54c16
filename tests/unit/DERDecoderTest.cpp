// The DER decoder: headers, lengths, sequences, and consistent results for damaged documents.

#include <sys/resource.h>
#include <tavik/DERDecoder.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <span>
#include <tuple>

#include "DERExamination.h"
#include "support/Cases.h"

namespace tavik::der {
namespace {

using Bytes = std::vector<std::uint8_t>;
constexpr std::uint32_t kNone = kDERDecoderErrorNone;
constexpr std::uint32_t kEnd = kDERDecoderErrorEnd;
constexpr std::uint32_t kOverrun = kDERDecoderErrorBufferOverrun;

// A heap block of exactly this size, so that AddressSanitizer detects reads past the end.
class Block {
 public:
  explicit Block(const Bytes& bytes) : size_(bytes.size()), bytes_(new std::uint8_t[size_]) {
    std::ranges::copy(bytes, bytes_.get());
  }
  [[nodiscard]] const std::uint8_t* begin() const { return bytes_.get(); }
  [[nodiscard]] std::uint32_t size() const { return static_cast<std::uint32_t>(size_); }
  [[nodiscard]] DERDecoder decoder() const { return {begin(), size()}; }

 private:
  std::size_t size_;
  std::unique_ptr<std::uint8_t[]> bytes_;
};

std::uint32_t number(const Case& c, std::string_view key) {
  return static_cast<std::uint32_t>(longValue(c.entries.find(key)));
}

/// The status named by the "status" entry; no error without one.
std::uint32_t statusOf(const Case& c) {
  const std::string names[] = {"", "end", "overrun", "bad tag", "bad length", "mismatch", "overflow"};
  return static_cast<std::uint32_t>(std::ranges::find(names, c["status"]) - std::begin(names));
}

struct ExpectedItem {
  int required, tagClass, tag, isConstructed;
};

TEST(DERDecoderTest, ReadsHeaders) {
  for (const Case& c : casesIn("der-headers.json")) {
    SCOPED_TRACE(c["why"]);
    const Block block(fromHex(c["hex"]));
    const DERDecoder decoder = block.decoder();
    DERDecoderItem item{};
    EXPECT_EQ(DERDecoderGetEncodingAt(&decoder, 0, &item.tagClass, &item.tag, &item.isConstructed, nullptr,
                                      &item.dataLength, nullptr, nullptr),
              statusOf(c));
    EXPECT_EQ(std::tuple(item.tagClass, item.tag, item.isConstructed, item.dataLength),
              std::tuple(number(c, "class"), number(c, "tag"), number(c, "constructed"), number(c, "length")));
    examine(fromHex(c["hex"]));
  }
  Bytes longest(130, 0);
  longest[0] = 0x04;
  longest[1] = 0xFF;  // 127 length octets
  longest[128] = 1;
  const DERDecoder decoder{longest.data(), static_cast<std::uint32_t>(longest.size())};
  std::uint32_t count = 0;
  EXPECT_EQ(DERDecoderGetCount(&decoder, &count), kNone);
  EXPECT_EQ(count, 1U);
}

TEST(DERDecoderTest, FindsElementsByTag) {
  const Block block(fromHex("04 01 41 24 00 04 04 61 62 63 64 84 01 43 "));
  const DERDecoder decoder = block.decoder();
  struct Case {
    const char* why;
    std::uint32_t tagClass, tag, isConstructed, from, status, index, length;
  };
  const Case cases[] = {
      {"the first", 0, 4, 0, 0, kNone, 0, 1},    {"the second", 0, 4, 0, 1, kNone, 2, 4},
      {"another form", 0, 4, 1, 0, kNone, 1, 0}, {"another class", 2, 4, 0, 0, kNone, 3, 1},
      {"another tag", 0, 5, 0, 0, kEnd, 0, 77},  {"after the last match", 0, 4, 0, 3, kEnd, 3, 77},
      {"past the end", 2, 4, 0, 9, kEnd, 9, 77},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    const std::uint8_t* data = nullptr;
    std::uint32_t length = 77;
    std::uint32_t index = c.from;
    EXPECT_EQ(DERDecoderGetDataWithTag(&decoder, c.tagClass, c.tag, c.isConstructed, &data, &length, &index), c.status);
    EXPECT_EQ(std::tie(index, length), std::tie(c.index, c.length));
    EXPECT_EQ(data != nullptr, c.status == kNone);
    index = c.from;
    EXPECT_EQ(DERDecoderGetEncodingWithTag(&decoder, c.tagClass, c.tag, c.isConstructed, nullptr, nullptr, &index),
              c.status);
    EXPECT_EQ(index, c.index);
  }
  std::uint32_t number = 77;
  EXPECT_EQ(DERDecoderGetInteger32WithTag(&decoder, 0, 4, &number), kOverrun);
  EXPECT_EQ(DERDecoderGetInteger32WithTag(&decoder, 1, 4, &number), kEnd);
  EXPECT_EQ(number, 77U);
  const Block eight(fromHex("04 08 01 02 03 04 05 06 07 08 "));
  const DERDecoder wide = eight.decoder();
  std::uint64_t number64 = 0;
  EXPECT_EQ(DERDecoderGetInteger64WithTag(&wide, 0, 4, &number64), kNone);
  EXPECT_EQ(std::memcmp(&number64, eight.begin() + 2, 8), 0);
  std::uint32_t isConstructed = 77;
  EXPECT_EQ(DERDecoderGetDataAt(&decoder, nullptr, nullptr, &isConstructed, nullptr, nullptr, 1), kNone);
  EXPECT_EQ(isConstructed, 0U) << "always 0 in this query";
}

TEST(DERDecoderTest, TakesTheLengthFromTheFirstElement) {
  for (const Case& c : casesIn("der-first-elements.json")) {
    SCOPED_TRACE(c["why"]);
    const Block block(fromHex(c["hex"]));
    DERDecoder decoder{nullptr, 77};
    std::uint32_t length = number(c, "request");
    EXPECT_EQ(DERDecoderInitialize(&decoder, block.begin(), &length, number(c, "bufferSize")), statusOf(c));
    EXPECT_EQ(length, number(c, "length"));
    EXPECT_EQ(decoder.buffer, statusOf(c) == kNone ? block.begin() : nullptr);
    EXPECT_EQ(decoder.length, statusOf(c) == kNone ? length : 77);
  }
}

TEST(DERDecoderTest, ParsesSequences) {
  const std::map<std::string, ExpectedItem> items = {{"integer", {1, 0, 2, 0}},
                                                     {"text", {1, 0, 12, 0}},
                                                     {"set", {1, 0, 17, 1}},
                                                     {"text?", {0, 0, 12, 0}},
                                                     {"set?", {0, 0, 17, 1}}};
  for (const Case& c : casesIn("der-sequences.json")) {
    SCOPED_TRACE(c["why"]);
    std::array<ExpectedItem, 3> expected{};
    std::size_t count = 0;
    for (const Value& name : *c.entries.findArray("expected"))
      expected[count++] = items.at(std::string(*name.ifString()));
    const Block block(fromHex(c["hex"]));
    const DERDecoder decoder = block.decoder();
    DERDecoder out[3] = {};
#define EXPECTED_ITEM(i) expected[i].required, expected[i].tagClass, expected[i].tag, expected[i].isConstructed, &out[i]
    EXPECT_EQ(DERDecoderParseSequence(&decoder, static_cast<int>(count), EXPECTED_ITEM(0), EXPECTED_ITEM(1),
                                      EXPECTED_ITEM(2)),
              statusOf(c));
#undef EXPECTED_ITEM
    std::string opened;
    for (const DERDecoder& region : out) {
      if (region.buffer == nullptr) continue;
      opened += (opened.empty() ? "" : " ") + std::to_string(&region - out) + ":" +
                std::to_string(region.buffer - block.begin()) + "+" + std::to_string(region.length);
    }
    EXPECT_EQ(opened, c["opened"]) << "INDEX:OFFSET+LENGTH of each open region";
  }
}

TEST(DERDecoderTest, QueriesAgreeOnEveryPrefixAndEveryChangedByte) {
  const Bytes good = fromHex(
      "30 2A 30 0B 06 09 2A 86 48 86 F7 0D 01 01 05 31 12 5F 81 03 04 41 42 43 44 9F A7 08 82 00 02 01 02 80 01 00 04 "
      "02 AA "
      "BB A3 01 00 30 00 ");
  const Bytes flat(good.begin() + 2, good.end());
  for (const Bytes& bytes : {good, flat}) {
    for (std::size_t size = 0; size <= bytes.size(); ++size) examine(std::span(bytes).first(size));
    for (std::size_t place = 0; place < bytes.size(); ++place) {
      Bytes changed = bytes;
      for (int byte = 0; byte < 256; ++byte) {
        changed[place] = static_cast<std::uint8_t>(byte);
        examine(changed);
      }
    }
  }
}

TEST(DERDecoderTest, RefusesMissingListOutputs) {
  const Block block(fromHex("05 00 "));
  const DERDecoder decoder = block.decoder();
  DERDecoderItemList list{};
  std::uint32_t count = 77;
  EXPECT_EQ(DERDecoderGetAllData(&decoder, nullptr, &count), kDERDecoderErrorInvalid);
  EXPECT_EQ(DERDecoderGetAllData(&decoder, &list, nullptr), kDERDecoderErrorInvalid);
  EXPECT_EQ(count, 77U);
  EXPECT_EQ(list.items, nullptr);
  EXPECT_EQ(DERDecoderGetCount(&decoder, nullptr), kNone);
  DERDecoderFreeData(nullptr);

  const Block cut(fromHex("05 00 04 05 "));
  const DERDecoder malformed = cut.decoder();
  EXPECT_EQ(DERDecoderGetAllData(&malformed, &list, &count), kOverrun);
  EXPECT_EQ(DERDecoderGetCount(&malformed, &count), kOverrun);
  EXPECT_EQ(count, 77U) << "written only if the whole region is valid";
  const DERDecoder empty{cut.begin(), 0};
  EXPECT_EQ(DERDecoderGetAllData(&empty, &list, &count), kEnd);
  EXPECT_EQ(count, 0U);
}

using DERDecoderDeathTest = testing::Test;

TEST(DERDecoderDeathTest, AssertionsNameTheirCondition) {
  const Block block(fromHex("05 00 "));
  DERDecoder decoder = block.decoder();
  const DERDecoder noBuffer{nullptr, 2};
  std::uint32_t length = 0;
  std::uint64_t wide = 0;
  DERDecoderItemList list{};
  EXPECT_DEATH(DERDecoderInitialize(nullptr, block.begin(), &length, 2), "decoder != NULL\n");
  EXPECT_DEATH(DERDecoderInitialize(&decoder, nullptr, &length, 2), "buffer != NULL\n");
  EXPECT_DEATH(DERDecoderInitialize(&decoder, block.begin(), nullptr, 2), "ioBufferLength != NULL\n");
  EXPECT_DEATH(DERDecoderGetDataWithTag(nullptr, 0, 5, 0, nullptr, nullptr, nullptr), "decoder != NULL\n");
  EXPECT_DEATH(DERDecoderGetEncodingWithTag(nullptr, 0, 5, 0, nullptr, nullptr, nullptr), "decoder != NULL\n");
  EXPECT_DEATH(DERDecoderGetDataAt(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, 0), "decoder != NULL\n");
  EXPECT_DEATH(DERDecoderGetEncodingAt(nullptr, 0, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
               "decoder != NULL\n");
  EXPECT_DEATH(DERDecoderGetAllData(nullptr, &list, &length), "decoder != NULL\n");
  EXPECT_DEATH(DERDecoderGetInteger32WithTag(nullptr, 0, 5, &length), "decoder != NULL\n");
  EXPECT_DEATH(DERDecoderGetInteger64WithTag(nullptr, 0, 5, &wide), "decoder != NULL\n");
  EXPECT_DEATH(DERDecoderGetCount(nullptr, &length), "decoder != NULL\n");
  EXPECT_DEATH(DERDecoderParseSequence(nullptr, 0), "decoder != NULL\n");
  EXPECT_DEATH(DERDecoderGetCount(&noBuffer, &length), "buffer != NULL\n");
}

#if !TAVIK_SANITIZED  // sanitizers reserve address space
TEST(DERDecoderDeathTest, ListLargerThanMemory) {
  const Bytes zeros(std::size_t{1} << 24, 0);  // elements 00 00
  const DERDecoder decoder{zeros.data(), 1U << 24};
  const auto check = [&] {
    const rlimit noMoreMemory{1, 1};
    if (setrlimit(RLIMIT_AS, &noMoreMemory) != 0) std::exit(1);
    std::uint32_t count = 0;
    DERDecoderItemList list{77, 77, nullptr};
    if (DERDecoderGetAllData(&decoder, &list, &count) != kDERDecoderErrorInvalid) std::exit(2);
    if (count != 1U << 23 || list.index != 0 || list.capacity != count || list.items != nullptr) std::exit(3);
    DERDecoderFreeData(&list);
    std::exit(0);
  };
  EXPECT_EXIT(check(), testing::ExitedWithCode(0), "");
}
#endif

}  // namespace
}  // namespace tavik::der
