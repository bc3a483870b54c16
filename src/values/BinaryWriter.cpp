// Writes binary property lists, version 00.
//
// Strings, numbers, dates and data are encoded at once, behind the header, and each only once: whatever is encoded to
// the same bytes is the same object. Arrays and dictionaries follow when all objects have their numbers, then the table
// and the trailer.

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <functional>
#include <limits>
#include <utility>

#include "values/PropertyListEncodings.h"
#include "values/Text.h"

namespace tavik {
namespace {

// From hashes to the numbers of objects. Where a great many hashes collide, some objects are not found again; so nobody
// can prepare values that are slow to write.
class ObjectIndex {
 public:
  // The object for which `isSame` holds; `number` itself, now in the index, when there is none.
  template <class IsSame>
  std::size_t findOrAdd(std::size_t hash, std::size_t number, IsSame isSame) {
    if (2 * used_ >= slots_.size()) grow();
    for (std::size_t probe = 0; probe < kProbes; ++probe) {
      Slot& slot = slots_[(hash + probe) & (slots_.size() - 1)];
      if (slot.number == kFree) {
        slot = {hash, number};
        ++used_;
        return number;
      }
      if (slot.hash == hash && isSame(slot.number)) return slot.number;
    }
    return number;
  }

 private:
  static constexpr std::size_t kProbes = 32;
  static constexpr std::size_t kFree = std::numeric_limits<std::size_t>::max();
  struct Slot {
    std::size_t hash = 0;
    std::size_t number = kFree;
  };

  void grow() {
    const std::vector<Slot> before =
        std::exchange(slots_, std::vector<Slot>(std::max<std::size_t>(64, 2 * slots_.size())));
    for (const Slot& moved : before) {
      if (moved.number == kFree) continue;
      for (std::size_t probe = 0; probe < kProbes; ++probe) {
        Slot& slot = slots_[(moved.hash + probe) & (slots_.size() - 1)];
        if (slot.number != kFree) continue;
        slot = moved;
        break;
      }
    }
  }

  std::vector<Slot> slots_;
  std::size_t used_ = 0;
};

std::size_t bytesFor(std::uint64_t number) noexcept {
  return std::max<std::size_t>(1, (static_cast<std::size_t>(std::bit_width(number)) + 7) / 8);
}

// Big-endian.
std::string utf16(std::string_view text) {
  std::string units;
  units.reserve(2 * text.size());
  const auto append = [&](char32_t unit) {
    units += static_cast<char>(unit >> 8 & 0xFF);
    units += static_cast<char>(unit & 0xFF);
  };
  while (!text.empty()) {
    const char32_t character = takeCharacter(text);
    if (character < 0x10000) {
      append(character);
    } else {
      append(0xD800 + ((character - 0x10000) >> 10));
      append(0xDC00 + ((character - 0x10000) & 0x3FF));
    }
  }
  return units;
}

class BinaryWriter {
 public:
  Data write(const Value& value);

 private:
  // What an array or dictionary holds: the numbers of its elements, or of its keys and then of their values.
  struct Container {
    std::size_t number;
    std::size_t firstReference;
    std::size_t references;
    bool isDictionary;
  };

  std::size_t add(const Value& value);
  std::size_t addArray(const Array& array);
  std::size_t addDictionary(const Dictionary& dictionary);
  std::size_t beginContainer(std::size_t references, bool isDictionary);
  std::size_t addScalar(const Value& value);

  void appendScalar(const Value& value);
  void appendString(std::string_view text);
  void appendInteger(std::int64_t number);
  void appendReal(std::uint8_t marker, double number);
  void appendContainer(const Container& container, std::size_t referenceSize);
  void appendMarker(std::uint8_t kind, std::size_t count);
  void appendBytes(std::uint64_t number, std::size_t count);

