#ifndef TAVIK_PREDICATE_FACTS_H
#define TAVIK_PREDICATE_FACTS_H

#include <tavik/Value.h>

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <string_view>

namespace tavik {

/// A set of kinds.
class Kinds {
 public:
  constexpr Kinds(std::initializer_list<Kind> kinds) noexcept {
    for (const Kind kind : kinds) bits_ = static_cast<std::uint8_t>(bits_ | bit(kind));
  }
  static constexpr Kinds any() noexcept {
    return {Kind::kString, Kind::kNumber, Kind::kBoolean, Kind::kData, Kind::kDate, Kind::kArray, Kind::kDictionary};
  }

  [[nodiscard]] constexpr bool contains(Kind kind) const noexcept { return (bits_ & bit(kind)) != 0; }
  [[nodiscard]] constexpr bool meets(Kinds other) const noexcept { return (bits_ & other.bits_) != 0; }
  friend constexpr bool operator==(Kinds, Kinds) noexcept = default;

 private:
  static constexpr std::uint8_t bit(Kind kind) noexcept {
    return static_cast<std::uint8_t>(1U << static_cast<unsigned>(kind));
  }
  std::uint8_t bits_ = 0;
};

struct EntryFacts;

/// What a predicate takes as its attribute, as its expected value or as a part of that value. A string_view or span is
/// empty, a pointer null where there is nothing to say.
struct ValueFacts {
  /// As what a value is read. Numbers come from numbers, from booleans and from the digits that a string begins with; a
  /// string without digits is 0. See Value.h, "Conversions".
  enum class ReadAs : std::uint8_t { kItself, kInteger, kLong, kReal, kBoolean };
  /// What an empty string, array or dictionary means.
  enum class Empty : std::uint8_t {
    kOrdinary,          ///< nothing special
    kNeverPasses,       ///< no attribute passes
    kPassesEmptyAlone,  ///< only an attribute without elements passes
    kPassesAlways,      ///< every attribute of the right kind passes
  };
  /// Which of an array's elements have to do with the attribute for it to pass.
  enum class Elements : std::uint8_t { kSome, kEvery };
  /// What becomes of another kind than `kinds`.
  enum class OtherKind : std::uint8_t {
    kFails,       ///< no attribute passes
    kPassedOver,  ///< it counts as not there
  };

  /// Where these are not met, see `otherKind`.
  Kinds kinds = Kinds::any();
  ReadAs readAs = ReadAs::kItself;
  /// What it is meant to be, for people: "serial number".
  std::string_view role = {};
  Empty empty = Empty::kOrdinary;
  OtherKind otherKind = OtherKind::kFails;

  /// A string that passes has exactly so many characters; 0: any number.
  std::size_t characters = 0;
  /// A string that passes has an even number of characters.
  bool inPairs = false;
  /// A string that passes consists of these; empty: of any.
  std::string_view onlyOf = {};
  /// A string that passes has none of these.
  std::string_view noneOf = {};
  /// A number below 0, or of this size or more, is a fault; 0: none is.
  std::int32_t numberLimit = 0;

  /// Of an array.
  const ValueFacts* elements = nullptr;
  Elements elementsNeeded = Elements::kSome;
  /// Of a dictionary that is a table: one of its keys is looked up for a device.
  const ValueFacts* tableKeys = nullptr;
  const ValueFacts* tableEntries = nullptr;
  /// Of a dictionary with entries of fixed names; any other is passed over.
  std::span<const EntryFacts> entries = {};
  /// "Mask" and "Result" are of one length, and no bit is set in "Result" that is not in "Mask"; else nothing passes.
  bool isMask = false;
};

/// What becomes of a rule, where its attribute is of the right kind, without an expected value or without an entry of
/// that value.
enum class Without : std::uint8_t {
  kFails,              ///< fails for every device
  kPasses,             ///< passes for every device
  kComparesWithZero,   ///< as if it were 0
  kComparesWithFalse,  ///< as if it were false
  kSame,               ///< the same as with one
  kFault,              ///< a fault (`std::invalid_argument`) ends the check
};

/// A named entry of an expected value.
struct EntryFacts {
  std::string_view key;
  const ValueFacts* value;
  Without without;
};

/// What a rule author, or a program that reads rules, has to know of a predicate. The predicates themselves are members
/// of `ZRTTavikKernel`, described there.
///
///     const PredicateFacts* facts = PredicateFacts::find("hasPrefix");
///     if (facts != nullptr && facts->withoutValue == Without::kPasses) { /* such a rule needs a value */ }
///
/// Constant, and there as long as the library is; safe from any thread.
struct TAVIK_EXPORT PredicateFacts {
  /// As rules name it.
  std::string_view word;
  /// When it passes, in words for people: what follows "Passes when"; "it" is the attribute.
  std::string_view meaning;
  /// The form that it has: (attribute, references, value), else (attribute, value). In a rule that calls the other
  /// form it is an unknown predicate.
  bool takesReferences = false;
  /// A rule that consists of this word alone, with references and without a value, takes its first reference as value.
  bool firstReferenceMayBeValue = false;
  /// Hands its value on to the station; lost in AND and OR.
  bool forwards = false;
  /// Whether the attribute counts, apart from being there.
  bool readsAttribute = true;
  ValueFacts attribute = {};
  /// Says nothing where `withoutValue` is `Without::kSame`: then the value is not read.
  ValueFacts value = {};
  Without withoutValue = Without::kFails;
  /// The names of the references that it reads, all of them strings; without one of them it fails.
  std::span<const std::string_view> references = {};
  /// Reads the one reference that there is, of whatever name: without any, a fault (`std::out_of_range`) ends the
  /// check, with more it fails.
  bool readsTheOnlyReference = false;

  /// Every predicate, sorted by word.
  static std::span<const PredicateFacts> all() noexcept;
  /// Null when there is no such predicate.
  static const PredicateFacts* find(std::string_view word) noexcept;
};

}  // namespace tavik

#endif
