/// @file
/// Values as JSON, both ways:
///
/// | kind       | JSON                                                                                              |
/// | ---------- | ------------------------------------------------------------------------------------------------- |
/// | string     | string                                                                                            |
/// | integer    | number without point and exponent                                                                 |
/// | real       | number with a point or an exponent, the shortest text that reads back; {"$number": "nan"}, "inf"  |
/// |            | or "-inf" for the three that JSON has no text for                                                 |
/// | boolean    | true, false                                                                                       |
/// | data       | {"$data": "3q0="}: base64, padded                                                                 |
/// | date       | {"$date": "2026-11-21T01:02:03Z"}                                                                 |
/// | array      | array                                                                                             |
/// | dictionary | object, {"$dictionary": {...}} when its only key begins with "$"                                  |
#ifndef TAVIK_TOOL_IO_JSON_H
#define TAVIK_TOOL_IO_JSON_H

#include <tavik/Value.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace tavik::tool {

/// Reads JSON texts one after the other, keeping its working memory. For one thread at a time.
class JsonReader {
 public:
  JsonReader();
  ~JsonReader();

  /// Reads one text, which may hold anything: malformed JSON or UTF-8, null, a key given twice, an integer beyond 64
  /// bits, a malformed "$" form and nesting beyond kPropertyListDepthLimit are refused.
  ///
  /// Returns the value, or absent with `error` set: "line 3, column 9 (RuleSets.Base[2]): null is no value", where
  /// lines count from `firstLine`. The text may be given more capacity, but keeps its contents.
  std::optional<Value> read(std::string& text, std::string& error, std::size_t firstLine = 1);

 private:
  struct Parser;
  std::unique_ptr<Parser> parser_;
};

enum class JsonLayout : std::uint8_t {
  kOneLine,   ///< {"a": [1, 2]}
  kIndented,  ///< an entry a line, two blanks a level
};

/// Appends a value. Raises `Unusable` for a date outside the years 1 to 9999, which has no text.
void appendJson(std::string& out, const Value& value, JsonLayout layout = JsonLayout::kOneLine);

/// Appends a text in quotes.
void appendJsonString(std::string& out, std::string_view text);

std::string toJson(const Value& value, JsonLayout layout = JsonLayout::kOneLine);

}  // namespace tavik::tool

#endif
