/// @file
/// Reading and writing encoded values: detects the encoding by content.
#ifndef TAVIK_TOOL_IO_ENCODING_H
#define TAVIK_TOOL_IO_ENCODING_H

#include <tavik/Location.h>
#include <tavik/PropertyList.h>
#include <tavik/Value.h>

#include <new>
#include <string>
#include <string_view>

#include "ExitStatus.h"

namespace tavik::tool {

/// Whether bytes look like JSON rather than a property-list encoding, judged by their beginning.
bool isJson(std::string_view bytes);

/// Decodes a property list in any encoding, or JSON. Throws `Unusable` with the location and the reason; `name` is the
/// prefix of messages.
Value parseValue(const std::string& name, std::string_view bytes);
/// The same, with the locations of all values in `locations`, which remain empty for a binary property list.
Value parseValue(const std::string& name, std::string_view bytes, ValueLocations& locations);

/// The same for JSON only.
Value parseJson(const std::string& name, std::string_view text);

/// Encodes the value as a property list. Throws `Unusable` if it is nested too deep.
Data toPropertyList(const std::string& name, const Value& value, PropertyListFormat format = PropertyListFormat::kXml);

/// Returns the result of `work`; if memory runs out, the failure names `name`.
template <class Work>
auto inMemory(const std::string& name, Work work) {
  try {
    return work();
  } catch (const std::bad_alloc&) {
    throw Unusable(name + ": out of memory");
  }
}

}  // namespace tavik::tool

#endif
