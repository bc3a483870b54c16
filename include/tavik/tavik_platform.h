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

/// Creates a platform that trusts what a policy file says (TrustPolicy.h); the caller owns it.
///
/// policy_path: the JSON file. Its key files and its state file are read for each validation. remember: 1 to store
/// accepted revisions in the state file, for programs that check devices; 0 to only reject older ones; otherwise
/// TAVIK_BAD_ARGUMENT. log: as above.
///
/// TAVIK_REFUSED, with the file and the entry in `error`, if the policy or one of its key files cannot be used.
TAVIK_EXPORT tavik_status tavik_station_platform_new_with_policy(const char* policy_path, int32_t remember, int32_t log,
                                                                 tavik_platform** platform, tavik_error** error);

#ifdef __cplusplus
}
#endif

#endif
