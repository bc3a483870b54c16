/// @file
/// Values in bytes: which encoding they have, told by their beginning, and what they hold.
#ifndef TAVIK_TOOL_IO_ENCODING_H
#define TAVIK_TOOL_IO_ENCODING_H

#include <tavik/Location.h>
#include <tavik/PropertyList.h>
#include <tavik/Value.h>

#include <string>
#include <string_view>

namespace tavik::tool {

/// Whether bytes are JSON, as far as their beginning tells it from the property-list encodings.
bool isJson(std::string_view bytes);

/// The value that the bytes hold, a property list in any encoding or JSON. Raises `Unusable` with the location and the
/// reason; `name` is what messages begin with.
Value parseValue(const std::string& name, std::string_view bytes);
/// The same, with the locations of all values in `locations`, which stay empty for a binary property list.
Value parseValue(const std::string& name, std::string_view bytes, ValueLocations& locations);

/// The same for JSON alone.
Value parseJson(const std::string& name, std::string_view text);

/// The value as a property list. Raises `Unusable` for one that is nested too deep.
Data toPropertyList(const std::string& name, const Value& value, PropertyListFormat format = PropertyListFormat::kXml);

}  // namespace tavik::tool

#endif
