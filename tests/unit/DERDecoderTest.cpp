// The DER decoder: tables of headers, then every query against a plain second reading of the rules.

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <tavik/DERDecoder.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <random>
#include <span>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

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

std::string toHex(const Bytes& bytes) {
  std::string hex;
  for (const std::uint8_t byte : bytes) {
    hex += "0123456789ABCDEF"[byte >> 4];
    hex += "0123456789ABCDEF"[byte & 15];
    hex += ' ';
  }
  return hex;
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

// What the outputs of a query hold before it.
constexpr std::uint32_t kUntouched = 77;
constexpr DERDecoderItem kUntouchedItem{nullptr, 77, 77, 77, nullptr, 77, 77};

auto fields(const DERDecoderItem& item) {
  return std::tuple(item.buffer, item.bufferLength, item.tagClass, item.tag, item.data, item.dataLength,
                    item.isConstructed);
}

struct ExpectedItem {
  int required, tagClass, tag, isConstructed;
};

// The rules, read a second time: an element's parts are cut out first and judged afterwards.
class Model {
 public:
  explicit Model(std::span<const std::uint8_t> region) {
    while (status == kEnd && !region.empty()) {
      DERDecoderItem item{};
      status = readHeader(region, item);
      if (status == kNone) status = headerLength(item) + item.dataLength > region.size() ? kOverrun : kEnd;
      if (status != kEnd) return;
      item.bufferLength = static_cast<std::uint32_t>(headerLength(item)) + item.dataLength;
      items.push_back(item);
      region = region.subspan(item.bufferLength);
    }
  }

  static std::uint32_t readHeader(std::span<const std::uint8_t> bytes, DERDecoderItem& item) {
    if (bytes.empty()) return kBadTag;
    const bool isLong = (bytes[0] & 31) == 31;
    std::size_t tagEnd = 1;
    while (isLong && tagEnd < bytes.size() && bytes[tagEnd] >= 128) ++tagEnd;
    const bool isCut = isLong && tagEnd == bytes.size();
    if (isLong && !isCut) ++tagEnd;
    const auto tag = isLong ? number(bytes.first(tagEnd).subspan(1), 7) : bytes[0] & 31U;
    if (!tag) return kOverflow;
    if (isCut) return kBadTag;
    const auto rest = bytes.subspan(tagEnd);
    if (rest.empty()) return kBadLength;
    const std::size_t octets = rest[0] < 128 ? 0 : rest[0] - 128U;
    if (octets >= rest.size()) return kBadLength;
    const auto length = rest[0] < 128 ? rest[0] : number(rest.subspan(1, octets), 8);
    if (!length) return kOverflow;
    item = {bytes.data(), 0, bytes[0] / 64U, *tag, rest.data() + 1 + octets, *length, bytes[0] / 32U % 2};
    return kNone;
  }

  static std::size_t headerLength(const DERDecoderItem& item) {
    return static_cast<std::size_t>(item.data - item.buffer);
  }

  // Absent beyond four significant groups.
  static std::optional<std::uint32_t> number(std::span<const std::uint8_t> groups, int bits) {
    std::uint64_t value = 0;
    int significant = 0;
    for (const std::uint8_t group : groups) {
      const std::uint32_t digit = group % (1U << bits);
      significant += significant > 0 || digit != 0 ? 1 : 0;
      if (significant > 4) return std::nullopt;
      value = (value << bits) + digit;
    }
    return static_cast<std::uint32_t>(value);
  }

  [[nodiscard]] const DERDecoderItem* find(const DERDecoderItem& wanted, std::size_t from) const {
    for (std::size_t i = from; i < items.size(); ++i) {
      if (items[i].tagClass == wanted.tagClass && items[i].tag == wanted.tag &&
          items[i].isConstructed == wanted.isConstructed) {
        return &items[i];
      }
    }
    return nullptr;
  }

  std::uint32_t parse(std::span<const ExpectedItem> expectedItems, std::array<const DERDecoderItem*, 4>& opened) const {
    std::size_t next = 0;
    for (std::size_t i = 0; i < expectedItems.size(); ++i) {
      const auto [required, tagClass, tag, isConstructed] = expectedItems[i];
      if (next >= items.size() && status != kEnd) return status;
      const DERDecoderItem* item = next < items.size() ? &items[next] : nullptr;
      if (item != nullptr && static_cast<int>(item->tagClass) == tagClass && static_cast<int>(item->tag) == tag &&
          static_cast<int>(item->isConstructed) == isConstructed) {
        opened[i] = item;
        ++next;
      } else if (required != 0) {
        return kMismatch;
      } else if (item == nullptr && i + 1 == expectedItems.size()) {
        return kEnd;
      }
    }
    if (status != kEnd) return status;
    return next < items.size() ? kMismatch : kNone;
  }

  std::vector<DERDecoderItem> items;
  std::uint32_t status = kEnd;  // where the walk ends
};

void compareAt(const DERDecoder& decoder, const Model& model, std::uint32_t index) {
  const bool found = index < model.items.size();
  DERDecoderItem expected = found ? model.items[index] : kUntouchedItem;
  const std::uint32_t status = found ? kNone : model.status;
  DERDecoderItem item = kUntouchedItem;
  EXPECT_EQ(DERDecoderGetEncodingAt(&decoder, index, &item.tagClass, &item.tag, &item.isConstructed, &item.data,
                                    &item.dataLength, &item.buffer, &item.bufferLength),
            status);
  EXPECT_EQ(fields(item), fields(expected));
  item = kUntouchedItem;
  EXPECT_EQ(DERDecoderGetDataAt(&decoder, &item.tagClass, &item.tag, &item.isConstructed, &item.data, &item.dataLength,
                                index),
            status);
  expected.buffer = item.buffer;
  expected.bufferLength = item.bufferLength;
  if (found) expected.isConstructed = 0;
  EXPECT_EQ(fields(item), fields(expected));
  EXPECT_EQ(DERDecoderGetDataAt(&decoder, nullptr, nullptr, nullptr, nullptr, nullptr, index), status);
}

void compareWithTag(const DERDecoder& decoder, const Model& model, const DERDecoderItem& wanted, std::uint32_t from) {
  const DERDecoderItem* found = model.find(wanted, from);
  const DERDecoderItem& expected = found == nullptr ? kUntouchedItem : *found;
  const std::uint32_t status = found == nullptr ? model.status : kNone;
  const auto position = found == nullptr ? from : static_cast<std::uint32_t>(found - model.items.data());
  DERDecoderItem item = kUntouchedItem;
  std::uint32_t index = from;
  EXPECT_EQ(DERDecoderGetDataWithTag(&decoder, wanted.tagClass, wanted.tag, wanted.isConstructed, &item.data,
                                     &item.dataLength, &index),
            status);
  EXPECT_EQ(index, position);
  index = from;
  EXPECT_EQ(DERDecoderGetEncodingWithTag(&decoder, wanted.tagClass, wanted.tag, wanted.isConstructed, &item.buffer,
                                         &item.bufferLength, &index),
            status);
  EXPECT_EQ(index, position);
  EXPECT_EQ(std::tie(item.data, item.dataLength), std::tie(expected.data, expected.dataLength));
  EXPECT_EQ(std::tie(item.buffer, item.bufferLength), std::tie(expected.buffer, expected.bufferLength));
}

template <class Integer>
void compareInteger(const DERDecoder& decoder, const Model& model, DERDecoderItem wanted,
                    std::uint32_t (*get)(const DERDecoder*, std::uint32_t, std::uint32_t, Integer*)) {
  wanted.isConstructed = 0;
  Integer value = kUntouched;
  Integer expected = kUntouched;
  std::uint32_t status = model.status;
  if (const DERDecoderItem* item = model.find(wanted, 0)) {
    status = item->dataLength == sizeof(Integer) ? kNone : kOverrun;
    if (status == kNone) std::memcpy(&expected, item->data, sizeof expected);
  }
  EXPECT_EQ(get(&decoder, wanted.tagClass, wanted.tag, &value), status);
  EXPECT_EQ(value, expected);
}

void compareLists(const DERDecoder& decoder, const Model& model) {
  const bool sound = model.status == kEnd;
  const std::uint32_t size = sound ? static_cast<std::uint32_t>(model.items.size()) : kUntouched;
  std::uint32_t count = kUntouched;
  EXPECT_EQ(DERDecoderGetCount(&decoder, &count), sound ? kNone : model.status);
  EXPECT_EQ(count, size);

  DERDecoderItemList list{kUntouched, kUntouched, nullptr};
  count = kUntouched;
  EXPECT_EQ(DERDecoderGetAllData(&decoder, &list, &count), sound && size > 0 ? kNone : model.status);
  EXPECT_EQ(count, size);
  EXPECT_EQ(list.index, size);
  EXPECT_EQ(list.capacity, size);
  EXPECT_EQ(list.items != nullptr, sound && size > 0);
  for (std::uint32_t i = 0; sound && i < size; ++i) EXPECT_EQ(fields(list.items[i]), fields(model.items[i]));
  DERDecoderFreeData(&list);
  EXPECT_EQ(list.items, nullptr);
  DERDecoderFreeData(&list);
}

void compareInitialize(const DERDecoder& region, std::uint32_t request) {
  DERDecoder decoder{nullptr, kUntouched};
  std::uint32_t length = request;
  DERDecoderItem first{};
  std::uint32_t status = request == 0 ? Model::readHeader({region.buffer, region.length}, first) : kNone;
  const std::size_t whole = request == 0 ? Model::headerLength(first) + first.dataLength : request;
  if (status == kNone && whole > 0xFFFFFFFF) status = kOverflow;
  if (status == kNone && whole > region.length) status = kOverrun;
  EXPECT_EQ(DERDecoderInitialize(&decoder, region.buffer, &length, region.length), status);
  EXPECT_EQ(length, status == kNone ? whole : request);
  EXPECT_EQ(decoder.buffer, status == kNone ? region.buffer : nullptr);
  EXPECT_EQ(decoder.length, status == kNone ? whole : kUntouched);
}

void compareSequence(const DERDecoder& decoder, const Model& model, std::span<const ExpectedItem, 4> s,
                     std::size_t count) {
  DERDecoder out[4];
  std::ranges::fill(out, DERDecoder{nullptr, kUntouched});
  std::array<const DERDecoderItem*, 4> opened{};
  const std::uint32_t expected = model.parse(s.first(count), opened);
#define EXPECTED_ITEM(i) s[i].required, s[i].tagClass, s[i].tag, s[i].isConstructed, &out[i]
  EXPECT_EQ(DERDecoderParseSequence(&decoder, static_cast<int>(count),  // what lies beyond the count is not read
                                    EXPECTED_ITEM(0), EXPECTED_ITEM(1), EXPECTED_ITEM(2), EXPECTED_ITEM(3)),
            expected);
#undef EXPECTED_ITEM
  for (std::size_t i = 0; i < opened.size(); ++i) {
    DERDecoder region{nullptr, kUntouched};
    const DERDecoderItem* item = opened[i];
    if (item != nullptr && item->isConstructed == 0) region = {item->buffer, item->bufferLength};
    if (item != nullptr && item->isConstructed == 1 && item->dataLength > 0) region = {item->data, item->dataLength};
    EXPECT_EQ(out[i].buffer, region.buffer);
    EXPECT_EQ(out[i].length, region.length);
  }
}

using Random = std::mt19937;

std::uint32_t below(Random& random, std::size_t limit) { return static_cast<std::uint32_t>(random() % limit); }

// Every query over `bytes`, with arguments that fit what is there, or nearly.
void compareAll(const Bytes& bytes, Random& random) {
  SCOPED_TRACE(toHex(bytes));
  const Block block(bytes);
  const DERDecoder decoder = block.decoder();
  const Model model({decoder.buffer, decoder.length});
  compareLists(decoder, model);
  for (const std::uint32_t request : {0U, decoder.length, decoder.length + 1}) compareInitialize(decoder, request);
  const auto some = [&] {
    if (!model.items.empty() && random() % 8 != 0) return model.items[below(random, model.items.size())];
    return DERDecoderItem{nullptr, 0, below(random, 4), below(random, 32), nullptr, 0, below(random, 2)};
  };
  compareAt(decoder, model, below(random, model.items.size() + 2));
  compareWithTag(decoder, model, some(), below(random, model.items.size() + 1));
  compareInteger(decoder, model, some(), DERDecoderGetInteger32WithTag);
  compareInteger(decoder, model, some(), DERDecoderGetInteger64WithTag);
  std::array<ExpectedItem, 4> expectedItems{};
  std::size_t next = 0;
  for (ExpectedItem& s : expectedItems) {
    const bool fits = next < model.items.size() && random() % 4 != 0;
    const DERDecoderItem item = fits ? model.items[next++] : some();
    s = {static_cast<int>(random() % 2), static_cast<int>(item.tagClass), static_cast<int>(item.tag),
         static_cast<int>(item.isConstructed)};
  }
  compareSequence(decoder, model, expectedItems, below(random, 5));
}

// Sound elements in many spellings.
Bytes randomElements(Random& random) {
  Bytes bytes;
  for (std::uint32_t count = below(random, 6); count > 0; --count) {
    const auto first = static_cast<std::uint8_t>(random());
    bytes.push_back(first);
    if ((first & 31) == 31) {
      for (std::uint32_t groups = below(random, 6); groups > 0; --groups) {
        bytes.push_back(static_cast<std::uint8_t>(random() % 2 == 0 ? 0x80 : 0x80 | random()));
      }
      bytes.push_back(random() % 128);
    }
    const std::uint32_t length = std::array<std::uint32_t, 6>{0, 1, 4, 8, 11, below(random, 40)}[below(random, 6)];
    const std::uint32_t octets = random() % 3 == 0 ? 1 + below(random, 7) : 0;
    if (octets > 0) bytes.push_back(static_cast<std::uint8_t>(0x80 + octets));
    for (std::uint32_t i = 1; i < octets; ++i) bytes.push_back(0);
    bytes.push_back(static_cast<std::uint8_t>(length));
    for (std::uint32_t i = 0; i < length; ++i) bytes.push_back(static_cast<std::uint8_t>(random()));
  }
  return bytes;
}

void mutate(Bytes& bytes, Random& random) {
  constexpr std::array<std::uint8_t, 12> kTelling = {0x00, 0x01, 0x1F, 0x3F, 0x7F, 0x80,
                                                     0x81, 0x84, 0x85, 0xBF, 0xC0, 0xFF};
  const auto place = static_cast<std::ptrdiff_t>(below(random, bytes.size() + 1));
  const std::uint8_t byte =
      random() % 2 == 0 ? kTelling[below(random, kTelling.size())] : static_cast<std::uint8_t>(random());
  const bool inside = place < std::ssize(bytes);
  switch (random() % 4) {
    case 0:
      bytes.insert(bytes.begin() + place, byte);
      break;
    case 1:
      bytes.resize(static_cast<std::size_t>(place));
      break;
    case 2:
      if (inside) bytes.erase(bytes.begin() + place);
      break;
    default:
      if (inside) bytes[static_cast<std::size_t>(place)] = byte;
  }
}

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
  Random random(1);
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
    compareAll(fromHex(c.hex), random);
  }
  Bytes longest = fromHex("04 FF ");  // 127 length octets
  longest.insert(longest.end(), 126, 0);
  longest.insert(longest.end(), {1, 0x41});
  compareAll(longest, random);
  EXPECT_EQ(Model(longest).items.size(), 1U);
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
  };
  const Case cases[] = {
      {"all there", "02 01 05 31 02 05 00 ", {kInteger, kSet}, kNone},
      {"one item more", "02 01 05 05 00 ", {kInteger}, kMismatch},
      {"a required item is missing at the end", "02 01 05 ", {kInteger, kSet}, kMismatch},
      {"another item in the place of a required one", "05 00 ", {kInteger}, kMismatch},
      {"another form of the same tag", "22 00 ", {kInteger}, kMismatch},
      {"an optional item is missing in the middle", "02 01 05 31 00 ", {kInteger, kMaybeText, kSet}, kNone},
      {"the last, optional item is missing at the end", "02 01 05 ", {kInteger, kMaybeSet}, kEnd},
      {"the last, optional item is another one", "02 01 05 05 00 ", {kInteger, kMaybeSet}, kMismatch},
      {"two optional items are missing at the end", "02 01 05 ", {kInteger, kMaybeText, kMaybeSet}, kEnd},
      {"a malformed item behind the matched ones", "02 01 05 02 05 ", {kInteger}, kOverrun},
      {"a malformed item where one is looked for", "02 01 05 02 05 ", {kInteger, kText}, kOverrun},
      {"a mismatch goes before what is malformed behind it", "05 00 02 05 ", {kInteger}, kMismatch},
      {"nothing asked for, nothing there", "", {}, kNone},
      {"nothing asked for", "05 00 ", {}, kMismatch},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    std::array<ExpectedItem, 4> four{kUnused, kUnused, kUnused, kUnused};
    std::ranges::copy(c.expectedItems, four.begin());
    const Block block(fromHex(c.hex));
    const DERDecoder decoder = block.decoder();
    const Model model({decoder.buffer, decoder.length});
    std::array<const DERDecoderItem*, 4> opened{};
    EXPECT_EQ(model.parse(c.expectedItems, opened), c.status);
    compareSequence(decoder, model, four, c.expectedItems.size());
  }
}

