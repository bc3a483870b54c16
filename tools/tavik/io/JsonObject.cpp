#include "io/JsonObject.h"

#include "io/Json.h"

namespace tavik::tool {
namespace {

/// Writes an array element by element: a record may contain an attribute of the maximum nesting depth, but an array of
/// records would exceed it.
void appendValue(std::string& out, const Value& value) {
  const Array* const array = value.ifArray();
  if (array == nullptr) return appendJson(out, value);
  out += '[';
  for (const Value& element : *array) {
    if (&element != array->begin()) out += ", ";
    appendJson(out, element);
  }
  out += ']';
}

}  // namespace

void appendEntries(std::string& out, const std::vector<JsonEntry>& entries) {
  const char* separator = "";
  for (const JsonEntry& entry : entries) {
    out.append(separator).append("\"").append(entry.key).append("\": ");
    separator = ", ";
    if (!entry.entries.empty()) {
      out += '{';
      appendEntries(out, entry.entries);
      out += '}';
    } else if (entry.value) {
      appendValue(out, *entry.value);
    } else {
      out += "null";
    }
  }
}

std::string objectLine(const std::vector<JsonEntry>& entries) {
  std::string line = "{";
  appendEntries(line, entries);
  return line + "}\n";
}

std::vector<JsonEntry> entriesIn(const Dictionary& dictionary, std::initializer_list<std::string_view> keys) {
  std::vector<JsonEntry> entries;
  for (const std::string_view key : keys) {
    const Value* const value = dictionary.find(key);
    entries.push_back({key, value == nullptr ? std::nullopt : std::optional(*value)});
  }
  return entries;
}

Dictionary presentEntries(const std::vector<JsonEntry>& entries) {
  Dictionary present;
  for (const JsonEntry& entry : entries) {
    if (!entry.entries.empty()) {
      present.set(entry.key, presentEntries(entry.entries));
    } else if (entry.value) {
      present.set(entry.key, *entry.value);
    }
  }
  return present;
}

}  // namespace tavik::tool
