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

/// What a predicate accepts as its attribute, as its expected value, or as a part of that value. Empty strings, empty
/// spans and null pointers mean that there is no restriction.
struct ValueFacts {
  /// How a value is read. See "Conversions" in Value.h; a string reads as the number at its start, or as 0.
  enum class ReadAs : std::uint8_t { kItself, kInteger, kLong, kReal, kBoolean };
  /// What an empty string, array or dictionary means.
  enum class Empty : std::uint8_t {
    kOrdinary,          ///< nothing special
    kNeverPasses,       ///< no attribute passes
    kPassesEmptyAlone,  ///< only an empty attribute passes
    kPassesAlways,      ///< every attribute of the right kind passes
  };
  /// How many of an array's elements must match for the attribute to pass.
  enum class Elements : std::uint8_t { kSome, kEvery };
  /// What a value of a kind outside `kinds` means.
  enum class OtherKind : std::uint8_t {
    kFails,       ///< no attribute passes
    kPassedOver,  ///< the value is ignored
  };

  /// The kinds accepted; see `otherKind` for the others.
  Kinds kinds = Kinds::any();
  ReadAs readAs = ReadAs::kItself;
  /// What the value is, for people: "serial number".
  std::string_view role = {};
  Empty empty = Empty::kOrdinary;
  OtherKind otherKind = OtherKind::kFails;

  /// A string must have exactly this many characters to pass; 0: any number.
  std::size_t characters = 0;
  /// A string must have an even number of characters to pass.
  bool inPairs = false;
  /// A string must consist of these characters to pass; empty: any.
  std::string_view onlyOf = {};
  /// A string must not contain these characters to pass.
  std::string_view noneOf = {};
  /// A number that is negative, or at least this large, is a fault; 0: no number is.
  std::int32_t numberLimit = 0;

  /// For an array: its elements.
  const ValueFacts* elements = nullptr;
  Elements elementsNeeded = Elements::kSome;
  /// For a dictionary used as a table, in which one key is looked up per device: its keys and entries.
  const ValueFacts* tableKeys = nullptr;
  const ValueFacts* tableEntries = nullptr;
  /// For a dictionary with fixed keys; other keys are ignored.
  std::span<const EntryFacts> entries = {};
  /// To pass, "Mask" and "Result" must have the same length, and "Result" must not have bits set that "Mask" lacks.
  bool isMask = false;
};

/// The effect of a missing expected value, or of a missing entry in it, on a rule whose attribute has the right kind.
enum class Without : std::uint8_t {
  kFails,              ///< fails for every device
  kPasses,             ///< passes for every device
  kComparesWithZero,   ///< compares with 0
  kComparesWithFalse,  ///< compares with false
  kSame,               ///< none
  kFault,              ///< a fault (`std::invalid_argument`) ends the check
};

/// A named entry of an expected value.
struct EntryFacts {
  std::string_view key;
  const ValueFacts* value;
  Without without;
};

/// The properties of a predicate, for rule authors and for programs that process rules. The predicates themselves are
/// members of `ZRTTavikKernel` and documented there.
///
///     const PredicateFacts* facts = PredicateFacts::find("hasPrefix");
///     if (facts != nullptr && facts->withoutValue == Without::kPasses) { /* such a rule needs a value */ }
///
/// Constant and thread-safe. Valid as long as the library is loaded.
struct TAVIK_EXPORT PredicateFacts {
  /// The name in predicate expressions.
  std::string_view word;
  /// When it passes, for people: completes "Passes when ..."; "it" is the attribute.
  std::string_view meaning;
  /// Which form it has: (attribute, references, value) if true, (attribute, value) if false. A rule that calls the
  /// other form has an unknown predicate.
  bool takesReferences = false;
  /// If a rule's expression is this word alone, and the rule has references but no value, the first reference is the
  /// value.
  bool firstReferenceMayBeValue = false;
  /// Forwards its value to the station, except in an AND or OR.
  bool forwards = false;
  /// Whether it reads the attribute. Even if it does not, a device without the attribute fails the rule.
  bool readsAttribute = true;
  ValueFacts attribute = {};
  /// Without restrictions if `withoutValue` is `Without::kSame`, because the value is not read.
  ValueFacts value = {};
  Without withoutValue = Without::kFails;
  /// The names of the references that it reads, all of them strings. It fails if one is missing.
  std::span<const std::string_view> references = {};
  /// Reads the rule's only reference, under any name. Without references a fault (`std::out_of_range`) ends the check;
  /// with more than one it fails.
  bool readsTheOnlyReference = false;

  /// All predicates, sorted by word.
  static std::span<const PredicateFacts> all() noexcept;
  /// The predicate named `word`; null if there is none.
  static const PredicateFacts* find(std::string_view word) noexcept;
};

}  // namespace tavik

#endif
