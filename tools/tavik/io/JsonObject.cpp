#include "io/JsonObject.h"

#include "io/Json.h"

namespace tavik::tool {
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
      appendJson(out, *entry.value);
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