TEST(DERDecoderTest, EveryPrefixAndEveryChangedByteReadsAsTheRulesSay) {
  const Bytes good = fromHex(
      "30 2A 30 0B 06 09 2A 86 48 86 F7 0D 01 01 05 31 12 5F 81 03 04 41 42 43 44 9F A7 08 82 00 02 01 02 80 01 00 04 "
      "02 AA "
      "BB A3 01 00 30 00 ");
  const Bytes flat(good.begin() + 2, good.end());
  Random random(2);
  for (const Bytes& bytes : {good, flat}) {
    for (std::size_t size = 0; size <= bytes.size(); ++size) {
      compareAll({bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size)}, random);
    }
    for (std::size_t place = 0; place < bytes.size(); ++place) {
      Bytes changed = bytes;
      for (int byte = 0; byte < 256; ++byte) {
        changed[place] = static_cast<std::uint8_t>(byte);
        compareAll(changed, random);
      }
    }
  }
}

TEST(DERDecoderTest, ReadsRandomBytesAsTheRulesSay) {
  Random random(3);
  std::array<int, 7> seen{};  // by status
  for (int round = 0; round < 100000 && !HasFailure(); ++round) {
    Bytes bytes = randomElements(random);
    for (std::uint32_t changes = below(random, 5); changes > 0; --changes) mutate(bytes, random);
    compareAll(bytes, random);
    ++seen[Model(bytes).status];
  }
  for (const std::uint32_t status : {kEnd, kOverrun, kBadTag, kBadLength, kOverflow}) EXPECT_GT(seen[status], 1000);
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
