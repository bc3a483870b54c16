/// @file
/// The keys that count for a station: those of one key file, or those of a trust policy.
#ifndef TAVIK_PLATFORM_TRUSTED_KEYS_H
#define TAVIK_PLATFORM_TRUSTED_KEYS_H

#include <tavik/TrustPolicy.h>

#include <optional>
#include <string>
#include <vector>

#include "Envelope.h"
#include "KeyFile.h"

namespace tavik {

struct TrustedKey {
  std::string name;  ///< in the trust policy; otherwise the key's ID
  SignatureKey key;
};
using TrustedKeys = std::vector<TrustedKey>;
using KeyFiles = std::vector<WipedBytes>;

/// The contents of the policy's key files, in its order.
std::optional<KeyFiles> readKeyFiles(const TrustPolicy& policy, std::string& error);

/// The policy's keys. If they are named, its numbers are consistent, each file has one key, and no key is given twice.
std::optional<TrustedKeys> trustedKeys(const TrustPolicy& policy, const KeyFiles& files, std::string& error);

/// The names of the keys with valid signatures, in the order of `keys`.
std::vector<std::string> signersOf(const Envelope& envelope, const TrustedKeys& keys);

/// Why an envelope has no valid signature. where: `in "pub.pem"` or `of the trust policy`.
std::string whyNoSigner(const Envelope& envelope, const TrustedKeys& keys, const std::string& where);

}  // namespace tavik

#endif
