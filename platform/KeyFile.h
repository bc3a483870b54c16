/// @file
/// PEM files of keys. Error messages name the file, the key in it and what to do.
#ifndef TAVIK_PLATFORM_KEY_FILE_H
#define TAVIK_PLATFORM_KEY_FILE_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "File.h"
#include "SignatureKey.h"

namespace tavik {

/// The maximum number of public keys in a file.
inline constexpr std::size_t kMostPublicKeys = 16;

/// The contents of a file of public keys, at least one byte.
std::optional<WipedBytes> readPublicKeyFile(const std::string& path, std::string& error);

/// The public keys in the contents of the file at `path`: at least one, all of them valid. Text between them is
/// ignored.
std::optional<std::vector<SignatureKey>> publicKeysIn(const WipedBytes& file, const std::string& path,
                                                      std::string& error);

/// The only private key of a file, which may also contain public keys.
std::optional<SignatureKey> readPrivateKey(const std::string& path, std::string& error);

}  // namespace tavik

#endif
