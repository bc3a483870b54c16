/// @file
/// Property lists as files and bytes: reading all three encodings, writing two.
///
///     std::string error;
///     std::optional<Value> rules = readPropertyListFile("rules.plist", error);
///     if (!rules) std::cerr << "rules.plist: " << error << '\n';  // "line 12, column 7: ..." or "byte 40: ..."
///
/// Every function here is safe from any thread and keeps no state.
#ifndef TAVIK_PROPERTY_LIST_H
#define TAVIK_PROPERTY_LIST_H

#include <tavik/Location.h>
#include <tavik/Value.h>

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace tavik {

enum class PropertyListFormat : std::uint8_t {
  kXml,     ///< XML property list 1.0 in UTF-8, without a document type line
  kBinary,  ///< binary property list, version 00
};

/// Arrays and dictionaries may stand in each other this deep; deeper documents are refused, in reading and in writing.
inline constexpr int kPropertyListDepthLimit = 512;

/// Reads one property list: XML, binary (version 00) or old-style text, told apart by content.
///
/// The bytes may come from anywhere. Refused are malformed documents, text that is not UTF-8, nesting beyond the limit,
/// a key given twice in one dictionary, numbers beyond 64 bits, dates outside the years 1 to 9999, kinds that a `Value`
/// lacks (sets, UIDs, null), document type declarations with an internal subset, binary objects that contain themselves
/// or that, shared many times over, stand for far more than the file holds. Time and memory stay in proportion to the
/// size of the bytes.
///
/// Returns the value, or absent with `error` set to where, what and why ("line 3, column 9: ..." counted in characters
/// from 1 for XML and text, "byte 17: ..." for binary). `error` is written on failure only.
TAVIK_EXPORT std::optional<Value> readPropertyList(std::span<const std::uint8_t> bytes, std::string& error);
/// The same, with the locations of all values in `locations`. They stay empty for a binary property list and on
/// failure.
TAVIK_EXPORT std::optional<Value> readPropertyList(std::span<const std::uint8_t> bytes, std::string& error,
                                                   ValueLocations& locations);

/// The same for the contents of a file. A file that cannot be opened or read gives absent and the system's reason. Only
/// regular files are read, and none beyond 1 GiB.
TAVIK_EXPORT std::optional<Value> readPropertyListFile(const std::string& path, std::string& error);

/// Writes `value` so that reading gives an equal value, kind for kind: integers stay apart from floating-point numbers,
/// numbers from booleans, and dates keep their fraction.
///
/// Characters that XML has no form for, such as NUL, are written as numeric references ("&#0;"), which the reader takes
/// back.
///
/// Returns the document, or absent with `error` set when it could not be read back: nesting beyond the limit or a date
/// outside the years 1 to 9999. `error` is written on failure only.
TAVIK_EXPORT std::optional<Data> writePropertyList(const Value& value, PropertyListFormat format, std::string& error);

/// A date as XML property lists and JSON spell it: "2026-11-21T01:02:03Z" in UTC, with a fraction of the seconds
/// ("03.25Z") only when it is not zero, of as many digits as it takes to read back the same date. Absent outside the
/// years 1 to 9999.
TAVIK_EXPORT std::optional<std::string> dateToIsoText(Date date);

/// The date nearest to such a text, whose fraction may have any number of digits. Absent when the text has another
/// form, names no time of the calendar (the 30th of February, 24:00:00, a leap second) or one outside the years 1 to
/// 9999.
TAVIK_EXPORT std::optional<Date> dateFromIsoText(std::string_view text);

}  // namespace tavik

#endif
