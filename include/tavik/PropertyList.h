/// @file
/// Reads and writes property lists. Reads XML, binary and old-style text; writes XML and binary.
///
///     std::string error;
///     std::optional<Value> rules = readPropertyListFile("rules.plist", error);
///     if (!rules) std::cerr << "rules.plist: " << error << '\n';  // "line 12, column 7: ..." or "byte 40: ..."
///
/// Every function here is thread-safe and keeps no state. Json.h reads and writes JSON in the same way.
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
  kXml,     ///< XML property list 1.0 in UTF-8, without a document type declaration
  kBinary,  ///< binary property list, version 00
};

/// Maximum nesting depth of arrays and dictionaries; deeper documents are rejected, and deeper values are not written.
inline constexpr int kPropertyListDepthLimit = 512;

/// Reads one property list. The encoding is detected by content: XML, binary (version 00) or old-style text.
///
/// The bytes are not trusted. The reader rejects malformed documents, text that is not UTF-8, nesting beyond the limit,
/// a key given twice in one dictionary, integers outside signed 64 bits, numbers too large for a double (one that is
/// too small reads as 0), dates outside the years 1 to 9999, kinds that a `Value` cannot hold (sets, UIDs, null) and
/// document type declarations with an internal subset. In binary property lists, it rejects objects that contain
/// themselves, and objects shared so often that the value would be far larger than the file. Time and memory are
/// proportional to the number of bytes.
///
/// Returns the value, or absent with `error` set to the location and the reason: "line 3, column 9: ..." for XML and
/// text, "byte 17: ..." for binary. `error` is written on failure only.
TAVIK_EXPORT std::optional<Value> readPropertyList(std::span<const std::uint8_t> bytes, std::string& error);
/// The same, with the locations of all values in `locations`, which is left empty for a binary property list and on
/// failure.
TAVIK_EXPORT std::optional<Value> readPropertyList(std::span<const std::uint8_t> bytes, std::string& error,
                                                   ValueLocations& locations);

/// The same for the contents of a file. If the file cannot be opened or read, returns absent with the system's reason.
/// Reads only regular files, of at most 1 GiB.
TAVIK_EXPORT std::optional<Value> readPropertyListFile(const std::string& path, std::string& error);

/// Writes `value` so that reading gives an equal value of the same kind: integers, floating-point numbers and booleans
/// stay distinct, and dates keep their fraction. Characters that are not allowed in XML, such as NUL, are written as
/// numeric references ("&#0;"), which the reader accepts.
///
/// Returns the document. Returns absent with `error` set to a path and a reason ("Rules[2]: the date ...") if the
/// document could not be read back: for nesting beyond the limit and dates outside the years 1 to 9999. `error` is
/// written on failure only.
TAVIK_EXPORT std::optional<Data> writePropertyList(const Value& value, PropertyListFormat format, std::string& error);

/// A date as text in XML property lists and JSON: "2026-11-21T01:02:03Z" in UTC. A fraction of a second ("03.25Z") is
/// written only if it is not zero, with as many digits as needed to read back the same date. Absent outside the years 1
/// to 9999.
TAVIK_EXPORT std::optional<std::string> dateToIsoText(Date date);

/// Reads a date in this format. The fraction may have any number of digits and is rounded to the nearest date. Absent
/// if the text has another format, if the time does not exist (February 30, 24:00:00) or is a leap second, or if it is
/// outside the years 1 to 9999.
TAVIK_EXPORT std::optional<Date> dateFromIsoText(std::string_view text);

}  // namespace tavik

#endif
