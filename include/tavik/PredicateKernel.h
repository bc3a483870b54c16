#ifndef TAVIK_PREDICATE_KERNEL_H
#define TAVIK_PREDICATE_KERNEL_H

#include <tavik/Error.h>
#include <tavik/Platform.h>
#include <tavik/Value.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

namespace tavik {

/// The part of a kernel that does not depend on rule documents: predicates by name, errors and the log. A host can
/// create one to evaluate predicate expressions (AbstractTree.h) without rule documents.
///
/// Immutable and thread-safe.
class TAVIK_EXPORT PredicateKernel {
 public:
  /// Raises `std::invalid_argument` if `platform` is null.
  explicit PredicateKernel(std::shared_ptr<const Platform> platform);

  /// Calls the predicate named `word` in its form (attribute, references, value), or (attribute, value) if `references`
  /// is null. Each predicate has only one of the two forms.
  ///
  /// Returns the predicate's record, or absent if there is no such predicate in that form. Raises what the predicate
  /// raises.
  [[nodiscard]] std::optional<Dictionary> perform(std::string_view word, const Value* attribute,
                                                  const Dictionary* references, const Value* value) const;

  /// Creates an error and logs "*******ERROR:%@*******" with its message.
  [[nodiscard]] Error handleError(std::int32_t code, std::string_view msg) const;

  [[nodiscard]] const Platform& platform() const noexcept { return *platform_; }

 private:
  std::shared_ptr<const Platform> platform_;
};

}  // namespace tavik

#endif
