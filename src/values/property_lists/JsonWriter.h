/// @file
/// Writes values as JSON, in pieces.
#ifndef TAVIK_VALUES_PROPERTY_LISTS_JSON_WRITER_H
#define TAVIK_VALUES_PROPERTY_LISTS_JSON_WRITER_H

#include <tavik/Json.h>

#include <cstdint>
#include <span>

#include "values/property_lists/DataBuffer.h"

namespace tavik {

/// Appends to a buffer. Throws `Unwritable` for a value that could not be read back.
class JsonWriter {
 public:
  JsonWriter(detail::DataBuffer& out, JsonLayout layout) : out_(out), isIndented_(layout == JsonLayout::kIndented) {}

  /// depth: the value's nesting depth if it is a container, from 1.
  void append(const Value& value, int depth = 1);

 private:
  void appendInteger(std::int64_t number);
  void appendReal(double number);
  void appendData(std::span<const std::uint8_t> bytes);
  void appendDate(Date date);
  void appendArray(const Array& array, int depth);
  void appendDictionary(const Dictionary& dictionary, int depth);
  void appendEntries(const Dictionary& dictionary, int depth);
  void beginElement(bool isFirst, int depth);
  void breakLine(int depth);

  detail::DataBuffer& out_;
  bool isIndented_;
};

}  // namespace tavik

#endif
