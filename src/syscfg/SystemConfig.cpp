// SysCfg blobs and control-bit blocks. All integers in both are little-endian.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include <tavik/SystemConfig.h>

#include "syscfg/ControlBitBlock.h"
#include "values/SharedContents.h"
#include "values/Text.h"
#include "values/ValueAccess.h"

namespace tavik {

using detail::ValueAccess;

namespace {

using Bytes = std::span<const std::uint8_t>;

// A SysCfg blob: a header, of which only the number of entries at its end is read, and the entries.
constexpr std::size_t kHeaderSize = 24;
constexpr std::size_t kEntrySize = 20;
// Instead of a tag: the value is elsewhere in the blob. As a tag, this is "CNTB".
constexpr std::uint32_t kIndirect = 0x434E5442;

// Indirect values may overlap, so a small blob can have a large content; valid blobs use each byte at most once. The
// minimum budget admits every blob of up to 18 KB, even if all its values overlap.
constexpr std::size_t kMostExpansion = 8;
constexpr std::size_t kLeastBudget = std::size_t{16} << 20;

// A control-bit block: a header, which is not read, and the records.
constexpr std::size_t kBlockHeaderSize = 64;

// Takes the next `count` bytes from `rest`; absent if there are fewer. All reads use this function.
std::optional<Bytes> take(Bytes& rest, std::size_t count) {
  if (count > rest.size()) return std::nullopt;
  const Bytes taken = rest.first(count);
  rest = rest.subspan(count);
  return taken;
}

std::uint32_t word(std::span<const std::uint8_t, 4> bytes) {
  return std::uint32_t{bytes[0]} | std::uint32_t{bytes[1]} << 8 | std::uint32_t{bytes[2]} << 16 |
         std::uint32_t{bytes[3]} << 24;
}

struct Field {
  std::uint32_t tag;
  Bytes value;
};

// Absent if the value is outside the blob.
std::optional<Field> readField(Bytes blob, std::span<const std::uint8_t, kEntrySize> entry) {
  const std::uint32_t tag = word(entry.first<4>());
  if (tag != kIndirect) return Field{tag, entry.subspan<4>()};
  Bytes rest = blob;
  if (!take(rest, word(entry.subspan<12, 4>()))) return std::nullopt;
  const std::optional<Bytes> value = take(rest, word(entry.subspan<8, 4>()));
  if (!value) return std::nullopt;
  return Field{word(entry.subspan<4, 4>()), *value};
}

// The bytes as text: printable ASCII, followed only by NUL bytes.
std::optional<std::string_view> asText(Bytes bytes) {
  const auto end = std::ranges::find_if(bytes, [](std::uint8_t byte) { return byte < 0x20 || byte > 0x7E; });
  if (!std::all_of(end, bytes.end(), [](std::uint8_t byte) { return byte == 0; })) return std::nullopt;
  return std::string_view(reinterpret_cast<const char*>(bytes.data()), static_cast<std::size_t>(end - bytes.begin()));
}

Value fieldValue(Bytes bytes) {
  if (const auto text = asText(bytes)) return ValueAccess::string(*text);
  return Data(bytes);
}

// One character per byte: U+0000 to U+00FF.
std::string characters(Bytes bytes) {
  if (const auto text = asText(bytes); text && text->size() == bytes.size()) return std::string(*text);
  std::string text;
  for (const std::uint8_t byte : bytes) appendUtf8(text, byte);
  return text;
}

}  // namespace

Dictionary SystemConfig::sysCfgFromData(const Data* data) {
  std::optional<Stop> stop;
  return sysCfgFromData(data, stop);
}

Dictionary SystemConfig::sysCfgFromData(const Data* data, std::optional<Stop>& stop) {
  Dictionary fields;
  const Bytes blob = data == nullptr ? Bytes() : data->bytes();
  Bytes rest = blob;
  const auto stopAt = [&](std::string_view reason) {
    stop = {blob.size() - rest.size(), reason};
    return fields;
  };
  stop.reset();
  const std::optional<Bytes> header = take(rest, kHeaderSize);
  if (!header) return stopAt("the header is cut off");
  fields.reserve(std::min<std::size_t>(word(header->last<4>()), rest.size() / kEntrySize));
  std::size_t budget = std::max(kLeastBudget, blob.size() * kMostExpansion);
  for (std::uint32_t left = word(header->last<4>()); left > 0; --left) {
    const std::optional<Bytes> entry = take(rest, kEntrySize);
    if (!entry) return stopAt("an entry is cut off");
    const std::optional<Field> field = readField(blob, entry->first<kEntrySize>());
    if (field && field->value.size() <= budget) {
      budget -= field->value.size();
      ValueAccess::set(fields, ValueAccess::string(convertTag(field->tag)), fieldValue(field->value));
      continue;
    }
    rest = blob.last(rest.size() + kEntrySize);  // the offset is that of the entry
    return stopAt(field ? "the values are too large for the blob" : "the entry's value is outside the blob");
  }
  return fields;
}

std::span<const std::uint8_t> controlBitRecords(const Data& block) {
  Bytes rest = block.bytes();
  if (!take(rest, kBlockHeaderSize)) return {};
  return rest.first(std::min(rest.size() / SystemConfig::kControlBitSize, SystemConfig::kControlBitCount) *
                    SystemConfig::kControlBitSize);
}

Array SystemConfig::controlBitsFromData(const Data* data) {
  Array records;
  if (data == nullptr) return records;
  Bytes rest = controlBitRecords(*data);
  while (const std::optional<Bytes> record = take(rest, kControlBitSize)) {
    records.append(convertControlBitToDict(record->first<kControlBitSize>()));
  }
  return records;
}

Dictionary SystemConfig::convertControlBitToDict(std::span<const std::uint8_t, kControlBitSize> record) {
  const std::uint32_t status = word(record.first<4>());
  const std::uint32_t timestamp = word(record.subspan<4, 4>());
  const Bytes version = record.subspan<8>();
  const auto versionEnd = std::ranges::find(version, 0);
  // The counters are stored as the complement of their value.
  return {
      {"Test State", testStateToString(status & 3)},
      {"Erase Count", Value((status >> 20) ^ 0xFFF)},
      {"Abs Fail Count", Value((status >> 10 & 0x3FF) ^ 0x3FF)},
      {"Rel Fail Count", Value((status >> 2 & 0xFF) ^ 0xFF)},
      {"Timestamp", Date::sinceEpoch(timestamp)},
      {"Software Version", characters({version.begin(), versionEnd})},
  };
}

std::string SystemConfig::testStateToString(std::uint32_t code) {
  switch (code) {
    case 0:
      return "Pass";
    case 1:
      return "Incomplete";
    case 2:
      return "Fail";
    case 3:
      return "Untested";
    default:
      return "Unknown";
  }
}

std::string SystemConfig::convertTag(std::uint32_t tag) {
  const std::uint8_t bytes[] = {static_cast<std::uint8_t>(tag >> 24), static_cast<std::uint8_t>(tag >> 16),
                                static_cast<std::uint8_t>(tag >> 8), static_cast<std::uint8_t>(tag)};
  return characters(bytes);
}

Value SystemConfig::tryConvertValueToString(const Data& bytes) {
  if (const auto text = asText(bytes.bytes())) return ValueAccess::string(*text);
  return bytes;
}

}  // namespace tavik
