/// @file
/// Text from devices and documents made safe to show: it can neither control a terminal nor imitate another line.
#ifndef TAVIK_VISIBLE_TEXT_H
#define TAVIK_VISIBLE_TEXT_H

#include <tavik/Export.h>

#include <string>
#include <string_view>

namespace tavik {

/// Returns `text` on one line, in valid UTF-8: control characters, line separators and marks that change the direction
/// of text become escapes ("\n", "\x1b", "\u202e"), and so do bytes that are not UTF-8 ("\xff"). Backslashes are kept.
TAVIK_EXPORT std::string visibleText(std::string_view text);

/// The same for a log line, whose line feeds are kept: each line after the first is indented by four spaces, so that it
/// cannot be mistaken for the beginning of another log line.
TAVIK_EXPORT std::string visibleLogLine(std::string_view line);

}  // namespace tavik

#endif
