/// @file
/// Calls all queries of the DER decoder for the elements in a block of bytes and in constructed elements. Aborts unless
/// elements follow each other without gaps, end within their region, and all queries give consistent results.
#ifndef TAVIK_FUZZ_DER_EXAMINATION_H
#define TAVIK_FUZZ_DER_EXAMINATION_H

#include <tavik/DERDecoder.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <span>
#include <vector>

namespace tavik::der {

inline constexpr int kDepth = 16;              // elements can be nested to any depth
inline constexpr std::uint32_t kLookedAt = 8;  // each lookup by position starts at the beginning

inline void require(bool condition) {
  if (!condition) std::abort();
}

inline DERDecoderItem itemAt(const DERDecoder& decoder, std::uint32_t index, std::uint32_t& status) {
  DERDecoderItem item{};
  status = DERDecoderGetEncodingAt(&decoder, index, &item.tagClass, &item.tag, &item.isConstructed, &item.data,
                                   &item.dataLength, &item.buffer, &item.bufferLength);
  require(status == kDERDecoderErrorNone || (item.data == nullptr && item.buffer == nullptr));
  return item;
}

inline void askByTag(const DERDecoder& decoder, const DERDecoderItem& item, std::uint32_t index) {
  const std::uint8_t* bytes = nullptr;
  std::uint32_t length = 0;
  std::uint32_t position = index;
  require(DERDecoderGetDataWithTag(&decoder, item.tagClass, item.tag, item.isConstructed, &bytes, &length, &position) ==
          kDERDecoderErrorNone);
  require(bytes == item.data && length == item.dataLength && position == index);
  require(DERDecoderGetEncodingWithTag(&decoder, item.tagClass, item.tag, item.isConstructed, &bytes, &length,
                                       &position) == kDERDecoderErrorNone);
  require(bytes == item.buffer && length == item.bufferLength && position == index);
}

template <class Integer>
inline void askForInteger(const DERDecoder& decoder, const DERDecoderItem& item,
                          std::uint32_t (*get)(const DERDecoder*, std::uint32_t, std::uint32_t, Integer*)) {
  Integer value = 0;
  const std::uint8_t* content = nullptr;
  std::uint32_t length = 0;
  std::uint32_t expected = DERDecoderGetDataWithTag(&decoder, item.tagClass, item.tag, 0, &content, &length, nullptr);
  if (expected == kDERDecoderErrorNone && length != sizeof value) expected = kDERDecoderErrorBufferOverrun;
  require(get(&decoder, item.tagClass, item.tag, &value) == expected);
  require(expected != kDERDecoderErrorNone || std::memcmp(&value, content, sizeof value) == 0);
}

// Parses the first two elements, which must match, as a sequence.
inline void parse(const DERDecoder& decoder, const DERDecoderItem& first, const DERDecoderItem& second,
                  std::uint32_t count) {
  const std::uint32_t status = DERDecoderParseSequence(
      &decoder, 2, 1, static_cast<int>(first.tagClass), static_cast<int>(first.tag),
      static_cast<int>(first.isConstructed), static_cast<DERDecoder*>(nullptr), 0, static_cast<int>(second.tagClass),
      static_cast<int>(second.tag), static_cast<int>(second.isConstructed), static_cast<DERDecoder*>(nullptr));
  require(status == (count == 2 ? kDERDecoderErrorNone : kDERDecoderErrorSequenceMismatch));
}

inline void examine(const DERDecoder& decoder, int depth);

// The elements of a well-formed region.
inline void examineAll(const DERDecoder& decoder, const DERDecoderItemList& list, int depth) {
  const std::uint8_t* end = decoder.buffer;
  for (std::uint32_t i = 0; i < list.index; ++i) {
    const DERDecoderItem& item = list.items[i];
    require(item.buffer == end && item.data + item.dataLength == item.buffer + item.bufferLength);
    end = item.buffer + item.bufferLength;
    DERDecoder content{};
    std::uint32_t length = item.dataLength;
    if (item.isConstructed == 1 && length > 0 && depth < kDepth) {
      require(DERDecoderInitialize(&content, item.data, &length, length) == kDERDecoderErrorNone);
      examine(content, depth + 1);
    }
  }
  require(end == decoder.buffer + decoder.length);
  if (list.index >= 2) parse(decoder, list.items[0], list.items[1], list.index);
}

inline void examine(const DERDecoder& decoder, int depth) {
  std::uint32_t count = 0;
  const std::uint32_t counted = DERDecoderGetCount(&decoder, &count);
  for (std::uint32_t i = 0; i < kLookedAt; ++i) {
    std::uint32_t status = 0;
    const DERDecoderItem item = itemAt(decoder, i, status);
    if (status != kDERDecoderErrorNone) {
      require(status == (counted == kDERDecoderErrorNone ? kDERDecoderErrorEnd : counted));
      break;
    }
    require(item.buffer >= decoder.buffer && item.data + item.dataLength <= decoder.buffer + decoder.length);
    askByTag(decoder, item, i);
    askForInteger(decoder, item, DERDecoderGetInteger32WithTag);
    askForInteger(decoder, item, DERDecoderGetInteger64WithTag);
  }
  DERDecoderItemList list{};
  std::uint32_t listed = 0;
  const std::uint32_t status = DERDecoderGetAllData(&decoder, &list, &listed);
  require(counted == kDERDecoderErrorNone || status == counted);
  if (status == kDERDecoderErrorNone) {
    require(listed == count && list.index == count && list.capacity == count);
    examineAll(decoder, list, depth);
  }
  DERDecoderFreeData(&list);
}

/// Examines a copy of the bytes in a block of exactly this size.
inline void examine(std::span<const std::uint8_t> bytes) {
  const std::vector<std::uint8_t> input(bytes.begin(), bytes.end());
  const auto length = static_cast<std::uint32_t>(input.size());
  examine({input.data(), length}, 0);
  if (input.empty()) return;
  DERDecoder first{};
  std::uint32_t firstLength = 0;
  if (DERDecoderInitialize(&first, input.data(), &firstLength, length) == kDERDecoderErrorNone) {
    std::uint32_t count = 0;
    require(DERDecoderGetCount(&first, &count) == kDERDecoderErrorNone && count == 1);
  }
}

}  // namespace tavik::der

#endif
