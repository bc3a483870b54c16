/// @file
/// Objects whose entries may have no value: null in JSON, left out of property lists.
#ifndef TAVIK_TOOL_IO_JSON_OBJECT_H
#define TAVIK_TOOL_IO_JSON_OBJECT_H

#include <tavik/Value.h>

#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tavik::tool {

struct JsonEntry {
  std::string_view key;
  std::optional<Value> value;
  std::vector<JsonEntry> entries = {};  ///< of an object, which then replaces the value
};

/// Appends the entries as JSON, without braces.
void appendEntries(std::string& out, const std::vector<JsonEntry>& entries);

/// The entries as one line of JSON.
std::string objectLine(const std::vector<JsonEntry>& entries);

/// The entries with these keys, in this order; without a value where `dictionary` has none.
std::vector<JsonEntry> entriesIn(const Dictionary& dictionary, std::initializer_list<std::string_view> keys);

/// The entries that have a value.
Dictionary presentEntries(const std::vector<JsonEntry>& entries);

}  // namespace tavik::tool

#endif
