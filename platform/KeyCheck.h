/// @file
/// Keys that OpenSSL can read but that are unsafe or invalid.
#ifndef TAVIK_PLATFORM_KEY_CHECK_H
#define TAVIK_PLATFORM_KEY_CHECK_H

#include <string>

#include "OpenSsl.h"

namespace tavik {

/// Why the public part of an Ed25519, EC or RSA key must not be trusted; empty for a sound key.
std::string whyUnsound(EVP_PKEY& key);

}  // namespace tavik

#endif
