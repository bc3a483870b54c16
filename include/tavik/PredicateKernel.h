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

/// The part of a kernel that knows no rule documents: its predicates by name, its errors and its log. Predicate trees
/// see no more of a kernel than this; a host makes one to evaluate expressions without rule documents.
///
/// Immutable; safe from any thread.
class TAVIK_EXPORT PredicateKernel {
 public:
  /// Raises `std::invalid_argument` when `platform` is null.
  explicit PredicateKernel(std::shared_ptr<const Platform> platform);

  /// Calls the predicate that rules name by `word`: in its form (attribute, references, value) when `references` is
  /// given, else in its form (attribute, value). A predicate has one of the two forms; the other finds nothing.
  ///
  /// Returns the predicate's record, absent when there is no such operation. Makes no allocation to look it up. Raises
  /// what the predicate raises.
  [[nodiscard]] std::optional<Dictionary> perform(std::string_view word, const Value* attribute,
                                                  const Dictionary* references, const Value* value) const;

  /// Makes the error and logs "*******ERROR:%@*******" with its message.
  [[nodiscard]] Error handleError(std::int32_t code, std::string_view msg) const;

  [[nodiscard]] const Platform& platform() const noexcept { return *platform_; }

 private:
  std::shared_ptr<const Platform> platform_;
};

}  // namespace tavik

#endif
