/// @file
/// The rule documents of a station, read and validated together: one rule library, and the local rules of each product.
#ifndef TAVIK_STATION_RULES_LOADED_RULES_H
#define TAVIK_STATION_RULES_LOADED_RULES_H

#include <tavik/ZRTTavikKernel.h>

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Clock.h"
#include "rules/HostPlatform.h"
#include "store/Run.h"

namespace tavik::station {

/// The files of the documents, and how they are verified.
struct RuleFiles {
  std::string library;
  std::vector<std::string> rules;  ///< one for each product
  tool::PlatformOptions platform;
};

/// The local rules of a product.
struct Product {
  std::string path;
  std::unique_ptr<const PreparedRules> rules;
  std::shared_ptr<const DocumentSet> documents;  ///< as they are stored
};

/// Immutable and thread-safe.
class LoadedRules {
 public:
  /// Throws `Failure` if a document is rejected, or if two products have the same part number.
  explicit LoadedRules(const RuleFiles& files);

  /// The product of a device: the one that lists its part number, otherwise the one without part numbers, otherwise the
  /// first one, whose outcome says that the part number is unknown.
  [[nodiscard]] const Product& productOf(const Dictionary& attributes) const;

  [[nodiscard]] const ZRTTavikKernel& kernel() const noexcept { return *kernel_; }
  [[nodiscard]] const std::vector<Product>& products() const noexcept { return products_; }
  [[nodiscard]] Milliseconds loaded() const noexcept { return loaded_; }
  /// Why devices cannot be checked: a document has expired. Absent if they can.
  [[nodiscard]] std::optional<std::string> whyUnusable() const;

 private:
  void add(const Product& product, std::size_t position);
  void limitBy(const DocumentProvenance& document);

  Milliseconds loaded_ = now();
  std::shared_ptr<const tool::HostPlatform> platform_;
  std::unique_ptr<const ZRTTavikKernel> kernel_;
  std::vector<Product> products_;
  std::map<std::string, std::size_t, std::less<>> byPartNumber_;  // empty name: of a product without part numbers
  std::optional<Milliseconds> expires_;                           // when the first of the documents expires
};

}  // namespace tavik::station

#endif
