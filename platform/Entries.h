/// @file
/// Strict reading of dictionaries from outside. Messages name the dictionary and the entry.
#ifndef TAVIK_PLATFORM_ENTRIES_H
#define TAVIK_PLATFORM_ENTRIES_H

#include <tavik/Value.h>

#include <initializer_list>
#include <string>
#include <string_view>

namespace tavik {

/// Untrusted text in quotes for a one-line message, of limited length.
std::string quoted(std::string_view text);

/// Text that a trusted person chose, in quotes for a one-line message.
std::string quotedText(std::string_view text);

/// Whether `value` has the required kind; sets `error` to "WHAT is a string, not data" if not.
bool checkKind(const Value& value, Kind kind, std::string_view what, std::string& error);

/// The value under `key`; null with `error` set if it is missing or of another kind. `owner` names the dictionary.
const Value* entry(const Dictionary& dictionary, std::string_view key, Kind kind, std::string_view owner,
                   std::string& error);

/// The same for an entry that may be missing: false with `error` set if it has another kind.
bool optionalEntry(const Dictionary& dictionary, std::string_view key, Kind kind, std::string_view owner,
                   const Value*& found, std::string& error);

/// Whether all keys are among `known`; sets `error` if not.
bool checkKeys(const Dictionary& dictionary, std::initializer_list<std::string_view> known, std::string_view owner,
               std::string& error);

}  // namespace tavik

#endif
