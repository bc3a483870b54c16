/// @file
/// The arguments and results of predicates, and how the results of two predicates combine.
///
/// A predicate returns a judgement, and the caller makes the record and its texts. This way the text for the expected
/// value of a rule is made once for many devices.
#ifndef TAVIK_KERNEL_ALGORITHMS_JUDGEMENT_H
#define TAVIK_KERNEL_ALGORITHMS_JUDGEMENT_H

#include <tavik/PredicateExpression.h>
#include <tavik/Value.h>

#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>

#include "values/SharedContents.h"

namespace tavik {

/// The arguments of a predicate. Each may be absent (null).
struct Operands {
  const Value* attribute;
  const Dictionary* references;
  const Value* value;
  detail::SlabCutter* slabs = nullptr;  ///< for texts of the judgement; may be null
};

/// A record text for a value, the same for every device: "has prefix " and the value's description. Phrases are
/// constants and identified by address.
struct Phrase {
  enum class About : std::uint8_t {
    kDescription,  ///< the value's description
    kElements,     ///< the descriptions of an array's elements, separated by `between`
    kEach,         ///< the descriptions of an array's elements, each after `words` and followed by `between`
    kMask,         ///< the descriptions of "Mask" and of "Result" in a dictionary, with `between` between the two
  };

  std::string_view words;
  About about = About::kDescription;
  std::string_view between = {};

  /// The text for `value`, which may be null. The text is cut from `slabs` unless it is null.
  [[nodiscard]] Value of(const Value* value, detail::SlabCutter* slabs = nullptr) const;
};

/// The "expected" of a record. Borrows from the operands.
class Expectation {
 public:
  /// A phrase for a value, which may be null.
  Expectation(const Phrase& phrase, const Value* value) noexcept : phrase_(&phrase), value_(value) {}
  /// The value itself.
  explicit Expectation(const Value* value) noexcept : value_(value) {}
  /// A text made by the predicate.
  Expectation(Value text) noexcept : text_(std::move(text)) {}
  Expectation(const char* text) : text_(text) {}

  [[nodiscard]] bool is(const Phrase* phrase, const Value* value) const noexcept {
    return phrase_ == phrase && value_ == value;
  }
  [[nodiscard]] Value text(detail::SlabCutter* slabs = nullptr) && {
    if (phrase_ != nullptr) return phrase_->of(value_, slabs);
    return value_ == nullptr ? std::move(text_) : detail::ValueAccess::copied(*value_, slabs);
  }

 private:
  const Phrase* phrase_ = nullptr;
  const Value* value_ = nullptr;
  Value text_;
};

/// The result of a predicate.
struct Judgement {
  bool result;
  Value actual;
  Expectation expected;
  const Value* attributes = nullptr;  ///< to forward to the station; borrowed from the operands

  /// The record: "result", "actual", "expected" and, if set, "attributes", with room for "rule".
  [[nodiscard]] Dictionary record() &&;
};

using Predicate = Judgement(const Operands& operands);

/// How a combination makes its texts.
struct CombinedTexts {
  detail::SlabCutter* slabs = nullptr;  ///< where they are cut from; may be null
  bool makesExpected = true;            ///< false: the expected text is left empty
};

/// NOT: negates the result and the expected text, keeps everything else.
void negate(Judgement& judgement, const CombinedTexts& texts = {});
/// AND or OR with another judgement. Nothing is forwarded.
void combine(Judgement& left, PredicateExpression::Operator combination, Judgement&& right,
             const CombinedTexts& texts = {});
/// The expected text of a combination. right: null for NOT.
Value combinedExpectation(PredicateExpression::Operator combination, const Value& left, const Value* right,
                          detail::SlabCutter* slabs = nullptr);
/// The judgement about an attribute that a device must not have. name: may be null. Texts are cut from `slabs` unless
/// it is null.
Judgement judgeAbsence(const Dictionary& attributes, const Value* name, detail::SlabCutter* slabs = nullptr);

/// The judgement for a name without an operation of the required form.
Judgement unknownPredicate(std::string_view word, bool withReferences);

/// Makes a record. Raises `std::invalid_argument` if `actual` or `expected` is null.
Dictionary recordOf(bool result, const Value* actual, const Value* expected);

[[noreturn]] void refuseAbsent(const char* key);
/// The value for `key` in a record. Raises `std::invalid_argument` if it is null.
inline const Value& present(const Value* value, const char* key = "actual") {
  if (value == nullptr) refuseAbsent(key);
  return *value;
}

/// The attribute itself as the "actual" of a record. Raises `std::invalid_argument` if it is null.
inline Value actual(const Operands& operands) {
  return detail::ValueAccess::copied(present(operands.attribute), operands.slabs);
}

/// The value's description as a string value, cut from `slabs` unless it is null.
Value descriptionValue(const Value* value, detail::SlabCutter* slabs = nullptr);

/// Whether a predicate can read a number or boolean from the value: a number, boolean, string or absent value.
inline bool readsAsScalar(const Value* value) noexcept {
  return value == nullptr || detail::ValueAccess::isScalar(*value);
}

}  // namespace tavik

#endif
