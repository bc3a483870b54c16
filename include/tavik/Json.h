/// @file
/// Reads and writes values as JSON (RFC 8259).
///
/// | kind                   | JSON                                                                                    |
/// | ---------------------- | --------------------------------------------------------------------------------------- |
/// | string                 | string                                                                                  |
/// | number, integer        | integer without a decimal point or exponent                                             |
/// | number, floating point | number with a decimal point or an exponent, the shortest text that reads back as the    |
/// |                        | same double (`3.0`, `10.5`, `1e+300`); `{"$number": "nan"}`, `"inf"` or `"-inf"`        |
/// | boolean                | `true`, `false`                                                                         |
/// | data                   | `{"$data": "3q0="}`: base64 (RFC 4648, section 4), padded, no line breaks               |
/// | date                   | `{"$date": "2026-11-21T01:02:03Z"}`, as dateToIsoText writes it                         |
/// | array                  | array                                                                                   |
/// | dictionary             | object, in stored key order; `{"$dictionary": {...}}` if its only key begins with "$"   |
///
///     std::string error;
///     const std::optional<Value> device = readJson(R"({"ModelNumber": "MD123"})", error);
///     if (!device) std::cerr << error << '\n';  // "line 3, column 9 (Boards[2]): null is not allowed"
///
/// Every function here is thread-safe and keeps no state.
#ifndef TAVIK_JSON_H
#define TAVIK_JSON_H

#include <tavik/Location.h>
#include <tavik/PropertyList.h>
#include <tavik/Value.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tavik {

/// Reads one JSON text in UTF-8; a byte order mark is skipped.
///
/// The text is not trusted. The reader rejects malformed JSON, invalid UTF-8, escapes for unpaired surrogates, `null`,
/// duplicate keys in an object, integers outside signed 64 bits, numbers too large for a double, malformed or unknown
/// "$" forms, dates outside the years 1 to 9999, and arrays and dictionaries nested more than kPropertyListDepthLimit
/// levels deep. `{"$dictionary": {...}}` counts as one level. A number too small for a double reads as 0. Time and
/// memory are proportional to the size of the text.
///
/// firstLine: the line number of the first line of the text, for messages.
///
/// Returns the value, or absent with `error` set to the location, the path and the reason: "line 3, column 9
/// (RuleSets.Base[2]): null is not allowed". `error` is written on failure only. Strings and small containers of one
/// text share memory blocks of up to 16 KiB; keeping one of them keeps its block alive.
TAVIK_EXPORT std::optional<Value> readJson(std::string_view text, std::string& error, std::size_t firstLine = 1);
/// The same, with the locations of all values in `locations`, which is left empty on failure. A "$" form is one value,
/// located at its opening brace. Nothing inside it has a location, except for the entries of a "$dictionary".
TAVIK_EXPORT std::optional<Value> readJson(std::string_view text, std::string& error, ValueLocations& locations);

/// Reads one member of a JSON object, in order to identify a text that readJson rejects. Text before the member must be
/// well-formed JSON, but may contain values that readJson rejects; text after it may be malformed.
///
/// Returns the value of the first member with this key, or absent if it is not found or is itself rejected.
TAVIK_EXPORT std::optional<Value> readJsonMember(std::string_view text, std::string_view key);

enum class JsonLayout : std::uint8_t {
  kOneLine,   ///< {"a": [1, 2], "b": {}}
  kIndented,  ///< one element or entry per line, indented by two spaces per level
};

/// Writes `value` so that reading gives an equal value, kind for kind. Only what JSON requires is escaped: quotes,
/// backslashes and control characters up to U+001F.
///
/// Returns the text, without a line end. Returns absent with `error` set to a path and a reason ("Boards[2]: the date
/// ...") if the text could not be read back: for nesting beyond kPropertyListDepthLimit and dates outside the years 1
/// to 9999. `error` is written on failure only.
TAVIK_EXPORT std::optional<std::string> writeJson(const Value& value, std::string& error,
                                                  JsonLayout layout = JsonLayout::kOneLine);
/// The same, appended to `out`. Returns false, with `out` unchanged, on failure.
TAVIK_EXPORT bool appendJson(std::string& out, const Value& value, std::string& error,
                             JsonLayout layout = JsonLayout::kOneLine);

/// Appends `text` as a JSON string, with quotes and escapes. The text must be valid UTF-8; this is not checked.
TAVIK_EXPORT void appendJsonString(std::string& out, std::string_view text);

}  // namespace tavik

#endif
