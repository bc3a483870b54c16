// A station's signature verification, and signing. First the form of an envelope is checked, then its signatures with
// the keys of the key file; only content that a valid signature covers is parsed as a document.

#include <tavik/PropertyList.h>
#include <tavik/StationPlatform.h>

#include <algorithm>
#include <span>
#include <utility>
#include <vector>

#include "Envelope.h"
#include "KeyFile.h"
#include "OpenSsl.h"
#include "SignatureKey.h"
#include "ValidationCache.h"

namespace tavik {
namespace {

using Keys = std::vector<SignatureKey>;

bool holds(const Envelope& envelope, const Keys& keys) {
  const std::vector<std::uint8_t> message = signedBytes(envelope.payload.bytes());
  // Key IDs only determine the order: a signature never passes or fails because of the ID that it claims.
  for (const bool named : {true, false}) {
    for (const Signature& signature : envelope.signatures) {
      for (const SignatureKey& key : keys) {
        if ((signature.keyId == key.id()) == named && key.couldHaveMade(signature.bytes.bytes()) &&
            key.verifies(signature.bytes.bytes(), message)) {
          return true;
        }
      }
    }
  }
  return false;
}

/// Whether `matches(signature, key)` for some signature and some key.
template <class Matches>
bool anyPair(const Envelope& envelope, const Keys& keys, Matches matches) {
  return std::ranges::any_of(envelope.signatures, [&](const Signature& signature) {
    return std::ranges::any_of(keys, [&](const SignatureKey& key) { return matches(signature, key); });
  });
}

std::string namesOf(const Keys& keys) {
  std::string names;
  for (const SignatureKey& key : keys) names += (names.empty() ? "" : ", ") + key.name();
  return names;
}

std::string whyNoneHolds(const Envelope& envelope, const Keys& keys, const std::string& path) {
  if (!anyPair(envelope, keys, [](const Signature& signature, const SignatureKey& key) {
        return key.couldHaveMade(signature.bytes.bytes());
      })) {
    return "no signature is of the kind that the keys in \"" + path + "\" make (" + namesOf(keys) +
           "): the document was signed with a key of another kind; sign it again, or install the key it was signed "
           "with";
  }
  if (anyPair(envelope, keys,
              [](const Signature& signature, const SignatureKey& key) { return signature.keyId == key.id(); })) {
    return "the signature names the key in \"" + path +
           "\" but is not valid: the document was changed after it was signed; get it again, or sign it again";
  }
  return "no signature is valid for a key in \"" + path +
         "\": the document was signed with another key; sign it again, or install the key it was signed with";
}

/// The property list in `payload`, whose root must be a dictionary.
std::optional<Value> readPayload(const Data& payload, std::string_view what, std::string& error) {
  std::optional<Value> document = readPropertyList(payload.bytes(), error);
  if (!document) {
    error = std::string(what) + " is not a property list: " + error;
    return std::nullopt;
  }
  if (!checkKind(*document, Kind::kDictionary, "the root of " + std::string(what), error)) return std::nullopt;
  return document;
}

std::optional<Value> validated(const Dictionary& signedDictionary, const std::string& keyPath, ValidationCache& cache,
                               std::string& error) {
  const std::optional<Envelope> envelope = Envelope::from(signedDictionary, error);
  if (!envelope) return std::nullopt;
  const std::optional<WipedBytes> keyFile = readPublicKeyFile(keyPath, error);
  if (!keyFile) return std::nullopt;
  if (std::optional<Value> known = cache.find(*envelope, keyFile->span())) return known;
  const std::optional<Keys> keys = publicKeysIn(*keyFile, keyPath, error);
  if (!keys) return std::nullopt;
  if (!holds(*envelope, *keys)) {
    error = whyNoneHolds(*envelope, *keys, keyPath);
    return std::nullopt;
  }
  std::optional<Value> document = readPayload(envelope->payload, "the payload, although validly signed,", error);
  if (document) cache.keep(*envelope, keyFile->span(), *document);
  return document;
}

}  // namespace

StationPlatform::StationPlatform(std::optional<std::string> publicKeyPath, Log log)
    : publicKeyPath_(std::move(publicKeyPath)), log_(log), cache_(std::make_unique<ValidationCache>()) {}

StationPlatform::~StationPlatform() = default;

std::optional<Value> StationPlatform::validatedPropertyListFromSignedDictionary(
    const Dictionary& signedDictionary, const std::string& publicKeyPath,
    std::optional<std::string>& errorDescription) const {
  const ErrorQueueScope errors;
  std::string error;
  std::optional<Value> document = validated(signedDictionary, publicKeyPath_.value_or(publicKeyPath), *cache_, error);
  if (!document) errorDescription = std::move(error);
  return document;
}

std::optional<Dictionary> signPropertyList(const Data& payload, const std::string& privateKeyPath, std::string& error) {
  const ErrorQueueScope errors;
  if (!checkSize(payload, "the document to sign", error)) return std::nullopt;
  if (!readPayload(payload, "the document to sign", error)) return std::nullopt;
  const std::optional<SignatureKey> key = readPrivateKey(privateKeyPath, error);
  if (!key) return std::nullopt;
  const std::optional<std::vector<std::uint8_t>> signature = key->sign(signedBytes(payload.bytes()), error);
  if (!signature) return std::nullopt;
  return Envelope{payload, {{Data(*signature), key->id()}}}.dictionary();
}

}  // namespace tavik
