/// @file
/// libTavikPlatform: the platform of a test station, and functions that generate keys and sign documents. All
/// cryptography is OpenSSL's.
///
/// **The signed form** is a DSSE envelope, version 1 (https://github.com/secure-systems-lab/dsse), as a property-list
/// dictionary:
///
/// - "payloadType": the string "application/vnd.tavik.rules+plist".
/// - "payload": data, the bytes of a property-list file in any encoding; its root is a dictionary.
/// - "signatures": an array of 1 to 16 dictionaries. Each has "sig" (data) and may have "keyid" (string): the SHA-256
///   of the key's DER SubjectPublicKeyInfo, in hexadecimal. "keyid" is only a hint and is never trusted.
///
/// Other entries are ignored.
///
/// The signature covers the pre-authentication encoding of type and payload, with Ed25519 (RFC 8032), ECDSA on P-256
/// with SHA-256 (signature in DER), or RSA-PSS with SHA-256 (3072 to 16384 bits; salt as long as the digest); the key
/// determines which. One valid signature by one of the trusted keys is enough.
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

/// The ready-made platform: verifies signed envelopes with a PEM file of public keys and writes the log. Thread-safe.
class TAVIK_EXPORT StationPlatform : public Platform {
 public:
  enum class Log : std::uint8_t {
    kNone,           ///< no log
    kStandardError,  ///< time, process name and the line
  };

  /// publicKeyPath: PEM file to use instead of the one that the kernel names; absent for that one. It is read for each
  /// validation. The file contains 1 to 16 public keys ("PUBLIC KEY" blocks), any of which may have signed, with any
  /// text between them, in at most 1 MiB. The whole file is rejected, with the reason, if it contains anything else (a
  /// private key, a certificate, a damaged, weak or unsupported key), a line that resembles the first or last line of a
  /// block, or an unsafe key: an Ed25519 point that is not on the curve or has small order, an EC point at infinity, or
  /// an RSA key with an unsafe exponent or modulus. No key is silently ignored.
  explicit StationPlatform(std::optional<std::string> publicKeyPath = std::nullopt, Log log = Log::kStandardError);
  ~StationPlatform() override;

  /// Returns the property list parsed from the exact bytes that were signed. On failure returns absent and sets
  /// `errorDescription`, with a distinct text for a missing key file, an unreadable or weak key, a document that is not
  /// an envelope, another payload type, a missing or invalid signature, and a malformed payload.
  ///
  /// The last few trusted documents are cached (at most 8, and 16 MiB of signed bytes): if the payload, the signatures
  /// and the bytes of the key file are all the same again, the cached document is returned. The key file is read for
  /// every validation, regardless of its name and dates, and rejected documents are never cached.
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
/// Returns the envelope, or absent with `error` set: the payload is not a property list or its root is not a
/// dictionary, or the key file cannot be read, has no private key, or has a key of an unsupported kind or size. `error`
/// is set on failure only.
TAVIK_EXPORT std::optional<Dictionary> signPropertyList(const Data& payload, const std::string& privateKeyPath,
                                                        std::string& error);

/// What a key file is for.
enum class KeyFileUse : std::uint8_t { kVerifying, kSigning };

/// Returns a warning if other users can write a key file, or read one with a private key; absent if not, and for a file
/// that cannot be examined. Nothing is printed, and such files are used anyway: the host decides whether to warn.
TAVIK_EXPORT std::optional<std::string> keyFileWarning(const std::string& path, KeyFileUse use);

enum class KeyAlgorithm : std::uint8_t { kEd25519, kP256, kRsa3072 };

/// A new key pair as PEM text: PKCS #8 private key, SubjectPublicKeyInfo public key.
struct KeyPair {
  std::string privateKey;
  std::string publicKey;
};

/// Generates a key pair; absent with `error` set if the cryptographic library fails.
TAVIK_EXPORT std::optional<KeyPair> generateKeyPair(KeyAlgorithm algorithm, std::string& error);

}  // namespace tavik

#endif
