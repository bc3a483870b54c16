/// @file
/// Dates as text, beside the two functions of PropertyList.h.
#ifndef TAVIK_VALUES_DATE_TEXT_H
#define TAVIK_VALUES_DATE_TEXT_H

#include <tavik/Value.h>

#include <string>

namespace tavik {

/// Whether a date lies in the years 1 to 9999, the only ones that property lists are written with. False for NaN.
bool isInCalendar(Date date) noexcept;

/// What `%@` prints: "2026-11-21 01:02:03 +0000", a fraction of a second left out. Outside the years 1 to 9999 the
/// seconds stand for themselves: "1e+300 seconds from 2001-01-01 00:00:00 +0000".
std::string descriptionOfDate(Date date);

}  // namespace tavik

#endif
