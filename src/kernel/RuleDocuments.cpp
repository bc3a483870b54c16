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

}  // namespace

ValidatedContent validatedContent(const Platform& platform, const Dictionary& signedDocument) {
  std::optional<std::string> invalid;
  const auto validated =
      platform.validatedPropertyListFromSignedDictionary(signedDocument, ZRTTavikKernel::kPublicKeyPath, invalid);
  if (invalid) return {{}, Reason{Reason::Category::kNotTrusted, *invalid}};
  const Dictionary* content = validated ? validated->ifDictionary() : nullptr;
  if (content == nullptr || content->empty()) return {{}, Reason{Reason::Category::kEmpty, "the document is empty"}};
  return {*content, std::nullopt};
}

RuleDocuments::RuleDocuments(PredicateKernel predicateKernel, Dictionary ruleLibrary, const Dictionary* signedRules)
    : kernel(std::move(predicateKernel)), library(std::move(ruleLibrary)) {
  std::optional<Reason> reason;
  if (signedRules == nullptr) {
    reason = Reason{Reason::Category::kNoLocalRules, "there are no local rules"};
  } else {
    auto validated = validatedContent(kernel.platform(), *signedRules);
    localRules = std::move(validated.content);
    reason = std::move(validated.rejection);
  }
  if (reason) rejection = Rejection{*reason, recordOf(*reason)};
}

}  // namespace tavik
