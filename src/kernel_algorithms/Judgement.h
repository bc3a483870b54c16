/// @file
/// What every predicate takes and returns, and how the results of two predicates combine.
///
/// A predicate says what its record is about; the record itself, and the memory of its texts, belong to the caller. So
/// a rule that is checked for many devices has the text about its expected value made once.
#ifndef TAVIK_KERNEL_ALGORITHMS_JUDGEMENT_H
#define TAVIK_KERNEL_ALGORITHMS_JUDGEMENT_H

#include <tavik/PredicateExpression.h>
#include <tavik/Value.h>

#include <cstdint>
#include <string_view>
#include <utility>

#include "values/SharedContents.h"

namespace tavik {

/// What a predicate is called with. Each may be absent (null).
struct Operands {
  const Value* attribute;
  const Dictionary* references;
  const Value* value;
};

/// Words about a value, the same for every device: "has prefix " and the value's description. Phrases are constants;
/// two are the same only if they are one object.
struct Phrase {
  enum class About : std::uint8_t {
    kDescription,  ///< the value's description
    kElements,     ///< the descriptions of an array's elements, with `between` between them
  };

  std::string_view words;
  About about = About::kDescription;
  std::string_view between = {};

  /// The text about `value`, which may be null. slabs: where the text is cut from; may be null.
  [[nodiscard]] Value of(const Value* value, detail::SlabCutter* slabs = nullptr) const;
};

/// What a record says about the expected value. What it borrows lives as long as the operands.
class Expectation {
 public:
  /// A phrase about a value, which may be null.
  Expectation(const Phrase& phrase, const Value* value) noexcept : phrase_(&phrase), value_(value) {}
  /// A value as it is.
  explicit Expectation(const Value* value) noexcept : value_(value) {}
  /// A text of the predicate's own.
  Expectation(Value text) noexcept : text_(std::move(text)) {}
  Expectation(const char* text) : text_(text) {}

  [[nodiscard]] bool is(const Phrase* phrase, const Value* value) const noexcept {
    return phrase_ == phrase && value_ == value;
  }
  /// Takes the place of the phrase: the same text, made in advance.
  void setText(const Value& made) noexcept {
    phrase_ = nullptr;
    value_ = &made;
  }
  [[nodiscard]] Value text(detail::SlabCutter* slabs = nullptr) && {
    if (phrase_ != nullptr) return phrase_->of(value_, slabs);
    if (value_ == nullptr) return std::move(text_);
    return slabs == nullptr ? *value_ : detail::ValueAccess::copied(*value_, *slabs);
  }

 private:
  const Phrase* phrase_ = nullptr;
  const Value* value_ = nullptr;
  Value text_;
};

/// What a predicate returns.
struct Judgement {
  bool result;
  Value actual;
  Expectation expected;
  const Value* attributes = nullptr;  ///< to be forwarded to the station; borrowed from the operands

  /// The record: "result", "actual", "expected" and, where set, "attributes", with room for "rule".
  [[nodiscard]] Dictionary record() &&;
};

using Predicate = Judgement(const Operands& operands);

/// What NOT makes of a judgement: everything but the result and the expected text stays.
Judgement negated(Judgement judgement);
/// What AND or OR makes of two judgements: nothing is forwarded.
Judgement combined(PredicateExpression::Operator combination, Judgement left, Judgement right);

/// The judgement of a name that no operation of the required form has.
Judgement unknownPredicate(std::string_view word, bool withReferences);

/// A record. Raises `std::invalid_argument` if `actual` or `expected` is null.
Dictionary recordOf(bool result, const Value* actual, const Value* expected);

[[noreturn]] void refuseAbsent(const char* key);
/// The value, which a record holds under `key`. Raises `std::invalid_argument` if it is null.
inline const Value& present(const Value* value, const char* key = "actual") {
  if (value == nullptr) refuseAbsent(key);
  return *value;
}

/// The value's description as a string value.
Value descriptionValue(const Value* value);

/// Whether a predicate may read a number or a truth from the value: a number, a boolean, a string or nothing at all.
inline bool readsAsScalar(const Value* value) noexcept {
  if (value == nullptr) return true;
  const Kind kind = value->kind();
  return kind == Kind::kNumber || kind == Kind::kString || kind == Kind::kBoolean;
}

}  // namespace tavik

#endif
