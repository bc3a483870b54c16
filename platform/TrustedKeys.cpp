#include "TrustedKeys.h"

#include <algorithm>
#include <set>
#include <utility>

#include "Entries.h"

namespace tavik {
namespace {

/// Empty for a policy that some signatures satisfy.
std::string whyInconsistent(const TrustPolicy& policy) {
  const std::size_t keys = policy.keys.size();
  if (keys > kMostPublicKeys) {
    return "\"keys\" has " + std::to_string(keys) + " keys; at most " + std::to_string(kMostPublicKeys) +
           " are allowed";
  }
  if (policy.threshold >= 1 && policy.threshold <= keys) return "";
  return "\"threshold\" is " + std::to_string(policy.threshold) + ", not a number from 1 to " + std::to_string(keys) +
         ", the number of keys";
}

/// Whether the names and the keys are distinct.
bool checkDistinct(const TrustedKeys& keys, std::string& error) {
  for (auto key = keys.begin(); key != keys.end(); ++key) {
    const auto same = std::find_if(keys.begin(), key, [&](const TrustedKey& other) {
      return other.name == key->name || other.key.id() == key->key.id();
    });
    if (same == key) continue;
    const bool sameName = same->name == key->name;
    error = sameName ? "\"keys\" has the name " + quotedText(key->name) + " twice"
                     : quotedText(same->name) + " and " + quotedText(key->name) + " of \"keys\" are the same key";
    return false;
  }
  return true;
}

std::string kindsOf(const TrustedKeys& keys) {
  std::string kinds;
  for (const TrustedKey& trusted : keys) kinds += (kinds.empty() ? "" : ", ") + trusted.key.name();
  return kinds;
}

/// Whether `matches(signature, key)` for some signature and some key.
template <class Matches>
bool anyPair(const Envelope& envelope, const TrustedKeys& keys, Matches matches) {
  return std::ranges::any_of(envelope.signatures, [&](const Signature& signature) {
    return std::ranges::any_of(keys, [&](const TrustedKey& trusted) { return matches(signature, trusted.key); });
  });
}

std::optional<TrustedKeys> namedKeys(const TrustPolicy& policy, const KeyFiles& files, std::string& error) {
  error = whyInconsistent(policy);
  if (!error.empty()) return std::nullopt;
  TrustedKeys keys;
  for (std::size_t i = 0; i < files.size(); ++i) {
    const auto& [name, path] = policy.keys[i];
    std::optional<std::vector<SignatureKey>> found = publicKeysIn(files[i], path, error);
    if (!found) return std::nullopt;
    if (found->size() != 1) {
      error = "the file \"" + path + "\" of " + quotedText(name) + " contains " + std::to_string(found->size()) +
              " keys; a trust policy names each key, so put each in its own file";
      return std::nullopt;
    }
    keys.push_back({name, std::move(found->front())});
  }
  if (!checkDistinct(keys, error)) return std::nullopt;
  return keys;
}

}  // namespace

std::optional<KeyFiles> readKeyFiles(const TrustPolicy& policy, std::string& error) {
  std::vector<std::string> paths;
  for (const TrustPolicy::Key& key : policy.keys) paths.push_back(key.file);
  if (paths.empty()) paths.push_back(policy.publicKeyFile.value());
  KeyFiles files;
  for (const std::string& path : paths) {
    std::optional<WipedBytes> file = readPublicKeyFile(path, error);
    if (!file) return std::nullopt;
    files.push_back(std::move(*file));
  }
  return files;
}

std::optional<TrustedKeys> trustedKeys(const TrustPolicy& policy, const KeyFiles& files, std::string& error) {
  if (!policy.keys.empty()) return namedKeys(policy, files, error);
  std::optional<std::vector<SignatureKey>> found = publicKeysIn(files.front(), *policy.publicKeyFile, error);
  if (!found) return std::nullopt;
  TrustedKeys keys;
  for (SignatureKey& key : *found) {
    std::string id = key.id();
    keys.push_back({std::move(id), std::move(key)});
  }
  return keys;
}

std::vector<std::string> signersOf(const Envelope& envelope, const TrustedKeys& keys) {
  const std::vector<std::uint8_t> message = signedBytes(envelope.type, envelope.payload.bytes());
  std::set<const TrustedKey*> signers;
  std::set<const Signature*> valid;
  // Key IDs only determine the order: a signature never passes or fails because of the ID that it claims.
  for (const bool named : {true, false}) {
    for (const Signature& signature : envelope.signatures) {
      for (const TrustedKey& trusted : keys) {
        const std::span<const std::uint8_t> bytes = signature.bytes.bytes();
        if ((signature.keyId == trusted.key.id()) != named || valid.contains(&signature) ||
            signers.contains(&trusted) || !trusted.key.couldHaveMade(bytes) || !trusted.key.verifies(bytes, message)) {
          continue;
        }
        signers.insert(&trusted);
        valid.insert(&signature);
      }
    }
  }
  std::vector<std::string> names;
  for (const TrustedKey& trusted : keys) {
    if (signers.contains(&trusted)) names.push_back(trusted.name);
  }
  return names;
}

std::string whyNoSigner(const Envelope& envelope, const TrustedKeys& keys, const std::string& where) {
  if (!anyPair(envelope, keys, [](const Signature& signature, const SignatureKey& key) {
        return key.couldHaveMade(signature.bytes.bytes());
      })) {
    return "no signature is of the kind that the keys " + where + " make (" + kindsOf(keys) +
           "): the document was signed with a key of another kind; sign it again, or install the key it was signed "
           "with";
  }
  if (anyPair(envelope, keys,
              [](const Signature& signature, const SignatureKey& key) { return signature.keyId == key.id(); })) {
    return "the signature names the key " + where +
           " but is not valid: the document was changed after it was signed; get it again, or sign it again";
  }
  return "no signature is valid for a key " + where +
         ": the document was signed with another key; sign it again, or install the key it was signed with";
}

}  // namespace tavik
