/// @file
/// libTavikPlatform: the platform of a test station, and the tools to sign what it trusts. All cryptography is
/// OpenSSL's.
///
/// **The signed form** is the DSSE envelope, version 1 (https://github.com/secure-systems-lab/dsse), as a property-list
/// dictionary:
///
/// - "payloadType": the string "application/vnd.tavik.rules+plist".
/// - "payload": data, the bytes of a property-list file in any encoding; its root is a dictionary.
/// - "signatures": an array of 1 to 16 dictionaries. Each has "sig" (data) and may have "keyid" (string): the key's
///   SHA-256 over its DER SubjectPublicKeyInfo, in hexadecimal, a hint that is never trusted.
///
/// Further entries are passed over.
///
/// Signed is the pre-authentication encoding of type and payload, with Ed25519 (RFC 8032), ECDSA on P-256 with SHA-256
/// (signature in DER), or RSA-PSS with SHA-256 (3072 to 16384 bits; salt as long as the digest); the key determines
/// which. One signature that is valid under one of the trusted keys is enough.
///
/// A payload of more than `kLargestRuleDocument` bytes is rejected before its signatures are verified.
#ifndef TAVIK_STATION_PLATFORM_H
#define TAVIK_STATION_PLATFORM_H

#include <tavik/Platform.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace tavik {

class ValidationCache;

/// The ready-made platform: checks signed envelopes against a PEM file of public keys and writes the log where the host
/// wants it. Safe from any thread.
class TAVIK_EXPORT StationPlatform : public Platform {
 public:
  enum class Log : std::uint8_t {
    kNone,           ///< no line is made
    kStandardError,  ///< time, process name and the line
  };

  /// publicKeyPath: PEM file to use in place of the one that the kernel names; absent for that one. It is read at each
  /// validation. The file holds 1 to 16 public keys ("PUBLIC KEY" blocks), any of which may have signed, with any text
  /// between them, in at most 1 MiB. It is rejected as a whole, with the reason, if it holds anything else (a private
  /// key, a certificate, a damaged, weak or unsupported key), a line that merely resembles the first or last line of a
  /// block, or a key that protects nothing: an Ed25519 point that is not on the curve or has small order, an EC point
  /// at infinity, or an RSA key with an unsafe exponent or modulus. So no key is ever ignored in silence.
  explicit StationPlatform(std::optional<std::string> publicKeyPath = std::nullopt, Log log = Log::kStandardError);
  ~StationPlatform() override;

  /// Returns the property list parsed from the very bytes that were signed. On failure returns absent and sets
  /// `errorDescription`: no key file, unreadable or weak key, no envelope, other payload type, no signature, mismatch,
  /// broken payload, each told apart.
  ///
  /// The last few documents that were trusted are remembered (at most 8, and 16 MiB of signed bytes): when payload,
  /// signatures and the bytes of the key file are all the same again, the earlier verdict and its document are used.
  /// The key file is read for every validation, whatever its name and dates, and what is refused is never remembered.
  std::optional<Value> validatedPropertyListFromSignedDictionary(
      const Dictionary& signedDictionary, const std::string& publicKeyPath,
      std::optional<std::string>& errorDescription) const override;

  bool logs() const override { return log_ != Log::kNone; }

 private:
  std::optional<std::string> publicKeyPath_;
  Log log_;
  std::unique_ptr<ValidationCache> cache_;
};

/// Signs the bytes of a property-list file with the private key in a PEM file (unencrypted PKCS #8).
///
/// Returns the envelope, or absent with `error` set: a payload that is no property list or whose root is not a
/// dictionary, a key file that cannot be read, holds no private key, or a key of an unsupported kind or size. `error`
/// is written on failure only.
TAVIK_EXPORT std::optional<Dictionary> signPropertyList(const Data& payload, const std::string& privateKeyPath,
                                                        std::string& error);

/// What a key file is for.
enum class KeyFileUse : std::uint8_t { kVerifying, kSigning };

/// Says so if other users can write a key file, or read one with a private key; absent if not, and for a file that
/// cannot be examined. Nothing is printed, and such files are used all the same: whether to warn is up to the host.
TAVIK_EXPORT std::optional<std::string> keyFileWarning(const std::string& path, KeyFileUse use);

enum class KeyAlgorithm : std::uint8_t { kEd25519, kP256, kRsa3072 };

/// A new key pair as PEM text: PKCS #8 private key, SubjectPublicKeyInfo public key.
struct KeyPair {
  std::string privateKey;
  std::string publicKey;
};

/// Makes a key pair; absent with `error` set when the cryptographic library refuses.
TAVIK_EXPORT std::optional<KeyPair> generateKeyPair(KeyAlgorithm algorithm, std::string& error);

}  // namespace tavik

#endif
