#include "Envelope.h"

#include <tavik/Platform.h>

#include <algorithm>
#include <array>
#include <utility>

namespace tavik {
namespace {

constexpr std::string_view kDocument = "the signed document";
constexpr std::string_view kTypeKey = "payloadType";
constexpr std::string_view kPayloadKey = "payload";
constexpr std::string_view kSignaturesKey = "signatures";
constexpr std::string_view kSignatureKey = "sig";
constexpr std::string_view kKeyIdKey = "keyid";

std::string_view kindName(Kind kind) {
  switch (kind) {
    case Kind::kString:
      return "a string";
    case Kind::kNumber:
      return "a number";
    case Kind::kBoolean:
      return "a boolean";
    case Kind::kData:
      return "data";
    case Kind::kDate:
      return "a date";
    case Kind::kArray:
      return "an array";
    case Kind::kDictionary:
      return "a dictionary";
  }
  return "of an unknown kind";
}

/// Untrusted text for a one-line message, of limited length.
std::string quoted(std::string_view text) {
  constexpr std::size_t kMostBytes = 100;
  std::string shown(text.substr(0, kMostBytes));
  std::ranges::replace_if(
      shown, [](char c) { return c < ' ' || c > '~'; }, '?');
  return '"' + shown + (text.size() > kMostBytes ? "...\"" : "\"");
}

/// The value under `key`; null with `error` set if it is missing or of another kind. `owner` names the dictionary.
const Value* entry(const Dictionary& dictionary, std::string_view key, Kind kind, std::string_view owner,
                   std::string& error) {
  const Value* value = dictionary.find(key);
  const std::string name = quoted(key);
  if (value == nullptr) {
    error = std::string(owner) + " has no " + name;
    return nullptr;
  }
  return checkKind(*value, kind, name + " of " + std::string(owner), error) ? value : nullptr;
}

bool checkPayloadType(const Dictionary& dictionary, std::string& error) {
  const Value* type = entry(dictionary, kTypeKey, Kind::kString, kDocument, error);
  if (type == nullptr) return false;
  if (type->ifString() == kPayloadType) return true;
  error = "the signed document has the payload type " + quoted(*type->ifString()) + ", not " + quoted(kPayloadType) +
          ": it was signed for another purpose";
  return false;
}

std::optional<Signature> signatureFrom(const Value& value, std::size_t number, std::string& error) {
  const std::string owner = "signature " + std::to_string(number) + " of the signed document";
  if (!checkKind(value, Kind::kDictionary, owner, error)) return std::nullopt;
  const Dictionary& dictionary = *value.ifDictionary();
  const Value* bytes = entry(dictionary, kSignatureKey, Kind::kData, owner, error);
  if (bytes == nullptr) return std::nullopt;
  Signature signature{*bytes->ifData(), {}};
  if (dictionary.contains(kKeyIdKey)) {
    const Value* keyId = entry(dictionary, kKeyIdKey, Kind::kString, owner, error);
    if (keyId == nullptr) return std::nullopt;
    signature.keyId = *keyId->ifString();
  }
  return signature;
}

std::optional<std::vector<Signature>> signaturesFrom(const Array& values, std::string& error) {
  if (values.empty()) {
    error = "the signed document has no signature: \"signatures\" is empty; sign it again";
    return std::nullopt;
  }
  if (values.size() > kMostSignatures) {
    error = "the signed document has " + std::to_string(values.size()) + " signatures; at most " +
            std::to_string(kMostSignatures) + " are allowed";
    return std::nullopt;
  }
  std::vector<Signature> signatures;
  for (const Value& value : values) {
    std::optional<Signature> signature = signatureFrom(value, signatures.size() + 1, error);
    if (!signature) return std::nullopt;
    signatures.push_back(std::move(*signature));
  }
  return signatures;
}

}  // namespace

bool checkSize(const Data& document, std::string_view what, std::string& error) {
  if (document.size() <= kLargestRuleDocument) return true;
  error = std::string(what) + " is larger than " + std::to_string(kLargestRuleDocument >> 20U) + " MiB";
  return false;
}

bool checkKind(const Value& value, Kind kind, std::string_view what, std::string& error) {
  if (value.kind() == kind) return true;
  error = std::string(what) + " is " + std::string(kindName(value.kind())) + ", not " + std::string(kindName(kind));
  return false;
}

std::optional<Envelope> Envelope::from(const Dictionary& dictionary, std::string& error) {
  if (std::ranges::none_of(std::array{kTypeKey, kPayloadKey, kSignaturesKey},
                           [&](std::string_view key) { return dictionary.contains(key); })) {
    error = R"(the document is not signed: it has none of "payloadType", "payload" and "signatures"; sign it first)";
    return std::nullopt;
  }
  if (!checkPayloadType(dictionary, error)) return std::nullopt;
  const Value* payload = entry(dictionary, kPayloadKey, Kind::kData, kDocument, error);
  if (payload == nullptr) return std::nullopt;
  if (!checkSize(*payload->ifData(), quoted(kPayloadKey) + " of " + std::string(kDocument), error)) return std::nullopt;
  const Value* list = entry(dictionary, kSignaturesKey, Kind::kArray, kDocument, error);
  if (list == nullptr) return std::nullopt;
  std::optional<std::vector<Signature>> signatures = signaturesFrom(*list->ifArray(), error);
  if (!signatures) return std::nullopt;
  return Envelope{*payload->ifData(), std::move(*signatures)};
}

Dictionary Envelope::dictionary() const {
  Array list;
  for (const Signature& signature : signatures) {
    list.append(Dictionary{{kKeyIdKey, signature.keyId}, {kSignatureKey, signature.bytes}});
  }
  return Dictionary{{kTypeKey, kPayloadType}, {kPayloadKey, payload}, {kSignaturesKey, std::move(list)}};
}

std::vector<std::uint8_t> signedBytes(std::span<const std::uint8_t> payload) {
  const std::string head = "DSSEv1 " + std::to_string(kPayloadType.size()) + ' ' + std::string(kPayloadType) + ' ' +
                           std::to_string(payload.size()) + ' ';
  std::vector<std::uint8_t> bytes;
  bytes.reserve(head.size() + payload.size());
  bytes.insert(bytes.end(), head.begin(), head.end());
  bytes.insert(bytes.end(), payload.begin(), payload.end());
  return bytes;
}

}  // namespace tavik
