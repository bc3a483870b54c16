#ifndef TAVIK_PROVENANCE_H
#define TAVIK_PROVENANCE_H

#include <tavik/Value.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tavik {

/// What a rule document is used as.
enum class DocumentRole : std::uint8_t { kLibrary, kLocalRules };

/// "library" or "local-rules".
TAVIK_EXPORT std::string_view wordOf(DocumentRole role) noexcept;

/// What a signed statement says about the rule document in it.
struct Statement {
  DocumentRole role = DocumentRole::kLibrary;
  std::string product;
  std::int64_t revision = 1;    ///< from 1
  std::optional<Date> expires;  ///< from this moment on, the document is rejected

  friend bool operator==(const Statement&, const Statement&) = default;
};

/// Where a rule document came from, and who signed it.
struct TAVIK_EXPORT DocumentProvenance {
  /// The document as the kernel received it, signed or not; empty if there was none.
  Dictionary document;
  /// The text of the content's "version"; absent if it has none or the document was rejected.
  std::optional<std::string> version;
  /// SHA-256 of the bytes that were signed, in hexadecimal; empty if the platform does not say, and for a rejected
  /// document.
  std::string sha256;
  /// The keys with valid signatures, in the order of the trust policy: their names, or, without a policy, the
  /// hexadecimal SHA-256 of each key's DER SubjectPublicKeyInfo. Empty if no signature was verified.
  std::vector<std::string> keys;
  std::optional<Statement> statement;  ///< if the document was signed as a statement
  /// When the platform accepted the document; absent if it does not say.
  std::optional<Date> validated;
  /// A problem that did not prevent validation, such as a clock that is wrong; empty if there is none.
  std::string warning;

  /// {"version": ..., "sha256": ..., "keys": [...], "product": ..., "revision": ..., "expires": ..., "warning": ...};
  /// entries that are unknown or empty are left out.
  [[nodiscard]] Dictionary dictionary() const;
};

/// The documents that determined a check run.
struct TAVIK_EXPORT Provenance {
  DocumentProvenance library;
  DocumentProvenance rules;

  /// Whether the signatures of both documents were verified.
  [[nodiscard]] bool verified() const noexcept { return !library.keys.empty() && !rules.keys.empty(); }
  /// {"kernel": "3.19", "signatures": "verified" or "not verified", "library": {...}, "rules": {...}}
  [[nodiscard]] Dictionary dictionary() const;
};

}  // namespace tavik

#endif
