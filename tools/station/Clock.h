/// @file
/// The time of the service: every time that is stored or shown comes from here.
#ifndef TAVIK_STATION_CLOCK_H
#define TAVIK_STATION_CLOCK_H

#include <tavik/Value.h>

#include <cstdint>

#include "text/IsoTime.h"

namespace tavik::station {

using tool::isoText;

/// Milliseconds since 1970-01-01 00:00:00 UTC.
using Milliseconds = std::int64_t;

Milliseconds now();

/// Rounds down.
Milliseconds millisecondsOf(Date date);

}  // namespace tavik::station

#endif
