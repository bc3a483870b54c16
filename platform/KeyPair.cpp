// Generates key pairs.

#include <openssl/pem.h>
#include <tavik/StationPlatform.h>

#include "OpenSsl.h"

namespace tavik {
namespace {

PkeyHandle generate(KeyAlgorithm algorithm) {
  constexpr std::size_t kRsaBits = 3072;
  switch (algorithm) {
    case KeyAlgorithm::kEd25519:
      return PkeyHandle(EVP_PKEY_Q_keygen(nullptr, nullptr, "ED25519"));
    case KeyAlgorithm::kP256:
      return PkeyHandle(EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", "P-256"));
    case KeyAlgorithm::kRsa3072:
      return PkeyHandle(EVP_PKEY_Q_keygen(nullptr, nullptr, "RSA", kRsaBits));
  }
  return nullptr;
}

std::string contents(BIO* text) {
  std::string all(BIO_ctrl_pending(text), '\0');
  BIO_read(text, all.data(), static_cast<int>(all.size()));
  return all;
}

}  // namespace

std::optional<KeyPair> generateKeyPair(KeyAlgorithm algorithm, std::string& error) {
  const ErrorQueueScope errors;
  const PkeyHandle key = generate(algorithm);
  const BioHandle privateKey(made(BIO_new(BIO_s_mem())));
  const BioHandle publicKey(made(BIO_new(BIO_s_mem())));
  if (key == nullptr ||
      PEM_write_bio_PKCS8PrivateKey(privateKey.get(), key.get(), nullptr, nullptr, 0, nullptr, nullptr) != 1 ||
      PEM_write_bio_PUBKEY(publicKey.get(), key.get()) != 1) {
    error = "cannot generate the key pair: " + openSslReason();
    return std::nullopt;
  }
  return KeyPair{contents(privateKey.get()), contents(publicKey.get())};
}

}  // namespace tavik
