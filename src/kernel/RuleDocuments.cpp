// Validation of rule documents.

#include "kernel/RuleDocuments.h"

#include <tavik/Platform.h>
#include <tavik/ZRTTavikKernel.h>

#include "values/MaybeAbsent.h"

namespace tavik {

namespace {

Dictionary rejected(std::string_view rule, std::string_view actual, std::string_view expected) {
  return {{"rule", rule}, {"result", Value(false)}, {"actual", actual}, {"expected", expected}};
}

Dictionary recordOf(const Reason& reason) {
  switch (reason.category) {
    case Reason::Category::kNoLocalRules:
      return rejected("valid local rules", "null local rules", "non-null local rules");
    case Reason::Category::kNotTrusted:
      return rejected("Valid Product Rules", reason.description, "valid rule lists");
    default:
      return rejected("valid local rules", "emtpy local rules", "non-empty local rules");
  }
}

std::optional<std::string> versionOf(const Dictionary& content) {
  const Value* version = content.find("version");
  return version == nullptr ? std::nullopt : std::optional(description(version));
}

}  // namespace

ValidatedContent validatedContent(const Platform& platform, const Dictionary& signedDocument, DocumentRole role) {
  ValidatedDocument validated = platform.validate(signedDocument, ZRTTavikKernel::kPublicKeyPath, role);
  if (validated.errorDescription) {
    DocumentProvenance rejected;
    rejected.document = signedDocument;
    return {{}, Reason{Reason::Category::kNotTrusted, *std::move(validated.errorDescription)}, std::move(rejected)};
  }
  validated.provenance.document = signedDocument;
  const Dictionary* content = validated.content ? validated.content->ifDictionary() : nullptr;
  if (content != nullptr && !content->empty()) return {*content, std::nullopt, std::move(validated.provenance)};
  return {{}, Reason{Reason::Category::kEmpty, "the document is empty"}, std::move(validated.provenance)};
}

RuleDocuments::RuleDocuments(PredicateKernel predicateKernel, Dictionary ruleLibrary,
                             std::shared_ptr<const DocumentProvenance> provenanceOfLibrary,
                             const Dictionary* signedRules)
    : kernel(std::move(predicateKernel)),
      library(std::move(ruleLibrary)),
      libraryProvenance(std::move(provenanceOfLibrary)) {
  std::optional<Reason> reason;
  if (signedRules == nullptr) {
    reason = Reason{Reason::Category::kNoLocalRules, "there are no local rules"};
  } else {
    auto validated = validatedContent(kernel.platform(), *signedRules, DocumentRole::kLocalRules);
    localRules = std::move(validated.content);
    rulesProvenance = std::move(validated.provenance);
    reason = std::move(validated.rejection);
  }
  if (reason) rejection = Rejection{*reason, recordOf(*reason)};
}

std::shared_ptr<const Provenance> RuleDocuments::provenance() const {
  auto provenance = std::make_shared<Provenance>(Provenance{*libraryProvenance, rulesProvenance});
  provenance->library.version = versionOf(library);
  provenance->rules.version = versionOf(localRules);
  return provenance;
}

}  // namespace tavik
