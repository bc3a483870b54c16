/// @file
/// One key that signs or verifies: which keys are strong enough, and their signature schemes.
#ifndef TAVIK_PLATFORM_SIGNATURE_KEY_H
#define TAVIK_PLATFORM_SIGNATURE_KEY_H

#include "OpenSsl.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tavik {

/// The only DER SubjectPublicKeyInfo of an Ed25519 key (RFC 8410, section 4) begins with these bytes; the key follows.
/// OpenSSL's decoder and encoder for all kinds of keys need half a millisecond to set up.
inline constexpr std::array<std::uint8_t, 12> kEd25519Info = {0x30, 0x2A, 0x30, 0x05, 0x06, 0x03,
                                                              0x2B, 0x65, 0x70, 0x03, 0x21, 0x00};
inline constexpr std::size_t kEd25519KeySize = 32;

/// An Ed25519 key, an ECDSA key on P-256 or an RSA key of 3072 to 16384 bits; public only, or with its private part.
class SignatureKey {
 public:
  /// Absent with `error` set for a key of another kind or size, or an unsafe one: "is too weak: RSA with 2048 bits;
  /// ...".
  static std::optional<SignatureKey> admit(PkeyHandle key, std::string& error);

  /// Hexadecimal SHA-256 of the DER SubjectPublicKeyInfo.
  [[nodiscard]] const std::string& id() const noexcept { return id_; }
  /// "Ed25519", "ECDSA on P-256" or "RSA with 3072 bits".
  [[nodiscard]] std::string name() const;

  /// Whether a key of this kind and size could have made the signature.
  [[nodiscard]] bool couldHaveMade(std::span<const std::uint8_t> signature) const noexcept;
  [[nodiscard]] bool verifies(std::span<const std::uint8_t> signature, std::span<const std::uint8_t> message) const;
  /// Requires the private part.
  [[nodiscard]] std::optional<std::vector<std::uint8_t>> sign(std::span<const std::uint8_t> message,
                                                              std::string& error) const;

 private:
  enum class Scheme : std::uint8_t { kEd25519, kEcdsaP256, kRsaPss };

  SignatureKey(PkeyHandle key, Scheme scheme);
  static std::optional<Scheme> schemeOf(const EVP_PKEY& key, std::string& error);
  using Initializer = decltype(EVP_DigestVerifyInit);
  [[nodiscard]] bool begin(Initializer* initialize, EVP_MD_CTX* context) const;

  PkeyHandle key_;
  Scheme scheme_;
  std::string id_;
};

}  // namespace tavik

#endif
