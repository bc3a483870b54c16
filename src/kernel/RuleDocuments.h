/// @file
/// A rule library and the local rules of a product, validated.
#ifndef TAVIK_KERNEL_RULE_DOCUMENTS_H
#define TAVIK_KERNEL_RULE_DOCUMENTS_H

#include <tavik/CheckOutcome.h>
#include <tavik/PredicateKernel.h>
#include <tavik/Value.h>

#include <optional>

namespace tavik {

struct RuleDocuments {
  /// Has `signedRules`, which may be null, validated by the kernel's platform.
  RuleDocuments(PredicateKernel kernel, Dictionary library, const Dictionary* signedRules);

  /// Why every check ends at once, with the one record that says so.
  struct Rejection {
    Reason reason;
    Dictionary record;
  };

  PredicateKernel kernel;
  Dictionary library;
  Dictionary localRules;  ///< empty if they are rejected
  std::optional<Rejection> rejection;
};

/// What a platform found in a signed document: its content, or why there is none.
struct ValidatedContent {
  Dictionary content;
  std::optional<Reason> rejection;
};
ValidatedContent validatedContent(const Platform& platform, const Dictionary& signedDocument);

}  // namespace tavik

#endif
