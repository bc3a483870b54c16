/// @file
/// The records of a check run for people: an overview of all records, the failures in full, and a summary line.
#ifndef TAVIK_TOOL_REPORTS_CHECK_TABLE_H
#define TAVIK_TOOL_REPORTS_CHECK_TABLE_H

#include <string>

#include "check/DeviceResult.h"
#include "text/Terminal.h"

namespace tavik::tool {

/// The text of a result. A passing rule that hides its result is only counted; a failing one is shown and marked.
std::string checkTable(const DeviceResult& result, const Screen& screen);

}  // namespace tavik::tool

#endif
