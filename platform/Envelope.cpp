#include "Envelope.h"

#include <tavik/Platform.h>

#include <algorithm>
#include <array>
#include <utility>

#include "Entries.h"

namespace tavik {
namespace {

constexpr std::string_view kDocument = "the signed document";
constexpr std::string_view kTypeKey = "payloadType";
constexpr std::string_view kPayloadKey = "payload";
constexpr std::string_view kSignaturesKey = "signatures";
constexpr std::string_view kSignatureKey = "sig";
constexpr std::string_view kKeyIdKey = "keyid";

std::optional<PayloadType> payloadTypeOf(const Dictionary& dictionary, std::string& error) {
  const Value* name = entry(dictionary, kTypeKey, Kind::kString, kDocument, error);
  if (name == nullptr) return std::nullopt;
  for (const PayloadType type : {PayloadType::kRules, PayloadType::kStatement}) {
    if (name->ifString() == nameOf(type)) return type;
  }
  error = "the signed document has the payload type " + quoted(*name->ifString()) + ", not " +
          quoted(nameOf(PayloadType::kRules)) + ": it was signed for another purpose";
  return std::nullopt;
}

std::optional<Signature> signatureFrom(const Value& value, std::size_t number, std::string& error) {
  const std::string owner = "signature " + std::to_string(number) + " of the signed document";
  if (!checkKind(value, Kind::kDictionary, owner, error)) return std::nullopt;
  const Dictionary& dictionary = *value.ifDictionary();
  const Value* bytes = entry(dictionary, kSignatureKey, Kind::kData, owner, error);
  if (bytes == nullptr) return std::nullopt;
  const Value* keyId = nullptr;
  if (!optionalEntry(dictionary, kKeyIdKey, Kind::kString, owner, keyId, error)) return std::nullopt;
  return Signature{*bytes->ifData(), std::string(keyId == nullptr ? "" : *keyId->ifString())};
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

std::string_view nameOf(PayloadType type) {
  return type == PayloadType::kRules ? "application/vnd.tavik.rules+plist" : "application/vnd.tavik.statement+plist";
}

bool checkSize(const Data& document, std::string_view what, std::string& error) {
  if (document.size() <= kLargestRuleDocument) return true;
  error = std::string(what) + " is larger than " + std::to_string(kLargestRuleDocument >> 20U) + " MiB";
  return false;
}

std::optional<Envelope> Envelope::from(const Dictionary& dictionary, std::string& error) {
  if (std::ranges::none_of(std::array{kTypeKey, kPayloadKey, kSignaturesKey},
                           [&](std::string_view key) { return dictionary.contains(key); })) {
    error = R"(the document is not signed: it has none of "payloadType", "payload" and "signatures"; sign it first)";
    return std::nullopt;
  }
  const std::optional<PayloadType> type = payloadTypeOf(dictionary, error);
  if (!type) return std::nullopt;
  const Value* payload = entry(dictionary, kPayloadKey, Kind::kData, kDocument, error);
  if (payload == nullptr) return std::nullopt;
  if (!checkSize(*payload->ifData(), quoted(kPayloadKey) + " of " + std::string(kDocument), error)) return std::nullopt;
  const Value* list = entry(dictionary, kSignaturesKey, Kind::kArray, kDocument, error);
  if (list == nullptr) return std::nullopt;
  std::optional<std::vector<Signature>> signatures = signaturesFrom(*list->ifArray(), error);
  if (!signatures) return std::nullopt;
  return Envelope{*type, *payload->ifData(), std::move(*signatures)};
}

Dictionary Envelope::dictionary() const {
  Array list;
  for (const Signature& signature : signatures) {
    list.append(Dictionary{{kKeyIdKey, signature.keyId}, {kSignatureKey, signature.bytes}});
  }
  return Dictionary{{kTypeKey, nameOf(type)}, {kPayloadKey, payload}, {kSignaturesKey, std::move(list)}};
}

std::vector<std::uint8_t> signedBytes(PayloadType type, std::span<const std::uint8_t> payload) {
  const std::string_view name = nameOf(type);
  const std::string head =
      "DSSEv1 " + std::to_string(name.size()) + ' ' + std::string(name) + ' ' + std::to_string(payload.size()) + ' ';
  std::vector<std::uint8_t> bytes;
  bytes.reserve(head.size() + payload.size());
  bytes.insert(bytes.end(), head.begin(), head.end());
  bytes.insert(bytes.end(), payload.begin(), payload.end());
  return bytes;
}

}  // namespace tavik
