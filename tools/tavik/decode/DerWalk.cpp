#include "decode/DerWalk.h"

#include <fmt/format.h>
#include <tavik/DERDecoder.h>

#include <algorithm>
#include <iterator>
#include <optional>
#include <string_view>
#include <vector>

#include "io/Bytes.h"
#include "text/Text.h"

namespace tavik::tool {
namespace {

constexpr std::uint32_t kUniversal = 0;

/// Reads the element at `offset` of a region that ends at `end`.
std::uint32_t readElement(std::span<const std::uint8_t> bytes, std::uint32_t offset, std::uint32_t end,
                          DerElement& element) {
  const DERDecoder rest{.buffer = bytes.data() + offset, .length = end - offset};
  std::uint32_t constructed = 0;
  const std::uint8_t* content = nullptr;
  std::uint32_t length = 0;
  const std::uint32_t status = DERDecoderGetEncodingAt(&rest, 0, &element.tagClass, &element.tag, &constructed,
                                                       &content, &length, nullptr, nullptr);
  if (status != kDERDecoderErrorNone) return status;
  element.offset = offset;
  element.headerLength = static_cast<std::uint32_t>(content - rest.buffer);
  element.constructed = constructed != 0;
  element.content = {content, length};
  return status;
}

std::string_view universalName(std::uint32_t tag) {
  constexpr std::string_view kNames[] = {"END-OF-CONTENTS",
                                         "BOOLEAN",
                                         "INTEGER",
                                         "BIT STRING",
                                         "OCTET STRING",
                                         "NULL",
                                         "OBJECT IDENTIFIER",
                                         "ObjectDescriptor",
                                         "EXTERNAL",
                                         "REAL",
                                         "ENUMERATED",
                                         "EMBEDDED PDV",
                                         "UTF8String",
                                         "RELATIVE-OID",
                                         "TIME",
                                         "",
                                         "SEQUENCE",
                                         "SET",
                                         "NumericString",
                                         "PrintableString",
                                         "TeletexString",
                                         "VideotexString",
                                         "IA5String",
                                         "UTCTime",
                                         "GeneralizedTime",
                                         "GraphicString",
                                         "VisibleString",
                                         "GeneralString",
                                         "UniversalString",
                                         "CHARACTER STRING",
                                         "BMPString"};
  return tag < std::size(kNames) ? kNames[tag] : "";
}

std::string hexadecimal(std::span<const std::uint8_t> bytes) {
  constexpr std::size_t kMost = 24;
  std::string text = fmt::format("{:02x}", fmt::join(bytes.first(std::min(bytes.size(), kMost)), " "));
  if (bytes.size() > kMost) text += fmt::format(" … ({} bytes)", bytes.size());
  return text;
}

/// An INTEGER of up to eight bytes; otherwise absent.
std::optional<std::string> integerText(std::span<const std::uint8_t> bytes) {
  if (bytes.empty() || bytes.size() > sizeof(std::int64_t)) return std::nullopt;
  std::uint64_t bits = (bytes.front() & 0x80U) != 0 ? ~std::uint64_t{0} : 0;
  for (const std::uint8_t byte : bytes) bits = bits << 8 | byte;
  return fmt::to_string(static_cast<std::int64_t>(bits));
}

/// The arcs separated by periods; absent if they are truncated or too large.
std::optional<std::string> objectIdentifierText(std::span<const std::uint8_t> bytes) {
  constexpr std::size_t kMostBytes = 64;
  if (bytes.empty() || bytes.size() > kMostBytes || (bytes.back() & 0x80U) != 0) return std::nullopt;
  std::string text;
  std::uint64_t arc = 0;
  for (const std::uint8_t byte : bytes) {
    if (arc >> 56 != 0) return std::nullopt;
    arc = arc << 7 | (byte & 0x7FU);
    if ((byte & 0x80U) != 0) continue;
    if (text.empty()) {
      const std::uint64_t first = std::min<std::uint64_t>(arc / 40, 2);
      text = fmt::format("{}.{}", first, arc - 40 * first);
    } else {
      text += fmt::format(".{}", arc);
    }
    arc = 0;
  }
  return text;
}

/// The content as text, if it is printable.
std::string contentText(const DerElement& element) {
  constexpr std::size_t kMostBytes = 4096;
  constexpr std::size_t kMostColumns = 120;
  const std::string_view text = textOf(element.content);
  const bool isText = text.size() <= kMostBytes && visible(text) == text;
  return isText ? "\"" + shortened(text, kMostColumns) + "\"" : hexadecimal(element.content);
}

}  // namespace

DerEnd walkDer(std::span<const std::uint8_t> bytes, DerVisitor& visitor) {
  std::vector<std::uint32_t> outerEnds;  // of the regions around the one being read
  auto end = static_cast<std::uint32_t>(bytes.size());
  std::uint32_t offset = 0;
  std::uint32_t status = kDERDecoderErrorNone;
  while (status == kDERDecoderErrorNone) {
    if (offset == end) {
      if (outerEnds.empty()) return {kDERDecoderErrorNone, offset};
      visitor.leave();
      end = outerEnds.back();
      outerEnds.pop_back();
      continue;
    }
    DerElement element{};
    status = readElement(bytes, offset, end, element);
    if (status != kDERDecoderErrorNone) break;
    visitor.enter(element, outerEnds.size());
    offset += element.headerLength;
    const std::uint32_t contentEnd = offset + static_cast<std::uint32_t>(element.content.size());
    if (element.constructed) {
      outerEnds.push_back(end);
      end = contentEnd;
    } else {
      offset = contentEnd;
    }
  }
  for (std::size_t i = 0; i < outerEnds.size(); ++i) visitor.leave();
  return {status, offset};
}

std::string derTagText(const DerElement& element) {
  constexpr std::string_view kClasses[] = {"UNIVERSAL ", "APPLICATION ", "", "PRIVATE "};
  const std::string_view name = element.tagClass == kUniversal ? universalName(element.tag) : "";
  return name.empty() ? fmt::format("[{}{}]", kClasses[element.tagClass], element.tag) : std::string(name);
}

std::string derContentText(const DerElement& element) {
  if (element.tagClass != kUniversal) return contentText(element);
  switch (element.tag) {
    case 1:
      return element.content.size() != 1 ? contentText(element) : element.content.front() != 0 ? "TRUE" : "FALSE";
    case 2:
    case 10:
      return integerText(element.content).value_or(hexadecimal(element.content));
    case 6:
      return objectIdentifierText(element.content).value_or(hexadecimal(element.content));
    default:
      return contentText(element);
  }
}

}  // namespace tavik::tool
