// A station's verification of documents, and signing. First the form of an envelope is checked, then its signatures
// with the trusted keys; only content that enough valid signatures cover is parsed. Last come role, product, expiry and
// revision, which are judged for every use of a document.

#include <tavik/PropertyList.h>
#include <tavik/StationPlatform.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "Entries.h"
#include "Envelope.h"
#include "OpenSsl.h"
#include "Statement.h"
#include "TrustState.h"
#include "TrustedKeys.h"
#include "ValidationCache.h"

namespace tavik {
namespace {

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

/// The content of a payload that is validly signed.
std::optional<SignedContent> readContent(const Envelope& envelope, std::string& error) {
  std::optional<Value> payload = readPayload(envelope.payload, "the payload, although validly signed,", error);
  if (!payload) return std::nullopt;
  SignedContent content;
  content.provenance.sha256 = sha256(envelope.payload.bytes());
  if (envelope.type == PayloadType::kRules) {
    content.document = *std::move(payload);
    return content;
  }
  std::optional<StatedDocument> stated = readStatement(*payload->ifDictionary(), error);
  if (!stated) return std::nullopt;
  content.document = std::move(stated->document);
  content.provenance.statement = std::move(stated->statement);
  return content;
}

/// "1 of 2 required signatures: "rule office"", or why there is none.
std::string whyTooFew(const Envelope& envelope, const TrustedKeys& keys, const std::vector<std::string>& signers,
                      std::size_t threshold) {
  std::string text = std::to_string(signers.size()) + " of " + std::to_string(threshold) + " required signatures: ";
  if (signers.empty()) return text + whyNoSigner(envelope, keys, "of the trust policy");
  for (const std::string& name : signers) text += (&name == &signers.front() ? "" : ", ") + quotedText(name);
  return text;
}

/// The content of an envelope that enough trusted keys have signed, whatever it is used for.
std::optional<SignedContent> verified(const Envelope& envelope, const TrustPolicy& policy, ValidationCache& cache,
                                      Refusal& refusal) {
  const std::optional<KeyFiles> files = readKeyFiles(policy, refusal.why);
  refusal.stationIsToBlame = !files;
  if (!files) return std::nullopt;
  if (std::optional<SignedContent> known = cache.find(envelope, *files)) return known;
  const std::optional<TrustedKeys> keys = trustedKeys(policy, *files, refusal.why);
  refusal.stationIsToBlame = !keys;
  if (!keys) {
    if (!policy.keys.empty()) refusal.why.insert(0, "trust policy: ");
    return std::nullopt;
  }
  std::vector<std::string> signers = signersOf(envelope, *keys);
  if (signers.size() < policy.threshold) {
    const bool isSimple = policy.keys.empty() && policy.threshold == 1;
    refusal.why = isSimple ? whyNoSigner(envelope, *keys, "in \"" + *policy.publicKeyFile + "\"")
                           : whyTooFew(envelope, *keys, signers, policy.threshold);
    return std::nullopt;
  }
  std::optional<SignedContent> content = readContent(envelope, refusal.why);
  if (!content) return std::nullopt;
  content->provenance.keys = std::move(signers);
  cache.keep(envelope, *files, *content);
  return content;
}

/// Why a statement is not acceptable for a role, a policy and a time; empty if it is.
std::string whyUnfit(const Statement& statement, std::optional<DocumentRole> role, const TrustPolicy& policy,
                     Date now) {
  if (role && statement.role != *role) {
    return "role is \"" + std::string(wordOf(statement.role)) + "\", expected \"" + std::string(wordOf(*role)) + "\"";
  }
  if (policy.product && statement.product != *policy.product) {
    return "product is " + quotedText(statement.product) + ", expected " + quotedText(*policy.product);
  }
  if (!statement.expires) return "";
  if (now.secondsSinceEpoch() < statement.expires->secondsSinceEpoch()) return "";
  return "expired on " + dateText(*statement.expires) + "; " +
         (policy.time ? "the document was used on " : "the system clock says ") + dateText(now);
}

/// Whether a document that is validly signed is acceptable.
bool isFit(DocumentProvenance& provenance, std::optional<DocumentRole> role, const TrustPolicy& policy,
           Refusal& refusal) {
  provenance.validated = policy.time.value_or(systemTime());
  if (!provenance.statement) {
    if (policy.requireStatement) {
      refusal.why = "the policy requires a statement; sign the document with a role, a product and a revision";
    }
    return !policy.requireStatement;
  }
  refusal.why = whyUnfit(*provenance.statement, role, policy, *provenance.validated);
  if (!refusal.why.empty()) return false;
  return !policy.state ||
         TrustState(*policy.state).accepts(*provenance.statement, policy.remember, refusal, provenance.warning);
}

/// Signs a payload with one more key.
bool addSignature(Envelope& envelope, const std::string& privateKeyPath, std::string& error) {
  const std::optional<SignatureKey> key = readPrivateKey(privateKeyPath, error);
  if (!key) return false;
  const std::vector<std::uint8_t> message = signedBytes(envelope.type, envelope.payload.bytes());
  if (std::ranges::any_of(envelope.signatures, [&](const Signature& signature) {
        return key->couldHaveMade(signature.bytes.bytes()) && key->verifies(signature.bytes.bytes(), message);
      })) {
    error = "the document already has a signature by this key";
    return false;
  }
  if (envelope.signatures.size() == kMostSignatures) {
    error = "the document already has " + std::to_string(kMostSignatures) + " signatures, the maximum";
    return false;
  }
  const std::optional<std::vector<std::uint8_t>> signature = key->sign(message, error);
  if (signature) envelope.signatures.push_back({Data(*signature), key->id()});
  return signature.has_value();
}

std::optional<Dictionary> signedEnvelope(PayloadType type, const Data& payload, const std::string& privateKeyPath,
                                         std::string& error) {
  Envelope envelope{type, payload, {}};
  return addSignature(envelope, privateKeyPath, error) ? std::optional(envelope.dictionary()) : std::nullopt;
}

/// The document that someone wants to sign.
std::optional<Value> documentToSign(const Data& payload, std::string& error) {
  if (!checkSize(payload, "the document to sign", error)) return std::nullopt;
  std::optional<Value> document = readPayload(payload, "the document to sign", error);
  if (document && !checkPlain(*document->ifDictionary(), "the document to sign", error)) return std::nullopt;
  return document;
}

}  // namespace

StationPlatform::StationPlatform(std::optional<std::string> publicKeyPath, Log log)
    : StationPlatform(TrustPolicy{.keys = {}, .publicKeyFile = std::move(publicKeyPath)}, log) {}

StationPlatform::StationPlatform(TrustPolicy policy, Log log)
    : policy_(std::move(policy)), log_(log), cache_(std::make_unique<ValidationCache>()) {}

StationPlatform::~StationPlatform() = default;

std::optional<Value> StationPlatform::validatedPropertyListFromSignedDictionary(
    const Dictionary& signedDictionary, const std::string& publicKeyPath,
    std::optional<std::string>& errorDescription) const {
  ValidatedDocument validated = validate(signedDictionary, publicKeyPath, std::nullopt);
  errorDescription = std::move(validated.errorDescription);
  return std::move(validated.content);
}

ValidatedDocument StationPlatform::validate(const Dictionary& signedDictionary, const std::string& publicKeyPath,
                                            std::optional<DocumentRole> role) const {
  const ErrorQueueScope errors;
  TrustPolicy policy = policy_;
  if (!policy.publicKeyFile) policy.publicKeyFile = publicKeyPath;
  Refusal refusal;
  const std::optional<Envelope> envelope = Envelope::from(signedDictionary, refusal.why);
  std::optional<SignedContent> content;
  if (envelope) content = verified(*envelope, policy, *cache_, refusal);
  ValidatedDocument validated;
  if (!content || !isFit(content->provenance, role, policy, refusal)) {
    validated.errorDescription = std::move(refusal.why);
    validated.stationIsToBlame = refusal.stationIsToBlame;
    return validated;
  }
  validated.content = std::move(content->document);
  validated.provenance = std::move(content->provenance);
  if (!validated.provenance.warning.empty() && logs()) log(validated.provenance.warning);
  return validated;
}

std::optional<Dictionary> signPropertyList(const Data& payload, const std::string& privateKeyPath, std::string& error) {
  const ErrorQueueScope errors;
  if (!documentToSign(payload, error)) return std::nullopt;
  return signedEnvelope(PayloadType::kRules, payload, privateKeyPath, error);
}

std::optional<Dictionary> signStatement(const Data& document, const Statement& statement,
                                        const std::string& privateKeyPath, std::string& error) {
  const ErrorQueueScope errors;
  const std::optional<Value> content = documentToSign(document, error);
  if (!content) return std::nullopt;
  const std::optional<Dictionary> stated = writeStatement({statement, *content->ifDictionary()}, error);
  if (!stated) return std::nullopt;
  const std::optional<Data> payload = writePropertyList(*stated, PropertyListFormat::kXml, error);
  if (!payload || !checkSize(*payload, "the statement", error)) return std::nullopt;
  return signedEnvelope(PayloadType::kStatement, *payload, privateKeyPath, error);
}

std::optional<Dictionary> addSignature(const Dictionary& signedDocument, const std::string& privateKeyPath,
                                       std::string& error) {
  const ErrorQueueScope errors;
  std::optional<Envelope> envelope = Envelope::from(signedDocument, error);
  if (!envelope || !readContent(*envelope, error)) return std::nullopt;
  return addSignature(*envelope, privateKeyPath, error) ? std::optional(envelope->dictionary()) : std::nullopt;
}

}  // namespace tavik
