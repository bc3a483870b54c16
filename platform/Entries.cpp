#include "Entries.h"

#include <tavik/VisibleText.h>

#include <algorithm>

namespace tavik {
namespace {

std::string_view kindName(Kind kind) {
  switch (kind) {
    case Kind::kString:
      return "a string";
    case Kind::kNumber:
      return "a number";
    case Kind::kBoolean:
      return "a boolean";
    case Kind::kData:
      return "data";
    case Kind::kDate:
      return "a date";
    case Kind::kArray:
      return "an array";
    case Kind::kDictionary:
      return "a dictionary";
  }
  return "of an unknown kind";
}

}  // namespace

std::string quoted(std::string_view text) {
  constexpr std::size_t kMostBytes = 100;
  std::string shown(text.substr(0, kMostBytes));
  std::ranges::replace_if(
      shown, [](char c) { return c < ' ' || c > '~'; }, '?');
  return '"' + shown + (text.size() > kMostBytes ? "...\"" : "\"");
}

std::string quotedText(std::string_view text) { return '"' + visibleText(text) + '"'; }

bool checkKind(const Value& value, Kind kind, std::string_view what, std::string& error) {
  if (value.kind() == kind) return true;
  error = std::string(what) + " is " + std::string(kindName(value.kind())) + ", not " + std::string(kindName(kind));
  return false;
}

const Value* entry(const Dictionary& dictionary, std::string_view key, Kind kind, std::string_view owner,
                   std::string& error) {
  const Value* value = dictionary.find(key);
  const std::string name = quoted(key);
  if (value == nullptr) {
    error = std::string(owner) + " has no " + name;
    return nullptr;
  }
  return checkKind(*value, kind, name + " of " + std::string(owner), error) ? value : nullptr;
}

bool optionalEntry(const Dictionary& dictionary, std::string_view key, Kind kind, std::string_view owner,
                   const Value*& found, std::string& error) {
  if (!dictionary.contains(key)) return true;
  found = entry(dictionary, key, kind, owner, error);
  return found != nullptr;
}

bool checkKeys(const Dictionary& dictionary, std::initializer_list<std::string_view> known, std::string_view owner,
               std::string& error) {
  for (const auto [key, value] : dictionary) {
    if (std::ranges::find(known, key) != known.end()) continue;
    error = std::string(owner) + " has an unknown key " + quoted(key);
    return false;
  }
  return true;
}

}  // namespace tavik
