#include "SignatureKey.h"

#include <openssl/core_names.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>
#include <tavik/StationPlatform.h>

#include <algorithm>
#include <array>
#include <utility>

#include "KeyCheck.h"

namespace tavik {
namespace {

constexpr int kFewestRsaBits = 3072;
constexpr std::string_view kSupported = "use Ed25519, ECDSA on P-256, or RSA with 3072 to 16384 bits";
constexpr std::size_t kEd25519SignatureSize = 64;

bool isA(const EVP_PKEY& key, const char* type) { return EVP_PKEY_is_a(&key, type) == 1; }

bool isOnP256(const EVP_PKEY& key) {
  std::array<char, 32> group{};
  std::size_t length = 0;
  int spelledOut = 0;  // a curve given by its parameters instead of its name, which standards forbid for such keys
  return EVP_PKEY_get_group_name(&key, group.data(), group.size(), &length) == 1 &&
         std::string_view(group.data(), length) == SN_X9_62_prime256v1 &&
         EVP_PKEY_get_int_param(&key, OSSL_PKEY_PARAM_EC_DECODED_FROM_EXPLICIT_PARAMS, &spelledOut) == 1 &&
         spelledOut == 0;
}

std::string describe(const EVP_PKEY& key) {
  if (isA(key, "ED25519")) return "Ed25519";
  if (isA(key, "EC")) return isOnP256(key) ? "ECDSA on P-256" : "EC, but not on the named curve P-256";
  const char* type = EVP_PKEY_get0_type_name(&key);
  return (type != nullptr ? std::string(type) : "an unknown kind of key") + " with " +
         std::to_string(EVP_PKEY_get_bits(&key)) + " bits";
}

std::string hexadecimal(std::span<const std::uint8_t> bytes) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text;
  text.reserve(2 * bytes.size());
  for (const std::uint8_t byte : bytes) {
    text += kDigits[byte >> 4U];
    text += kDigits[byte & 0xFU];
  }
  return text;
}

std::string idOfEd25519(const EVP_PKEY& key) {
  std::array<std::uint8_t, kEd25519Info.size() + kEd25519KeySize> der{};
  std::size_t size = kEd25519KeySize;
  if (EVP_PKEY_get_raw_public_key(&key, std::ranges::copy(kEd25519Info, der.begin()).out, &size) != 1) {
    throw std::bad_alloc();
  }
  return sha256(der);
}

std::string idOf(const EVP_PKEY& key) {
  if (isA(key, "ED25519")) return idOfEd25519(key);
  unsigned char* der = nullptr;
  const int size = i2d_PUBKEY(&key, &der);
  if (size <= 0) throw std::bad_alloc();  // a valid key can be encoded
  const BytesHandle owner(der);
  return sha256(std::span(der, static_cast<std::size_t>(size)));
}

}  // namespace

std::string sha256(std::span<const std::uint8_t> bytes) {
  std::array<std::uint8_t, 32> digest{};
  if (EVP_Q_digest(nullptr, "SHA256", nullptr, bytes.data(), bytes.size(), digest.data(), nullptr) != 1) {
    throw std::bad_alloc();
  }
  return hexadecimal(digest);
}

SignatureKey::SignatureKey(PkeyHandle key, Scheme scheme) : key_(std::move(key)), scheme_(scheme) {}

std::optional<SignatureKey> SignatureKey::admit(PkeyHandle key, std::string& error) {
  const std::optional<Scheme> scheme = schemeOf(*key, error);
  if (!scheme) return std::nullopt;
  if (std::string reason = whyUnsound(*key); !reason.empty()) {
    error = std::move(reason);
    return std::nullopt;
  }
  SignatureKey admitted(std::move(key), *scheme);
  const DigestHandle context(made(EVP_MD_CTX_new()));
  if (!admitted.begin(EVP_DigestVerifyInit, context.get())) {  // an RSA-PSS key may prescribe other parameters
    error = "does not permit SHA-256 with a salt of 32 bytes: " + admitted.name();
    return std::nullopt;
  }
  admitted.id_ = idOf(*admitted.key_);
  return admitted;
}

std::optional<SignatureKey::Scheme> SignatureKey::schemeOf(const EVP_PKEY& key, std::string& error) {
  if (isA(key, "ED25519")) return Scheme::kEd25519;
  if (isA(key, "EC") && isOnP256(key)) return Scheme::kEcdsaP256;
  if (!isA(key, "RSA") && !isA(key, "RSA-PSS")) {
    error = "is not supported: " + describe(key) + "; " + std::string(kSupported);
    return std::nullopt;
  }
  const int bits = EVP_PKEY_get_bits(&key);
  if (bits < kFewestRsaBits || bits > OPENSSL_RSA_MAX_MODULUS_BITS) {
    const std::string_view what = bits < kFewestRsaBits ? "is too weak: " : "is too large: ";
    error = std::string(what) + describe(key) + "; " + std::string(kSupported);
    return std::nullopt;
  }
  return Scheme::kRsaPss;
}

std::string SignatureKey::name() const { return describe(*key_); }

bool SignatureKey::couldHaveMade(std::span<const std::uint8_t> signature) const noexcept {
  switch (scheme_) {
    case Scheme::kEd25519:
      return signature.size() == kEd25519SignatureSize;
    case Scheme::kRsaPss:
      return signature.size() == static_cast<std::size_t>(EVP_PKEY_get_size(key_.get()));
    case Scheme::kEcdsaP256:  // a DER sequence with its length in one byte
      return signature.size() > 2 && signature[0] == 0x30 && signature[1] == signature.size() - 2;
  }
  return false;
}

/// Begins signing or verifying; OpenSSL sets up both alike.
bool SignatureKey::begin(Initializer* initialize, EVP_MD_CTX* context) const {
  const EVP_MD* digest = scheme_ == Scheme::kEd25519 ? nullptr : EVP_sha256();
  EVP_PKEY_CTX* parameters = nullptr;  // owned by `context`
  if (initialize(context, &parameters, digest, nullptr, key_.get()) != 1) return false;
  return scheme_ != Scheme::kRsaPss || (EVP_PKEY_CTX_set_rsa_padding(parameters, RSA_PKCS1_PSS_PADDING) == 1 &&
                                        EVP_PKEY_CTX_set_rsa_mgf1_md(parameters, EVP_sha256()) == 1 &&
                                        EVP_PKEY_CTX_set_rsa_pss_saltlen(parameters, RSA_PSS_SALTLEN_DIGEST) == 1);
}

bool SignatureKey::verifies(std::span<const std::uint8_t> signature, std::span<const std::uint8_t> message) const {
  const DigestHandle context(made(EVP_MD_CTX_new()));
  // Negative if the bytes are not a signature at all.
  return begin(EVP_DigestVerifyInit, context.get()) &&
         EVP_DigestVerify(context.get(), signature.data(), signature.size(), message.data(), message.size()) == 1;
}

std::optional<std::vector<std::uint8_t>> SignatureKey::sign(std::span<const std::uint8_t> message,
                                                            std::string& error) const {
  const DigestHandle context(made(EVP_MD_CTX_new()));
  std::vector<std::uint8_t> signature(static_cast<std::size_t>(EVP_PKEY_get_size(key_.get())));
  std::size_t size = signature.size();
  if (!begin(EVP_DigestSignInit, context.get()) ||
      EVP_DigestSign(context.get(), signature.data(), &size, message.data(), message.size()) != 1) {
    error = "cannot sign the document: " + openSslReason();
    return std::nullopt;
  }
  signature.resize(size);
  return signature;
}

}  // namespace tavik
