/// @file
/// Decoded device data as text for people.
#ifndef TAVIK_TOOL_DECODE_BLOB_TEXT_H
#define TAVIK_TOOL_DECODE_BLOB_TEXT_H

#include <tavik/Value.h>

#include <string>

#include "text/Terminal.h"

namespace tavik::tool {

/// Tags or item names with their values: strings unchanged, data as a hex dump.
std::string entriesText(const Dictionary& entries, const Screen& screen);

/// The test states of all control bits in a grid, then the records of those that failed or are incomplete.
std::string controlBitsText(const Array& records, const Screen& screen);

}  // namespace tavik::tool

#endif
