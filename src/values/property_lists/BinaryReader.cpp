// Reads binary property lists, version 00.
//
// A document consists of a header, objects, a table of object offsets, and a trailer with the position of the table.
// Containers refer to their elements by number, so an object may occur in many places: it is decoded once, and its
// value is shared. Memory is proportional to the document: no object may have more elements or bytes than the document,
// and overlapping objects are rejected.

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <utility>

#include "values/DateText.h"
#include "values/SharedContents.h"
#include "values/Text.h"
#include "values/ValueAccess.h"
#include "values/property_lists/Encodings.h"

namespace tavik {
namespace {

using detail::FixedArray;
using detail::FixedDictionary;
using detail::ValueAccess;
using ByteSpan = std::span<const std::uint8_t>;

constexpr std::size_t kHeaderSize = 8;
constexpr std::size_t kTrailerSize = 32;

// Reads 1 to 8 bytes of a document. They follow the header, so the document has at least eight bytes before their end.
std::uint64_t bigEndian(ByteSpan bytes) noexcept {
  static_assert(kHeaderSize >= sizeof(std::uint64_t));
  std::uint64_t number = 0;
  std::memcpy(&number, bytes.data() + bytes.size() - sizeof number, sizeof number);
  if constexpr (std::endian::native == std::endian::little) number = __builtin_bswap64(number);
  const std::size_t others = 8 * (sizeof number - bytes.size());
  return number << others >> others;
}

// Reads the bytes of one object.
class Cursor {
 public:
  Cursor(ByteSpan objects, std::size_t offset) noexcept : start_(offset), offset_(offset), objects_(objects) {}

  [[nodiscard]] std::size_t start() const noexcept { return start_; }
  [[nodiscard]] std::size_t offset() const noexcept { return offset_; }
  [[nodiscard]] std::size_t taken() const noexcept { return offset_ - start_; }

  /// Takes `count` pieces of `size` bytes each.
  ByteSpan take(std::uint64_t count, std::size_t size) {
    std::size_t length = 0;
    if (__builtin_mul_overflow(count, size, &length) || length > objects_.size() - offset_) {
      refuse("the object extends into the offset table");
    }
    offset_ += length;
    return objects_.subspan(offset_ - length, length);
  }
  std::uint8_t takeByte() { return take(1, 1).front(); }

  [[noreturn]] void refuse(std::string_view what) const { throw Refusal{start_, std::string(what)}; }

