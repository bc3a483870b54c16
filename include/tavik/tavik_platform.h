/// @file
/// The platform of a test station for programs in C: libTavikPlatform's part of the interface in tavik.h, whose rules
/// hold here too. See StationPlatform.h.
#ifndef TAVIK_TAVIK_PLATFORM_H
#define TAVIK_TAVIK_PLATFORM_H

#include <tavik/tavik.h>

#ifdef __cplusplus
extern "C" {
#endif

enum {
  TAVIK_LOG_NONE = 0,            ///< no line is made
  TAVIK_LOG_STANDARD_ERROR = 1,  ///< time, process name and the line
};

/// A platform that checks signed envelopes; it is the caller's.
///
/// public_key_path: PEM file to use in place of the one that the kernel names; null for that one. It is read at each
/// validation. log: one of the two above, else TAVIK_BAD_ARGUMENT.
TAVIK_EXPORT tavik_status tavik_station_platform_new(const char* public_key_path, int32_t log,
                                                     tavik_platform** platform);

#ifdef __cplusplus
}
#endif

#endif