  std::string document_ = "bplist00";
  std::vector<std::size_t> offsets_;  // of the objects, by number
  std::vector<Container> containers_;
  std::vector<std::size_t> references_;
  ObjectIndex scalars_;
  std::uint64_t weight_ = 0;  // of the root, as the reader will reckon it
};

Data BinaryWriter::write(const Value& value) {
  const std::size_t top = add(value);
  const std::size_t referenceSize = bytesFor(offsets_.size() - 1);
  for (const Container& container : containers_) appendContainer(container, referenceSize);
  const std::size_t tableOffset = document_.size();
  const std::size_t offsetSize = bytesFor(tableOffset);
  for (const std::size_t offset : offsets_) appendBytes(offset, offsetSize);
  appendBytes(0, 6);
  appendBytes(offsetSize, 1);
  appendBytes(referenceSize, 1);
  appendBytes(offsets_.size(), 8);
  appendBytes(top, 8);
  appendBytes(tableOffset, 8);
  return Data(std::span(reinterpret_cast<const std::uint8_t*>(document_.data()), document_.size()));
}

// Gives the number of the object that stands for `value`.
std::size_t BinaryWriter::add(const Value& value) {
  if (const Array* array = value.ifArray()) return addArray(*array);
  if (const Dictionary* dictionary = value.ifDictionary()) return addDictionary(*dictionary);
  return addScalar(value);
}

std::size_t BinaryWriter::addArray(const Array& array) {
  const std::size_t number = beginContainer(array.size(), false);
  std::size_t reference = references_.size() - array.size();
  for (const Value& element : array) {
    const std::size_t elementNumber = add(element);
    references_[reference++] = elementNumber;
  }
  return number;
}

std::size_t BinaryWriter::addDictionary(const Dictionary& dictionary) {
  const std::size_t number = beginContainer(2 * dictionary.size(), true);
  std::size_t reference = references_.size() - 2 * dictionary.size();
  for (auto entry = dictionary.begin(); entry != dictionary.end(); ++entry, ++reference) {
    const std::size_t keyNumber = addScalar(entry.key());
    const std::size_t valueNumber = add(entry.value());
    references_[reference] = keyNumber;
    references_[reference + dictionary.size()] = valueNumber;
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

// An object is not shared where the reader would refuse the document for standing for far more than it holds.
std::size_t BinaryWriter::addScalar(const Value& value) {
  const std::size_t offset = document_.size();
  appendScalar(value);
  const std::size_t size = document_.size() - offset;
  const std::size_t number = offsets_.size();
  weight_ += kObjectWeight + size;
  if (!isTooHeavy(weight_, offset + containers_.size())) {  // each container will take a byte or more

    const std::string_view encoded = std::string_view(document_).substr(offset);
    // No encoding is the beginning of another, so a comparison of as many bytes as this one has decides.
    const auto isSame = [&](std::size_t other) { return document_.compare(offsets_[other], size, encoded) == 0; };
    const std::size_t same = scalars_.findOrAdd(std::hash<std::string_view>()(encoded), number, isSame);
    if (same != number) {
      document_.resize(offset);
      return same;
    }
  }
  offsets_.push_back(offset);
  return number;
}

void BinaryWriter::appendScalar(const Value& value) {
  if (const auto text = value.ifString()) return appendString(*text);
  if (const auto integer = value.ifInteger()) return appendInteger(*integer);
  if (const auto real = value.ifReal()) return appendReal(0x23, *real);
  if (const auto date = value.ifDate()) return appendReal(0x33, date->secondsSinceReference());
  if (const auto truth = value.ifBoolean()) return appendBytes(*truth ? 0x09 : 0x08, 1);
  const auto bytes = value.ifData()->bytes();
  appendMarker(0x40, bytes.size());
  document_.append(reinterpret_cast<const char*>(bytes.data()), bytes.size());
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

// Integers of less than 8 bytes have no sign.
void BinaryWriter::appendInteger(std::int64_t number) {
  const auto bits = static_cast<std::uint64_t>(number);
  const int sizeExponent = bits > 0xFFFFFFFF ? 3 : bits > 0xFFFF ? 2 : bits > 0xFF ? 1 : 0;
  appendBytes(0x10U | static_cast<unsigned>(sizeExponent), 1);
  appendBytes(bits, std::size_t{1} << sizeExponent);
}

void BinaryWriter::appendReal(std::uint8_t marker, double number) {
  appendBytes(marker, 1);
  appendBytes(std::bit_cast<std::uint64_t>(number), 8);
}

void BinaryWriter::appendContainer(const Container& container, std::size_t referenceSize) {
  offsets_[container.number] = document_.size();
  container.isDictionary ? appendMarker(0xD0, container.references / 2) : appendMarker(0xA0, container.references);
  for (const std::size_t number : std::span(references_).subspan(container.firstReference, container.references)) {
    appendBytes(number, referenceSize);
  }
}

// The kind of an object, and how many characters, bytes or elements follow.
void BinaryWriter::appendMarker(std::uint8_t kind, std::size_t count) {
  document_ += static_cast<char>(kind | std::min<std::size_t>(count, 0xF));
  if (count >= 0xF) appendInteger(static_cast<std::int64_t>(count));
}

// The lowest `count` bytes of `number`, the highest of them first.
void BinaryWriter::appendBytes(std::uint64_t number, std::size_t count) {
  std::array<char, sizeof number> bytes;
  for (std::size_t index = bytes.size(); index-- > 0; number >>= 8) bytes[index] = static_cast<char>(number & 0xFF);
  document_.append(bytes.data() + bytes.size() - count, count);
}

}  // namespace

Data writeBinaryPropertyList(const Value& value) { return BinaryWriter().write(value); }

}  // namespace tavik
