#ifndef TAVIK_PLATFORM_H
#define TAVIK_PLATFORM_H

#include <tavik/Provenance.h>
#include <tavik/Value.h>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace tavik {

/// Rule documents and signed envelopes larger than this many bytes are rejected before they are read or validated.
inline constexpr std::size_t kLargestRuleDocument = std::size_t{64} << 20;

/// A platform's answer about a signed rule document.
struct ValidatedDocument {
  std::optional<Value> content;                 ///< the signed property list
  std::optional<std::string> errorDescription;  ///< present if and only if the document is rejected
  /// Whether the station must be fixed, not the document: its key file, trust policy or state file cannot be used.
  bool stationIsToBlame = false;
  /// Of an accepted document. The kernel sets `document` and `version`.
  DocumentProvenance provenance = {};
};

/// What a kernel needs from its host: signature verification and the diagnostic log. libTavikPlatform has an
/// implementation, `StationPlatform`; a host with its own trust store or log derives from this class.
///
/// A kernel calls it on its callers' threads, several at a time, so every operation must be thread-safe.
class TAVIK_EXPORT Platform {
 public:
  Platform() = default;
  Platform(const Platform&) = delete;
  Platform& operator=(const Platform&) = delete;
  virtual ~Platform();

  /// Verifies a signed rule document.
  ///
  /// signedDictionary: the document as read. publicKeyPath: the PEM file that the kernel names, always
  /// "/usr/local/share/misc/TavikKernel-pub.pem"; a platform may use a different key.
  ///
  /// Returns the signed property list and leaves `errorDescription` absent if the signature is valid; otherwise sets
  /// `errorDescription` to the reason. Only `errorDescription` decides whether the kernel trusts the document.
  virtual std::optional<Value> validatedPropertyListFromSignedDictionary(
      const Dictionary& signedDictionary, const std::string& publicKeyPath,
      std::optional<std::string>& errorDescription) const = 0;

  /// Whether the log is in use. If false, no log lines are built. The default is true.
  virtual bool logs() const;

  /// Takes one line of the diagnostic log, in UTF-8 and without a line end. The line may contain line feeds and quotes
  /// device texts unchanged, so pass it through `visibleLogLine` (VisibleText.h) if people or programs read the log. By
  /// default writes the time, the process name and the escaped line to standard error, in one write.
  virtual void log(std::string_view line) const;

  /// Verifies a signed rule document that is used in one role; every operation of a kernel calls this. By default,
  /// calls `validatedPropertyListFromSignedDictionary`, accepts the document in any role, and says nothing about its
  /// provenance.
  virtual ValidatedDocument validate(const Dictionary& signedDictionary, const std::string& publicKeyPath,
                                     std::optional<DocumentRole> role) const;
};

}  // namespace tavik

#endif