 private:
  std::size_t start_;
  std::size_t offset_;
  ByteSpan objects_;
};

std::uint64_t takeLongCount(Cursor& cursor) {
  const unsigned marker = cursor.takeByte();
  if (marker < 0x10 || marker > 0x13) cursor.refuse("the object's length is not an integer of up to 8 bytes");
  return bigEndian(cursor.take(1, std::size_t{1} << (marker & 0xF)));
}

// The number of elements, characters or bytes: the lower half of the marker, or the integer after the marker if all
// bits of the lower half are set.
std::uint64_t takeCount(Cursor& cursor, unsigned lowerHalf) {
  return lowerHalf != 0xF ? lowerHalf : takeLongCount(cursor);
}

// Integers of less than 8 bytes are unsigned.
std::int64_t takeInteger(Cursor& cursor, unsigned sizeExponent) {
  if (sizeExponent > 4) cursor.refuse("unsupported integer size");
  const ByteSpan bytes = cursor.take(1, std::size_t{1} << sizeExponent);
  const auto number = static_cast<std::int64_t>(bigEndian(bytes.last(std::min<std::size_t>(bytes.size(), 8))));
  if (bytes.size() == 16 && bigEndian(bytes.first(8)) != (number < 0 ? ~std::uint64_t{0} : 0)) {
    cursor.refuse("the integer is out of range (signed 64-bit)");
  }
  return number;
}

double takeReal(Cursor& cursor, unsigned sizeExponent) {
  if (sizeExponent == 2) return std::bit_cast<float>(static_cast<std::uint32_t>(bigEndian(cursor.take(1, 4))));
  if (sizeExponent == 3) return std::bit_cast<double>(bigEndian(cursor.take(1, 8)));
  cursor.refuse("unsupported floating-point size");
}

Date takeDate(Cursor& cursor, unsigned sizeExponent) {
  if (sizeExponent != 3) cursor.refuse("unsupported date size");
  const Date date = Date::sinceReference(takeReal(cursor, sizeExponent));
  if (!isInCalendar(date)) cursor.refuse("the date is outside the years 1 to 9999");
  return date;
}

Value takeAscii(Cursor& cursor, std::uint64_t count) {
  const ByteSpan bytes = cursor.take(count, 1);
  const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  if (!isAscii(text)) {
    const auto wrong = std::ranges::find_if(bytes, [](std::uint8_t byte) { return byte >= 0x80; });
    throw Refusal{cursor.offset() - static_cast<std::size_t>(bytes.end() - wrong), "non-ASCII byte in an ASCII string"};
  }
  return ValueAccess::string(text);
}

Value takeUtf16(Cursor& cursor, std::uint64_t count) {
  const auto isHighSurrogate = [](char32_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; };
  const auto isLowSurrogate = [](char32_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; };
  const ByteSpan bytes = cursor.take(count, 2);
  const auto unitAt = [&](std::size_t offset) { return char32_t{bytes[offset]} << 8 | bytes[offset + 1]; };
  std::string text(3 * (bytes.size() / 2), '\0');  // the most that one unit needs
  char* end = text.data();
  for (std::size_t offset = 0; offset < bytes.size(); offset += 2) {
    const char32_t unit = unitAt(offset);
    if (unit < 0x80) {
      *end++ = static_cast<char>(unit);
    } else if (!isHighSurrogate(unit) && !isLowSurrogate(unit)) {
      end = putUtf8(end, unit);
    } else if (isHighSurrogate(unit) && offset + 2 < bytes.size() && isLowSurrogate(unitAt(offset + 2))) {
      offset += 2;
      end = putUtf8(end, 0x10000 + ((unit - 0xD800) << 10 | (unitAt(offset) - 0xDC00)));
    } else {
      throw Refusal{cursor.offset() - bytes.size() + offset, "unpaired surrogate"};
    }
  }
  return ValueAccess::string({text.data(), end});
}

[[noreturn]] void refuseKind(const Cursor& cursor, unsigned marker) {
  constexpr std::pair<unsigned, std::string_view> kKinds[] = {
      {0x00, "null"},        {0x0C, "a URL"}, {0x0D, "a URL"},          {0x0E, "a UUID"},
      {0x0F, "a fill byte"}, {0x80, "a UID"}, {0xB0, "an ordered set"}, {0xC0, "a set"},
  };
  const unsigned kind = marker < 0x10 ? marker : marker & 0xF0;
  for (const auto& [known, name] : kKinds) {
    if (known == kind) cursor.refuse("the object is " + std::string(name) + ", which is not supported");
  }
  cursor.refuse("the object is of an unknown kind");
}

Value takeScalar(Cursor& cursor, unsigned marker) {
  const unsigned lowerHalf = marker & 0xF;
  switch (marker >> 4) {
    case 0x0:
      if (marker == 0x08 || marker == 0x09) return Value(marker == 0x09);
      break;
    case 0x1:
      return Value(takeInteger(cursor, lowerHalf));
    case 0x2:
      return Value(takeReal(cursor, lowerHalf));
    case 0x3:
      return takeDate(cursor, lowerHalf);
    case 0x4:
      return Data(cursor.take(takeCount(cursor, lowerHalf), 1));
    case 0x5:
      return takeAscii(cursor, takeCount(cursor, lowerHalf));
    case 0x6:
      return takeUtf16(cursor, takeCount(cursor, lowerHalf));
    default:
      break;
  }
  refuseKind(cursor, marker);
}

class BinaryReader {
 public:
  explicit BinaryReader(ByteSpan document);

  Value read() {
    Value top = ValueAccess::copiedUnseen(object(top_, document_.size() - kTrailerSize + 16, 1).value);
    for (Object& object : objects_) ValueAccess::releaseUnseen(object.value);
    return top;
  }

