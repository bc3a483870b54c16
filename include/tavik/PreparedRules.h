#ifndef TAVIK_PREPARED_RULES_H
#define TAVIK_PREPARED_RULES_H

#include <tavik/CheckOutcome.h>
#include <tavik/Error.h>
#include <tavik/Value.h>

#include <memory>
#include <optional>

namespace tavik {

class PreparedDocuments;
class ZRTTavikKernel;

/// Prepared local rules, for hosts that check many devices with the same documents.
///
///     const std::shared_ptr<const PreparedRules> rules = kernel->prepare(&localRules);
///     for (const Dictionary& device : devices) {
///       if (rules->run(device).verdict == Verdict::kPassed) { /* ... */ }
///     }
///
/// The signature is checked once, when the rules are prepared. Prepared rules stay trusted for their lifetime; prepare
/// again when keys or documents change. The rules for a part number and region are assembled for the first such device
/// and kept, up to a total of 262,144 rules (150 to 200 MB). Beyond that limit, the rules for further part numbers and
/// regions are assembled again for each device.
///
/// Immutable and thread-safe. May outlive its kernel.
class TAVIK_EXPORT PreparedRules {
 public:
  PreparedRules(const PreparedRules&) = delete;
  PreparedRules& operator=(const PreparedRules&) = delete;
  ~PreparedRules();

  /// `ZRTTavikKernel::check` with these rules: the same records, log lines, errors and faults for the same device.
  ///
  /// deviceAttributes: of any part number and region. sourcesForReferenceValues, attributesForSfc: may be null.
  [[nodiscard]] std::optional<Array> check(const Dictionary& deviceAttributes,
                                           const Dictionary* sourcesForReferenceValues, Dictionary* attributesForSfc,
                                           std::optional<Error>& error) const;

  /// `ZRTTavikKernel::run` with these rules.
  [[nodiscard]] CheckOutcome run(const Dictionary& deviceAttributes,
                                 const Dictionary* sourcesForReferenceValues = nullptr, Dictionary station = {}) const;

  /// Why the local rules are rejected: they are missing, not trusted or empty. Then no run has a verdict. Null if they
  /// are accepted. Valid as long as this object.
  [[nodiscard]] const Reason* rejection() const noexcept;

  /// The content of the local rules, as the platform validated it; empty if they are rejected. Valid as long as this
  /// object.
  [[nodiscard]] const Dictionary& localRules() const noexcept;

  /// Where the two documents came from; never null.
  [[nodiscard]] std::shared_ptr<const Provenance> provenance() const noexcept;

 private:
  friend class ZRTTavikKernel;
  friend class LineChecker;
  explicit PreparedRules(std::unique_ptr<const PreparedDocuments> documents);

  std::unique_ptr<const PreparedDocuments> documents_;
};

}  // namespace tavik

#endif
