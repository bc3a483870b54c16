// The DER decoder: headers, lengths, sequences, and queries that agree on every damaged document.

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <tavik/DERDecoder.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "DERExamination.h"

namespace {

using Bytes = std::vector<std::uint8_t>;
constexpr std::uint32_t kNone = kDERDecoderErrorNone;
constexpr std::uint32_t kEnd = kDERDecoderErrorEnd;
constexpr std::uint32_t kOverrun = kDERDecoderErrorBufferOverrun;
constexpr std::uint32_t kBadTag = kDERDecoderErrorBadTag;
constexpr std::uint32_t kBadLength = kDERDecoderErrorBadLength;
constexpr std::uint32_t kMismatch = kDERDecoderErrorSequenceMismatch;
constexpr std::uint32_t kOverflow = kDERDecoderErrorOverflow;

Bytes fromHex(std::string_view hex) {
  Bytes bytes;
  for (std::size_t i = 0; i + 1 < hex.size(); i += 3) {
    bytes.push_back(static_cast<std::uint8_t>(std::stoi(std::string(hex.substr(i, 2)), nullptr, 16)));
  }
  return bytes;
}

// A heap block of exactly the given bytes, so that the address sanitizer catches a read of one byte too many.
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

struct ExpectedItem {
  int required, tagClass, tag, isConstructed;
};

TEST(DERDecoderTest, ReadsHeaders) {
  struct Case {
    const char* why;
    const char* hex;
    std::uint32_t status, tagClass, tag, isConstructed, dataLength;
  };
  const Case cases[] = {
      {"universal primitive", "04 01 41 ", kNone, 0, 4, 0, 1},
      {"private constructed", "F0 00 ", kNone, 3, 16, 1, 0},
      {"the long form of a small tag number", "1F 05 00 ", kNone, 0, 5, 0, 0},
      {"leading zero groups", "1F 80 80 80 80 01 00 ", kNone, 0, 1, 0, 0},
      {"the greatest tag number", "5F FF FF FF 7F 00 ", kNone, 1, 0xFFFFFFF, 0, 0},
      {"five groups", "1F 81 80 80 80 00 00 ", kOverflow, 0, 0, 0, 0},
      {"five groups that shift out to zero", "1F C0 80 80 80 00 00 ", kOverflow, 0, 0, 0, 0},
      {"an overflow comes before the end of the bytes", "1F FF FF FF FF FF ", kOverflow, 0, 0, 0, 0},
      {"no tag number", "1F ", kBadTag, 0, 0, 0, 0},
      {"a tag number cut off", "1F 80 81 ", kBadTag, 0, 0, 0, 0},
      {"no length", "04 ", kBadLength, 0, 0, 0, 0},
      {"no length after a long tag number", "1F 01 ", kBadLength, 0, 0, 0, 0},
      {"the indefinite form", "30 80 ", kNone, 0, 16, 1, 0},
      {"leading zero octets", "04 84 00 00 00 01 41 ", kNone, 0, 4, 0, 1},
      {"five octets", "04 85 01 00 00 00 00 ", kOverflow, 0, 0, 0, 0},
      {"five octets, the first of them zero", "04 85 00 00 00 00 01 41 ", kNone, 0, 4, 0, 1},
      {"length octets cut off", "04 82 01 ", kBadLength, 0, 0, 0, 0},
      {"content one byte too long", "04 02 41 ", kOverrun, 0, 0, 0, 0},
      {"the greatest length", "04 84 FF FF FF FF ", kOverrun, 0, 0, 0, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    const Block block(fromHex(c.hex));
    const DERDecoder decoder = block.decoder();
    DERDecoderItem item{};
    EXPECT_EQ(DERDecoderGetEncodingAt(&decoder, 0, &item.tagClass, &item.tag, &item.isConstructed, nullptr,
                                      &item.dataLength, nullptr, nullptr),
              c.status);
    EXPECT_EQ(std::tie(item.tagClass, item.tag, item.isConstructed, item.dataLength),
              std::tie(c.tagClass, c.tag, c.isConstructed, c.dataLength));
    tavik::der::examine(fromHex(c.hex));
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
      {"the first", 0, 4, 0, 0, kNone, 0, 1},      {"the next", 0, 4, 0, 1, kNone, 2, 4},
      {"another form", 0, 4, 1, 0, kNone, 1, 0},   {"another class", 2, 4, 0, 0, kNone, 3, 1},
      {"another tag", 0, 5, 0, 0, kEnd, 0, 77},    {"beyond the last", 0, 4, 0, 3, kEnd, 3, 77},
      {"beyond the end", 2, 4, 0, 9, kEnd, 9, 77},
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
  EXPECT_EQ(isConstructed, 0U) << "which this query never tells";
}

TEST(DERDecoderTest, TakesTheLengthFromTheFirstElement) {
  struct Case {
    const char* why;
    const char* hex;
    std::uint32_t request, bufferSize, status, length;
  };
  const Case cases[] = {
      {"one element, others after it", "30 02 01 05 FF FF ", 0, 6, kNone, 4},
      {"the element is longer than the buffer", "30 02 01 05 ", 0, 3, kOverrun, 0},
      {"a length that was asked for is not checked against the element", "30 02 01 05 ", 2, 4, kNone, 2},
      {"more than the buffer holds", "30 02 01 05 ", 5, 4, kOverrun, 5},
      {"an empty buffer", "30 ", 0, 0, kBadTag, 0},
      {"the greatest element", "04 84 FF FF FF F9 ", 0, 0xFFFFFFFF, kNone, 0xFFFFFFFF},
      {"one byte more needs 33 bits", "04 84 FF FF FF FA ", 0, 0xFFFFFFFF, kOverflow, 0},
      {"which goes before the end of the buffer", "04 84 FF FF FF FF ", 0, 6, kOverflow, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    const Block block(fromHex(c.hex));
    DERDecoder decoder{nullptr, 77};
    std::uint32_t length = c.request;
    EXPECT_EQ(DERDecoderInitialize(&decoder, block.begin(), &length, c.bufferSize), c.status);
    EXPECT_EQ(length, c.length);
    EXPECT_EQ(decoder.buffer, c.status == kNone ? block.begin() : nullptr);
    EXPECT_EQ(decoder.length, c.status == kNone ? c.length : 77);
  }
}

TEST(DERDecoderTest, ParsesSequences) {
  constexpr ExpectedItem kInteger{1, 0, 2, 0}, kText{1, 0, 12, 0}, kSet{1, 0, 17, 1};
  constexpr ExpectedItem kMaybeText{0, 0, 12, 0}, kMaybeSet{0, 0, 17, 1}, kUnused{};
  struct Case {
    const char* why;
    const char* hex;
    std::vector<ExpectedItem> expectedItems;
    std::uint32_t status;
    std::string opened = "0:0+3 ";  // "INDEX:OFFSET+LENGTH " of each region that is opened
  };
  const Case cases[] = {
      {"all there", "02 01 05 31 02 05 00 ", {kInteger, kSet}, kNone, "0:0+3 1:5+2 "},
      {"one item more", "02 01 05 05 00 ", {kInteger}, kMismatch},
      {"a required item is missing at the end", "02 01 05 ", {kInteger, kSet}, kMismatch},
      {"another item in the place of a required one", "05 00 ", {kInteger}, kMismatch, ""},
      {"another form of the same tag", "22 00 ", {kInteger}, kMismatch, ""},
      {"an optional item is missing in the middle",
       "02 01 05 31 02 05 00 ",
       {kInteger, kMaybeText, kSet},
       kNone,
       "0:0+3 2:5+2 "},
      {"the last, optional item is missing at the end", "02 01 05 ", {kInteger, kMaybeSet}, kEnd},
      {"the last, optional item is another one", "02 01 05 05 00 ", {kInteger, kMaybeSet}, kMismatch},
      {"two optional items are missing at the end", "02 01 05 ", {kInteger, kMaybeText, kMaybeSet}, kEnd},
      {"a malformed item behind the matched ones", "02 01 05 02 05 ", {kInteger}, kOverrun},
      {"a malformed item where one is looked for", "02 01 05 02 05 ", {kInteger, kText}, kOverrun},
      {"a mismatch goes before what is malformed behind it", "05 00 02 05 ", {kInteger}, kMismatch, ""},
      {"nothing asked for, nothing there", "", {}, kNone, ""},
      {"a constructed item without contents", "31 00 ", {kSet}, kNone, ""},
      {"nothing asked for", "05 00 ", {}, kMismatch, ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    std::array<ExpectedItem, 4> four{kUnused, kUnused, kUnused, kUnused};
    std::ranges::copy(c.expectedItems, four.begin());
    const Block block(fromHex(c.hex));
    const DERDecoder decoder = block.decoder();
    DERDecoder out[4] = {};
#define EXPECTED_ITEM(i) four[i].required, four[i].tagClass, four[i].tag, four[i].isConstructed, &out[i]
    EXPECT_EQ(DERDecoderParseSequence(&decoder, static_cast<int>(c.expectedItems.size()), EXPECTED_ITEM(0),
                                      EXPECTED_ITEM(1), EXPECTED_ITEM(2), EXPECTED_ITEM(3)),
              c.status);
#undef EXPECTED_ITEM
    std::string opened;
    for (const DERDecoder& region : out) {
      if (region.buffer == nullptr) continue;
      opened += std::to_string(&region - out) + ":" + std::to_string(region.buffer - block.begin()) + "+" +
                std::to_string(region.length) + " ";
    }
    EXPECT_EQ(opened, c.opened);
  }
}

TEST(DERDecoderTest, QueriesAgreeOnEveryPrefixAndEveryChangedByte) {
  const Bytes good = fromHex(
      "30 2A 30 0B 06 09 2A 86 48 86 F7 0D 01 01 05 31 12 5F 81 03 04 41 42 43 44 9F A7 08 82 00 02 01 02 80 01 00 04 "
      "02 AA "
      "BB A3 01 00 30 00 ");
  const Bytes flat(good.begin() + 2, good.end());
  for (const Bytes& bytes : {good, flat}) {
    for (std::size_t size = 0; size <= bytes.size(); ++size) tavik::der::examine(std::span(bytes).first(size));
    for (std::size_t place = 0; place < bytes.size(); ++place) {
      Bytes changed = bytes;
      for (int byte = 0; byte < 256; ++byte) {
        changed[place] = static_cast<std::uint8_t>(byte);
        tavik::der::examine(changed);
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
  EXPECT_EQ(count, 77U) << "nothing is written unless the whole region is sound";
  const DERDecoder empty{cut.begin(), 0};
  EXPECT_EQ(DERDecoderGetAllData(&empty, &list, &count), kEnd);
  EXPECT_EQ(count, 0U);
}

using DERDecoderDeathTest = testing::Test;

TEST(DERDecoderDeathTest, NamesTheBrokenCondition) {
  const Block block(fromHex("05 00 "));
  DERDecoder decoder = block.decoder();
  const DERDecoder nowhere{nullptr, 2};
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
  EXPECT_DEATH(DERDecoderGetCount(&nowhere, &length), "buffer != NULL\n");
}

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define TAVIK_SANITIZED
#endif
#elif defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define TAVIK_SANITIZED
#endif

#if !defined(TAVIK_SANITIZED)  // sanitizers reserve address space of their own
TEST(DERDecoderDeathTest, SurvivesAListThatMemoryCannotHold) {
  const Bytes zeros(std::size_t{1} << 24, 0);  // elements 00 00
  const DERDecoder decoder{zeros.data(), 1U << 24};
  const auto check = [&] {
    const rlimit nothingMore{1, 1};
    if (setrlimit(RLIMIT_AS, &nothingMore) != 0) std::exit(1);
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
