/// @file
/// Dates as text; see also the two functions in PropertyList.h.
#ifndef TAVIK_VALUES_DATE_TEXT_H
#define TAVIK_VALUES_DATE_TEXT_H

#include <tavik/Value.h>

#include <string>

namespace tavik {

/// Whether a date is in the years 1 to 9999, the range that property lists support. False for NaN.
bool isInCalendar(Date date) noexcept;

/// What `%@` prints: "2026-11-21 01:02:03 +0000", without a fraction of a second. Outside the years 1 to 9999 it prints
/// the number of seconds: "1e+300 seconds from 2001-01-01 00:00:00 +0000".
std::string descriptionOfDate(Date date);

}  // namespace tavik

#endif
