// Runs every query of the DER decoder on the input and on the contents of its constructed elements. Elements must be
// contiguous and fill their region, and all queries must agree.

#include <tavik/DERDecoder.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

constexpr int kDepth = 16;              // elements may be nested to any depth
constexpr std::uint32_t kLookedAt = 8;  // each lookup by position starts at the beginning

void require(bool condition) {
  if (!condition) std::abort();
}

DERDecoderItem itemAt(const DERDecoder& decoder, std::uint32_t index, std::uint32_t& status) {
  DERDecoderItem item{};
  status = DERDecoderGetEncodingAt(&decoder, index, &item.tagClass, &item.tag, &item.isConstructed, &item.data,
                                   &item.dataLength, &item.buffer, &item.bufferLength);
  require(status == kDERDecoderErrorNone || (item.data == nullptr && item.buffer == nullptr));
  return item;
}

void askByTag(const DERDecoder& decoder, const DERDecoderItem& item, std::uint32_t index) {
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
void askForInteger(const DERDecoder& decoder, const DERDecoderItem& item,
                   std::uint32_t (*get)(const DERDecoder*, std::uint32_t, std::uint32_t, Integer*)) {
  Integer value = 0;
  const std::uint8_t* content = nullptr;
  std::uint32_t length = 0;
  std::uint32_t expected = DERDecoderGetDataWithTag(&decoder, item.tagClass, item.tag, 0, &content, &length, nullptr);
  if (expected == kDERDecoderErrorNone && length != sizeof value) expected = kDERDecoderErrorBufferOverrun;
  require(get(&decoder, item.tagClass, item.tag, &value) == expected);
  require(expected != kDERDecoderErrorNone || std::memcmp(&value, content, sizeof value) == 0);
}

// Parses the first two elements, which must match; later elements are left over.
void parse(const DERDecoder& decoder, const DERDecoderItem& first, const DERDecoderItem& second, std::uint32_t count) {
  const std::uint32_t status = DERDecoderParseSequence(
      &decoder, 2, 1, static_cast<int>(first.tagClass), static_cast<int>(first.tag),
      static_cast<int>(first.isConstructed), static_cast<DERDecoder*>(nullptr), 0, static_cast<int>(second.tagClass),
      static_cast<int>(second.tag), static_cast<int>(second.isConstructed), static_cast<DERDecoder*>(nullptr));
  require(status == (count == 2 ? kDERDecoderErrorNone : kDERDecoderErrorSequenceMismatch));
}

void examine(const DERDecoder& decoder, int depth);

// Examines the elements of a region without malformed elements.
void examineAll(const DERDecoder& decoder, const DERDecoderItemList& list, int depth) {
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

void examine(const DERDecoder& decoder, int depth) {
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

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::vector<std::uint8_t> input(data, data + size);  // a separate block of exactly this size
  const auto length = static_cast<std::uint32_t>(size);
  examine({input.data(), length}, 0);
  if (input.empty()) return 0;
  DERDecoder first{};
  std::uint32_t firstLength = 0;
  if (DERDecoderInitialize(&first, input.data(), &firstLength, length) == kDERDecoderErrorNone) {
    std::uint32_t count = 0;
    require(DERDecoderGetCount(&first, &count) == kDERDecoderErrorNone && count == 1);
  }
  return 0;
}
