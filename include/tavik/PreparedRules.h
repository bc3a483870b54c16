#ifndef TAVIK_PREPARED_RULES_H
#define TAVIK_PREPARED_RULES_H

#include <tavik/Error.h>
#include <tavik/Value.h>

#include <memory>
#include <optional>

namespace tavik {

class PreparedDocuments;
class ZRTTavikKernel;

/// A product's rules made ready, for hosts that check many devices against one pair of documents.
///
///     const std::shared_ptr<const PreparedRules> rules = kernel->prepare(&localRules);
///     for (const Dictionary& device : devices) {
///       std::optional<Error> error;
///       const auto records = rules->check(device, nullptr, nullptr, error);
///     }
///
/// The signature is checked once, when the rules are prepared: what is prepared stays trusted as long as it lives, even
/// when the key file changes. The rules of a part number and region are put together at the first device that has
/// them, and kept; up to 262,144 rules are (some 60 MB), those of further part numbers and regions are put together
/// anew for each device.
///
/// Immutable as far as anybody can see, and safe from any thread: threads that check at once do not wait for each
/// other. Needs its kernel no longer.
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

 private:
  friend class ZRTTavikKernel;
  explicit PreparedRules(std::unique_ptr<const PreparedDocuments> documents);

  std::unique_ptr<const PreparedDocuments> documents_;
};

}  // namespace tavik

#endif
