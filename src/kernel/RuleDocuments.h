/// @file
/// A rule library and the local rules of a product, validated.
#ifndef TAVIK_KERNEL_RULE_DOCUMENTS_H
#define TAVIK_KERNEL_RULE_DOCUMENTS_H

#include <tavik/CheckOutcome.h>
#include <tavik/PredicateKernel.h>
#include <tavik/Provenance.h>
#include <tavik/Value.h>

#include <memory>
#include <optional>

namespace tavik {

struct RuleDocuments {
  /// The kernel's platform validates `signedRules`, which may be null.
  RuleDocuments(PredicateKernel kernel, Dictionary library, std::shared_ptr<const DocumentProvenance> libraryProvenance,
                const Dictionary* signedRules);

  /// Why no check can be made, with the record that reports it.
  struct Rejection {
    Reason reason;
    Dictionary record;
  };

  PredicateKernel kernel;
  Dictionary library;
  Dictionary localRules;  ///< empty if they are rejected
  std::optional<Rejection> rejection;
  std::shared_ptr<const DocumentProvenance> libraryProvenance;
  DocumentProvenance rulesProvenance;

  [[nodiscard]] std::shared_ptr<const Provenance> provenance() const;
};

/// The result of validating a signed document: its content, or why it was rejected.
struct ValidatedContent {
  Dictionary content;
  std::optional<Reason> rejection;
  DocumentProvenance provenance;
};
ValidatedContent validatedContent(const Platform& platform, const Dictionary& signedDocument, DocumentRole role);

}  // namespace tavik

#endif
