/// @file
/// The platform of a test station for C programs: libTavikPlatform's part of the C interface. The rules in tavik.h
/// apply here too. See StationPlatform.h.
#ifndef TAVIK_TAVIK_PLATFORM_H
#define TAVIK_TAVIK_PLATFORM_H

#include <tavik/tavik.h>

#ifdef __cplusplus
extern "C" {
#endif

enum {
  TAVIK_LOG_NONE = 0,            ///< no log
  TAVIK_LOG_STANDARD_ERROR = 1,  ///< time, process name and the line
};

/// Creates a platform that verifies signed envelopes; the caller owns it.
///
/// public_key_path: PEM file to use instead of the one that the kernel names; null for that one. It is read for each
/// validation. log: one of the two above, otherwise TAVIK_BAD_ARGUMENT.
TAVIK_EXPORT tavik_status tavik_station_platform_new(const char* public_key_path, int32_t log,
                                                     tavik_platform** platform);

#ifdef __cplusplus
}
#endif

#endif
