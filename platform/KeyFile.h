/// @file
/// PEM files of keys. A refusal names the file, the key in it and what to do.
#ifndef TAVIK_PLATFORM_KEY_FILE_H
#define TAVIK_PLATFORM_KEY_FILE_H

#include "SignatureKey.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace tavik {

/// One file may hold this many public keys.
inline constexpr std::size_t kMostPublicKeys = 16;

/// The public keys of a file, at least one and all of them good; text between them is passed over.
std::optional<std::vector<SignatureKey>> readPublicKeys(const std::string& path, std::string& error);

/// The one private key of a file, which may hold public keys beside it.
std::optional<SignatureKey> readPrivateKey(const std::string& path, std::string& error);

}  // namespace tavik

#endif