 private:
  enum class State : std::uint8_t { kUnread, kOpen, kRead };
  struct Object {
    Value value;
    std::uint64_t weight = 0;  // see kObjectWeight
    int height = 0;            // levels of containers, including this object
    State state = State::kUnread;
  };

  const Object& object(std::uint64_t number, std::size_t referenceOffset, int depth) {
    const bool isRead = number < objects_.size() && objects_[number].state == State::kRead;
    return isRead ? objects_[number] : readObject(number, referenceOffset, depth);
  }
  const Object& referredObject(std::size_t referenceOffset, int depth) {
    return object(bigEndian(document_.subspan(referenceOffset, referenceSize_)), referenceOffset, depth);
  }
  const Object& readObject(std::uint64_t number, std::size_t referenceOffset, int depth);
  [[nodiscard]] std::size_t offsetOf(std::size_t number) const;
  void readArray(Object& object, Cursor& cursor, unsigned lowerHalf, int depth);
  void readDictionary(Object& object, Cursor& cursor, unsigned lowerHalf, int depth);
  void claim(const Cursor& cursor);
  void beginContainer(Object& object, const Cursor& cursor, int depth);
  void enclose(Object& container, const Object& element, const Cursor& cursor) const {
    container.height = std::max(container.height, element.height + 1);
    container.weight += element.weight;
    if (container.weight > heaviest_) refuseWeight(cursor);
  }
  [[noreturn]] static void refuseWeight(const Cursor& cursor);

