// Writes binary property lists, version 00.
//
// Strings, numbers, dates and data are encoded first, after the header. Values of the same kind and with the same bits
// share one object. Arrays and dictionaries follow when all objects have numbers, and then the offset table and the
// trailer.

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <limits>
#include <optional>
#include <utility>

#include "values/DateText.h"
#include "values/Text.h"
#include "values/ValueAccess.h"
#include "values/property_lists/DataBuffer.h"
#include "values/property_lists/Encodings.h"

namespace tavik {
namespace {

using detail::ValueAccess;

std::string_view textOf(std::span<const std::uint8_t> bytes) noexcept {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

// The bytes of a long string or of data, which are outside the value.
std::optional<std::string_view> longContents(const Value& value) noexcept {
  if (ValueAccess::isLong(value)) return ValueAccess::text(value);
  const Data* data = value.ifData();
  return data == nullptr ? std::nullopt : std::optional(textOf(data->bytes()));
}

// Not for arrays and dictionaries. Distinguishes 1 from 1.0 and 0.0 from -0.0, which are equal as values.
bool isSame(const Value& left, const Value& right) noexcept {
  if (ValueAccess::bits(left) == ValueAccess::bits(right)) return true;
  const std::optional<std::string_view> contents = longContents(left);
  return contents && left.kind() == right.kind() && contents == longContents(right);
}

// A multiplicative hash of the contents, the same in every run: the output must not depend on addresses.
std::uint32_t hashOf(const Value& value) noexcept {
  __extension__ using Wide = unsigned __int128;
  constexpr std::uint64_t kOdd = 0x9E3779B97F4A7C15;
  const auto mix = [](std::uint64_t left, std::uint64_t right) {
    const Wide product = Wide{left} * right;
    return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
  };
  const std::optional<std::string_view> contents = longContents(value);
  if (!contents) {
    const ValueAccess::Bits bits = ValueAccess::bits(value);
    return static_cast<std::uint32_t>(mix(bits.low ^ kOdd, bits.high ^ 0xD6E8FEB86659FD93));
  }
  std::uint64_t state = contents->size();
  for (std::string_view rest = *contents; !rest.empty();) {
    std::uint64_t word = 0;
    const std::size_t count = std::min(rest.size(), sizeof word);
    std::memcpy(&word, rest.data(), count);
    state = mix(state ^ word, kOdd);
    rest.remove_prefix(count);
  }
  return static_cast<std::uint32_t>(mix(state, kOdd));
}

// The objects for strings, numbers, booleans, dates and data. If many hashes collide, or beyond 2^32 objects, equal
// values may get separate objects; so values cannot be crafted to make writing slow.
class ObjectIndex {
 public:
  struct Object {
    const Value* value;
    std::size_t number;
    std::size_t size;  // of its encoding
  };

  [[nodiscard]] const Object* find(const Value& value, std::uint32_t hash) const noexcept {
    for (std::size_t probe = 0; probe < kProbes; ++probe) {
      const Slot& slot = slots_[(hash + probe) & (slots_.size() - 1)];
      if (slot.object == kNone) return nullptr;
      if (slot.hash == hash && isSame(*objects_[slot.object].value, value)) return &objects_[slot.object];
    }
    return nullptr;
  }
  void add(const Object& object, std::uint32_t hash) {
    if (objects_.size() == kNone) return;
    if (2 * objects_.size() >= slots_.size()) grow();
    put({hash, static_cast<std::uint32_t>(objects_.size())});
    objects_.push_back(object);
  }

 private:
  static constexpr std::size_t kProbes = 32;
  static constexpr std::uint32_t kNone = std::numeric_limits<std::uint32_t>::max();
  struct Slot {
    std::uint32_t hash = 0;
    std::uint32_t object = kNone;
  };

  void put(const Slot& added) noexcept {
    for (std::size_t probe = 0; probe < kProbes; ++probe) {
      Slot& slot = slots_[(added.hash + probe) & (slots_.size() - 1)];
      if (slot.object != kNone) continue;
      slot = added;
      return;
    }
  }
  void grow() {
    const std::vector<Slot> before = std::exchange(slots_, std::vector<Slot>(4 * slots_.size()));
    for (const Slot& slot : before) {
      if (slot.object != kNone) put(slot);
    }
  }

  std::vector<Slot> slots_ = std::vector<Slot>(256);
  std::vector<Object> objects_;
};

std::size_t bytesFor(std::uint64_t number) noexcept {
  return std::max<std::size_t>(1, (static_cast<std::size_t>(std::bit_width(number)) + 7) / 8);
}

// Writes the lowest `size` bytes of `number` in big-endian order. Returns the position after them.
char* put(char* to, std::uint64_t number, std::size_t size) noexcept {
  for (std::size_t shift = 8 * size; shift != 0; shift -= 8) *to++ = static_cast<char>(number >> (shift - 8) & 0xFF);
  return to;
}

// Big-endian.
std::string utf16(std::string_view text) {
  std::string units(2 * text.size(), '\0');  // the most that any character needs
  char* next = units.data();
  const auto append = [&](char32_t unit) {
    *next++ = static_cast<char>(unit >> 8 & 0xFF);
    *next++ = static_cast<char>(unit & 0xFF);
  };
  while (!text.empty()) {
    const bool isAscii = static_cast<unsigned char>(text.front()) < 0x80;
    const char32_t character = isAscii ? static_cast<unsigned char>(text.front()) : takeCharacter(text);
    if (isAscii) text.remove_prefix(1);
    if (character < 0x10000) {
      append(character);
    } else {
      append(0xD800 + ((character - 0x10000) >> 10));
      append(0xDC00 + ((character - 0x10000) & 0x3FF));
    }
  }
  units.resize(static_cast<std::size_t>(next - units.data()));
  return units;
}

class BinaryWriter {
 public:
  Data write(const Value& value);

 private:
  // The contents of an array or dictionary: the numbers of its elements, or of its keys and then of their values.
  struct Container {
    std::size_t number;
    std::size_t firstReference;
    std::size_t references;
    bool isDictionary;
  };

  void reserve(std::size_t referenceSize);
  std::size_t add(const Value& value, int depth);
  std::size_t addArray(const Array& array, int depth);
  std::size_t addDictionary(const Dictionary& dictionary, int depth);
  std::size_t beginContainer(std::size_t references, bool isDictionary);
  std::size_t addScalar(const Value& value);

  void appendScalar(const Value& value);
  void appendString(std::string_view text);
  void appendInteger(std::int64_t number);
  void appendDate(Date date);
  void appendReal(std::uint8_t marker, double number);
  void appendContainer(const Container& container, std::size_t referenceSize);
  void appendAll(std::span<const std::size_t> numbers, std::size_t size);
  // Writes the kind of an object and its number of characters, bytes or elements.
  void appendMarker(std::uint8_t kind, std::size_t count) {
    count < 0xF ? static_cast<void>(document_ += static_cast<char>(kind | count)) : appendLongMarker(kind, count);
  }
  void appendLongMarker(std::uint8_t kind, std::size_t count);
  void appendBytes(std::uint64_t number, std::size_t size) { put(document_.extend(size), number, size); }

  detail::DataBuffer document_;
  std::vector<std::size_t> offsets_;  // of the objects, by number
  std::vector<Container> containers_;
  std::vector<std::size_t> references_;
  ObjectIndex scalars_;
  std::uint64_t weight_ = 0;  // of the root, as the reader computes it
};

Data BinaryWriter::write(const Value& value) {
  document_ += "bplist00";
  const std::size_t top = add(value, 1);
  const std::size_t referenceSize = bytesFor(offsets_.size() - 1);
  reserve(referenceSize);
  for (const Container& container : containers_) appendContainer(container, referenceSize);
  const std::size_t tableOffset = document_.size();
  const std::size_t offsetSize = bytesFor(tableOffset);
  appendAll(offsets_, offsetSize);
  appendBytes(0, 6);
  appendBytes(offsetSize, 1);
  appendBytes(referenceSize, 1);
  appendBytes(offsets_.size(), 8);
  appendBytes(top, 8);
  appendBytes(tableOffset, 8);
  return std::move(document_).take();
}

// Reserves memory for everything after the strings, numbers, dates and data.
void BinaryWriter::reserve(std::size_t referenceSize) {
  constexpr std::size_t kMarkerAndCount = 3;  // at most, except for the largest containers
  constexpr std::size_t kTrailerSize = 32;
  const std::size_t tableOffset =
      document_.size() + containers_.size() * kMarkerAndCount + references_.size() * referenceSize;
  document_.reserve(tableOffset + offsets_.size() * bytesFor(tableOffset) + kTrailerSize);
}

// Returns the number of the object for `value`. depth: its nesting depth if it is a container.
std::size_t BinaryWriter::add(const Value& value, int depth) {
  if (const Array* array = value.ifArray()) return addArray(*array, depth);
  if (const Dictionary* dictionary = value.ifDictionary()) return addDictionary(*dictionary, depth);
  return addScalar(value);
}

std::size_t BinaryWriter::addArray(const Array& array, int depth) {
  requireDepth(depth);
  const std::size_t number = beginContainer(array.size(), false);
  std::size_t reference = containers_.back().firstReference;
  for (const Value& element : array) {
    const std::size_t elementNumber = add(element, depth + 1);
    references_[reference++] = elementNumber;
  }
  return number;
}

std::size_t BinaryWriter::addDictionary(const Dictionary& dictionary, int depth) {
  requireDepth(depth);
  const std::size_t size = dictionary.size();
  const std::size_t number = beginContainer(2 * size, true);
  std::size_t reference = containers_.back().firstReference;
  const auto end = dictionary.end();
  for (auto entry = dictionary.begin(); entry != end; ++entry, ++reference) {
    const std::size_t keyNumber = addScalar(entry.key());
    const std::size_t valueNumber = add(entry.value(), depth + 1);
    references_[reference] = keyNumber;
    references_[reference + size] = valueNumber;
  }
  return number;
}

std::size_t BinaryWriter::beginContainer(std::size_t references, bool isDictionary) {
  containers_.push_back({offsets_.size(), references_.size(), references, isDictionary});
  references_.resize(references_.size() + references);
  offsets_.push_back(0);  // until it is written
  weight_ += kObjectWeight;
  return containers_.back().number;
}

// Does not share an object if the reader would reject the document because of its weight.
std::size_t BinaryWriter::addScalar(const Value& value) {
  const std::uint32_t hash = hashOf(value);
  const ObjectIndex::Object* known = scalars_.find(value, hash);
  if (known != nullptr) {
    const std::uint64_t weight = weight_ + kObjectWeight + known->size;
    if (weight <= heaviestObject(document_.size() + containers_.size())) {  // each container takes a byte or more
      weight_ = weight;
      return known->number;
    }
  }
  const std::size_t offset = document_.size();
  const std::size_t number = offsets_.size();
  appendScalar(value);
  const std::size_t size = document_.size() - offset;
  weight_ += kObjectWeight + size;
  offsets_.push_back(offset);
  if (known == nullptr) scalars_.add({&value, number, size}, hash);
  return number;
}

void BinaryWriter::appendScalar(const Value& value) {
  if (const auto text = value.ifString()) return appendString(*text);
  if (const auto integer = value.ifInteger()) return appendInteger(*integer);
  if (const auto real = value.ifReal()) return appendReal(0x23, *real);
  if (const auto date = value.ifDate()) return appendDate(*date);
  if (const auto truth = value.ifBoolean()) return appendBytes(*truth ? 0x09 : 0x08, 1);
  const auto bytes = value.ifData()->bytes();
  appendMarker(0x40, bytes.size());
  document_ += textOf(bytes);
}

void BinaryWriter::appendString(std::string_view text) {
  if (isAscii(text)) {
    appendMarker(0x50, text.size());
    document_ += text;
    return;
  }
  const std::string units = utf16(text);
  appendMarker(0x60, units.size() / 2);
  document_ += units;
}

// Integers of less than 8 bytes are unsigned.
void BinaryWriter::appendInteger(std::int64_t number) {
  const auto bits = static_cast<std::uint64_t>(number);
  const int sizeExponent = bits > 0xFFFFFFFF ? 3 : bits > 0xFFFF ? 2 : bits > 0xFF ? 1 : 0;
  appendBytes(0x10U | static_cast<unsigned>(sizeExponent), 1);
  appendBytes(bits, std::size_t{1} << sizeExponent);
}

void BinaryWriter::appendDate(Date date) {
  if (!isInCalendar(date)) throw Unwritable{};
  appendReal(0x33, date.secondsSinceReference());
}

void BinaryWriter::appendReal(std::uint8_t marker, double number) {
  appendBytes(marker, 1);
  appendBytes(std::bit_cast<std::uint64_t>(number), 8);
}

void BinaryWriter::appendContainer(const Container& container, std::size_t referenceSize) {
  offsets_[container.number] = document_.size();
  container.isDictionary ? appendMarker(0xD0, container.references / 2) : appendMarker(0xA0, container.references);
  appendAll(std::span(references_).subspan(container.firstReference, container.references), referenceSize);
}

void BinaryWriter::appendAll(std::span<const std::size_t> numbers, std::size_t size) {
  char* next = document_.extend(numbers.size() * size);
  for (const std::size_t number : numbers) next = put(next, number, size);
}

void BinaryWriter::appendLongMarker(std::uint8_t kind, std::size_t count) {
  document_ += static_cast<char>(kind | 0xF);
  appendInteger(static_cast<std::int64_t>(count));
}

}  // namespace

Data writeBinaryPropertyList(const Value& value) { return BinaryWriter().write(value); }

}  // namespace tavik
