/// @file
/// PEM files of keys. Error messages name the file, the key in it and what to do.
#ifndef TAVIK_PLATFORM_KEY_FILE_H
#define TAVIK_PLATFORM_KEY_FILE_H

#include <openssl/crypto.h>

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "SignatureKey.h"

namespace tavik {

/// Bytes that are wiped when no longer needed, because they may contain a private key.
class WipedBytes {
 public:
  explicit WipedBytes(std::size_t size) : bytes_(size) {}
  explicit WipedBytes(std::span<const unsigned char> bytes) : bytes_(bytes.begin(), bytes.end()) {}
  WipedBytes(WipedBytes&&) noexcept = default;
  WipedBytes& operator=(WipedBytes&&) = delete;
  ~WipedBytes() { OPENSSL_cleanse(bytes_.data(), bytes_.size()); }

  [[nodiscard]] std::span<unsigned char> span() noexcept { return bytes_; }
  [[nodiscard]] std::span<const unsigned char> span() const noexcept { return bytes_; }

 private:
  std::vector<unsigned char> bytes_;
};

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