  ByteSpan document_;
  std::size_t tableOffset_ = 0;
  std::size_t offsetSize_ = 0;
  std::size_t referenceSize_ = 0;
  std::uint64_t top_ = 0;
  std::vector<Object> objects_;
  std::size_t unclaimed_ = 0;  // bytes not taken by the objects read so far
  std::uint64_t heaviest_;
};

BinaryReader::BinaryReader(ByteSpan document) : document_(document), heaviest_(heaviestObject(document.size())) {
  if (document.size() < kHeaderSize + kTrailerSize) throw Refusal{document.size(), "the document is too short"};
  const std::string_view version(reinterpret_cast<const char*>(document.data()) + 6, 2);
  if (version != "00") {
    throw Refusal{6, "version " + quoted(version) + " of binary property lists is not supported, only version 00"};
  }
  const std::size_t trailerOffset = document.size() - kTrailerSize;
  const ByteSpan trailer = document.last(kTrailerSize);
  offsetSize_ = trailer[6];
  referenceSize_ = trailer[7];
  const std::uint64_t count = bigEndian(trailer.subspan(8, 8));
  top_ = bigEndian(trailer.subspan(16, 8));
  const std::uint64_t tableOffset = bigEndian(trailer.subspan(24, 8));
  if (offsetSize_ < 1 || offsetSize_ > 8) {
    throw Refusal{trailerOffset + 6, "the size of offsets is not 1 to 8 bytes"};
  }
  if (referenceSize_ < 1 || referenceSize_ > 8) {
    throw Refusal{trailerOffset + 7, "the size of references is not 1 to 8 bytes"};
  }
  if (tableOffset < kHeaderSize || tableOffset > trailerOffset) {
    throw Refusal{trailerOffset + 24, "the offset table is outside the document"};
  }
  tableOffset_ = static_cast<std::size_t>(tableOffset);
  unclaimed_ = tableOffset_ - kHeaderSize;
  // Each object has at least one byte of its own.
  if (count > (trailerOffset - tableOffset_) / offsetSize_ || count > unclaimed_) {
    throw Refusal{trailerOffset + 8, "the document is too short for its number of objects"};
  }
  objects_.resize(static_cast<std::size_t>(count));
}

// Reads object `number`. referenceOffset: the position of the reference to it. depth: its nesting depth if it is a
// container.
const BinaryReader::Object& BinaryReader::readObject(std::uint64_t number, std::size_t referenceOffset, int depth) {
  if (number >= objects_.size()) {
    throw Refusal{referenceOffset, "unknown object " + std::to_string(number) + "; the number of objects is " +
                                       std::to_string(objects_.size())};
  }
  Object& object = objects_[static_cast<std::size_t>(number)];
  Cursor cursor(document_.first(tableOffset_), offsetOf(static_cast<std::size_t>(number)));
  if (object.state == State::kOpen) cursor.refuse("the object contains itself");
  object.state = State::kOpen;
  const unsigned marker = cursor.takeByte();
  switch (marker >> 4) {
    case 0xA:
      readArray(object, cursor, marker & 0xF, depth);
      break;
    case 0xD:
      readDictionary(object, cursor, marker & 0xF, depth);
      break;
    default:
      object.value = takeScalar(cursor, marker);
      object.weight = kObjectWeight + cursor.taken();
      claim(cursor);
  }
  object.state = State::kRead;
  return object;
}

std::size_t BinaryReader::offsetOf(std::size_t number) const {
  const std::size_t entryOffset = tableOffset_ + number * offsetSize_;
  const std::uint64_t offset = bigEndian(document_.subspan(entryOffset, offsetSize_));
  if (offset < kHeaderSize || offset >= tableOffset_) {
    throw Refusal{entryOffset, "the offset of object " + std::to_string(number) + " is out of range"};
  }
  return static_cast<std::size_t>(offset);
}

void BinaryReader::readArray(Object& object, Cursor& cursor, unsigned lowerHalf, int depth) {
  const std::uint64_t count = takeCount(cursor, lowerHalf);
  std::size_t offset = cursor.offset();
  cursor.take(count, referenceSize_);
  beginContainer(object, cursor, depth);
  if (count == 0) {
    object.value = Array();
    return;
  }
  FixedArray array(static_cast<std::size_t>(count));
  for (; offset < cursor.offset(); offset += referenceSize_) {
    const Object& element = referredObject(offset, depth + 1);
    enclose(object, element, cursor);
    array.add(ValueAccess::copiedUnseen(element.value));
  }
  requireDepth(depth - 1 + object.height, cursor.start());
  object.value = std::move(array).take();
}

// The references to all keys come before those to the values.
void BinaryReader::readDictionary(Object& object, Cursor& cursor, unsigned lowerHalf, int depth) {
  const std::uint64_t count = takeCount(cursor, lowerHalf);
  const std::size_t keysOffset = cursor.offset();
  const std::size_t keysSize = cursor.take(count, 2 * referenceSize_).size() / 2;
  beginContainer(object, cursor, depth);
  if (count == 0) {
    object.value = Dictionary();
    return;
  }
  FixedDictionary dictionary(static_cast<std::size_t>(count));
  for (std::size_t offset = keysOffset; offset < keysOffset + keysSize; offset += referenceSize_) {
    const Object& key = referredObject(offset, depth + 1);
    if (!key.value.isString()) throw Refusal{offset, "a dictionary key is not a string"};
    enclose(object, key, cursor);
    const Object& value = referredObject(offset + keysSize, depth + 1);
    enclose(object, value, cursor);
    dictionary.add(ValueAccess::copiedUnseen(key.value), ValueAccess::copiedUnseen(value.value));
  }
  requireDepth(depth - 1 + object.height, cursor.start());
  if (const auto repeated = dictionary.makeIndex()) {
    const auto offsetOfKey = [&](std::size_t position) { return keysOffset + position * referenceSize_; };
    refuseRepeatedKey(repeated->key, offsetOfKey(repeated->second), offsetOfKey(repeated->first));
  }
  object.value = std::move(dictionary).take();
}

void BinaryReader::claim(const Cursor& cursor) {
  if (cursor.taken() > unclaimed_) cursor.refuse("the object overlaps with other objects");
  unclaimed_ -= cursor.taken();
}

void BinaryReader::beginContainer(Object& object, const Cursor& cursor, int depth) {
  claim(cursor);
  requireDepth(depth, cursor.start());
  object.weight = kObjectWeight;
  object.height = 1;
}

void BinaryReader::refuseWeight(const Cursor& cursor) {
  cursor.refuse("with shared objects counted each time, the object is far larger than the document");
}

}  // namespace

Value readBinaryPropertyList(std::span<const std::uint8_t> document) { return BinaryReader(document).read(); }

}  // namespace tavik
