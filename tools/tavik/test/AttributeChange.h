/// @file
/// Changes of a device's attributes, including fields of packed attributes, as case files describe them.
#ifndef TAVIK_TOOL_TEST_ATTRIBUTE_CHANGE_H
#define TAVIK_TOOL_TEST_ATTRIBUTE_CHANGE_H

#include <tavik/Value.h>

#include <string_view>

namespace tavik::tool {

/// The packed attribute that has this field: "SysCfgData" for "SysCfgData.COLR"; empty for other attributes.
std::string_view packedAttributeOf(std::string_view name);

/// Sets or adds an attribute. If it is a field, the packed attribute is replaced by its fields: otherwise the check
/// would unpack it over the change.
void setAttribute(Dictionary& attributes, std::string_view name, const Value& value);

/// Removes an attribute in the same way. Returns whether the device has it.
bool removeAttribute(Dictionary& attributes, std::string_view name);

}  // namespace tavik::tool

#endif
