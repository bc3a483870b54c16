/// @file
/// Property-list values: what device attributes, rule documents and result records are made of.
///
///     Dictionary device;                                 // build
///     device.set("ModelNumber", "MD123");
///     device.set("TotalDiskCapacity", Value(64000000000));
///     device.set("Boards", Array::of("A1", "B2"));
///
///     const Value* model = device.find("ModelNumber");   // read: null where there is none
///     if (device.findString("ModelNumber") == "MD123") { /* ... */ }
///
///     Dictionary copy = device;                          // copy: shares the contents, allocates nothing
///     copy.set("ModelNumber", "MD456");                  // change: `device` keeps its own
///
/// What holds for all types of this header:
///
/// - **Absent is not a value.** A lookup that finds nothing gives a null pointer; an argument that may be absent is a
///   `const Value*`. A container never holds an absent value.
/// - **Copies share, writes separate.** A copy never allocates. Strings of up to 15 bytes lie inside their `Value`;
///   longer strings, data, arrays and dictionaries are shared between copies and copied at the first write to one of
///   them.
/// - **References live as long as nothing writes.** A pointer, reference, `string_view` or iterator got from a
/// container
///   holds until that container is changed, assigned to or destroyed.
/// - **Any depth.** Copying, comparing, describing and destroying need no stack in proportion to the nesting.
/// - **Threads.** Different objects may be used from different threads even while they share contents. One object may
/// be read
///   by many threads; changing it needs it alone.
/// - **Failures.** `std::out_of_range` for an index beyond the end and `std::invalid_argument` for storing an absent
/// value
///   are faults of the caller; `std::bad_alloc` leaves the container as it was.
#ifndef TAVIK_VALUE_H
#define TAVIK_VALUE_H

#include <tavik/Export.h>

#include <array>
#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <iterator>
#include <limits>
#include <new>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

namespace tavik {

class Value;

namespace detail {
struct Bytes;       // shared text or data
struct Elements;    // shared elements of an array
struct Entries;     // shared entries of a dictionary
struct Entry;       // one key with its value
class ValueAccess;  // the library's own way in
}  // namespace detail

/// A byte string, possibly empty. The bytes never change; assign another `Data` to change a variable.
class TAVIK_EXPORT Data {
 public:
  Data() noexcept = default;
  explicit Data(std::span<const std::uint8_t> bytes);
  Data(std::initializer_list<std::uint8_t> bytes) : Data(std::span(bytes.begin(), bytes.size())) {}
  Data(const Data& other) noexcept;
  Data(Data&& other) noexcept : bytes_(std::exchange(other.bytes_, nullptr)) {}  // leaves `other` empty
  Data& operator=(Data other) noexcept;
  ~Data();

  [[nodiscard]] std::size_t size() const noexcept { return bytes().size(); }
  [[nodiscard]] bool empty() const noexcept { return bytes_ == nullptr; }
  [[nodiscard]] std::span<const std::uint8_t> bytes() const noexcept;

  /// Byte by byte.
  friend TAVIK_EXPORT bool operator==(const Data& left, const Data& right) noexcept;

 private:
  friend class Value;
  friend class detail::ValueAccess;
  detail::Bytes* bytes_ = nullptr;  // null: empty
};

/// A point in time, kept with the full precision of a binary property list: seconds, with their fraction, from
/// 2001-01-01 00:00:00 UTC.
class Date {
 public:
  /// Seconds from 1970-01-01 00:00:00 UTC to 2001-01-01 00:00:00 UTC.
  static constexpr double kEpochToReference = 978307200.0;

  /// `seconds` from 2001-01-01 00:00:00 UTC, negative before it.
  static constexpr Date sinceReference(double seconds) noexcept { return Date(seconds); }
  /// `seconds` from 1970-01-01 00:00:00 UTC, negative before it.
  static constexpr Date sinceEpoch(double seconds) noexcept { return Date(seconds - kEpochToReference); }

  [[nodiscard]] constexpr double secondsSinceReference() const noexcept { return seconds_; }
  [[nodiscard]] constexpr double secondsSinceEpoch() const noexcept { return seconds_ + kEpochToReference; }

  friend constexpr bool operator==(Date, Date) noexcept = default;

 private:
  explicit constexpr Date(double seconds) noexcept : seconds_(seconds) {}
  double seconds_;
};

/// An ordered list of values.
class TAVIK_EXPORT Array {
 public:
  Array() noexcept = default;
  /// An array of the given values, each anything a `Value` can be made from: `Array::of("A", 5, Value(true))`.
  template <class... Items>
  static Array of(Items&&... items);
  Array(const Array& other) noexcept;
  Array(Array&& other) noexcept : elements_(std::exchange(other.elements_, nullptr)) {}  // leaves `other` empty
  Array& operator=(Array other) noexcept;
  ~Array();

  [[nodiscard]] std::size_t size() const noexcept;
  [[nodiscard]] bool empty() const noexcept { return size() == 0; }
  /// The element at `index`, from 0. Raises `std::out_of_range` when there is none.
  [[nodiscard]] const Value& at(std::size_t index) const;
  [[nodiscard]] const Value* begin() const noexcept;
  [[nodiscard]] const Value* end() const noexcept;
  /// Whether some element equals `value`.
  [[nodiscard]] bool contains(const Value& value) const;

  void append(Value value);
  /// Replaces the element at `index`. Raises `std::out_of_range` when there is none.
  void set(std::size_t index, Value value);
  /// Makes room for `count` elements in all.
  void reserve(std::size_t count);

  /// Element by element, in order.
  friend TAVIK_EXPORT bool operator==(const Array& left, const Array& right);

 private:
  friend class Value;
  friend class detail::ValueAccess;
  detail::Elements* elements_ = nullptr;  // null: empty, no room made
};

/// Keys (strings) with their values, in the order in which the keys were first stored: replacing a value keeps its
/// place, a key erased and stored again goes last. Small dictionaries are scanned, large ones find a key in constant
/// time.
class TAVIK_EXPORT Dictionary {
 public:
  /// What an iterator gives: `for (const auto [key, value] : dictionary)`.
  struct Item {
    std::string_view key;
    const Value& value;
  };
  class Iterator;

  Dictionary() noexcept = default;
  /// Stores the entries in turn: `Dictionary{{"ModelNumber", "MD123"}, {"RegionInfo", "LL/A"}}`.
  Dictionary(std::initializer_list<std::pair<std::string_view, Value>> entries);
  Dictionary(const Dictionary& other) noexcept;
  Dictionary(Dictionary&& other) noexcept : entries_(std::exchange(other.entries_, nullptr)) {}  // leaves `other` empty
  Dictionary& operator=(Dictionary other) noexcept;
  ~Dictionary();

  [[nodiscard]] std::size_t size() const noexcept;
  [[nodiscard]] bool empty() const noexcept { return size() == 0; }
  [[nodiscard]] Iterator begin() const noexcept;
  [[nodiscard]] Iterator end() const noexcept;

  /// The value stored under `key`; null when there is none.
  [[nodiscard]] const Value* find(std::string_view key) const noexcept;
  /// The same, absent also when the value is of another kind.
  [[nodiscard]] std::optional<std::string_view> findString(std::string_view key) const noexcept;
  [[nodiscard]] const Data* findData(std::string_view key) const noexcept;
  [[nodiscard]] const Array* findArray(std::string_view key) const noexcept;
  [[nodiscard]] const Dictionary* findDictionary(std::string_view key) const noexcept;
  [[nodiscard]] bool contains(std::string_view key) const noexcept { return find(key) != nullptr; }

  /// Stores `value` under `key`, in the place of an earlier value or last. A key is text as in
  /// `Value(std::string_view)`.
  void set(std::string_view key, Value value);
  /// The same for a value that may be absent: raises `std::invalid_argument` for null.
  void set(std::string_view key, const Value* value);
  /// The same, except that a new key goes before all others.
  void setFirst(std::string_view key, Value value);
  /// Stores `value`, or erases `key` when `value` is null.
  void setOrRemove(std::string_view key, const Value* value);
  /// Stores every entry of `other`, in its order.
  void setAll(const Dictionary& other);
  /// Removes the entry under `key`; returns whether there was one. The others keep their order.
  bool erase(std::string_view key);
  /// Makes room for `count` entries in all.
  void reserve(std::size_t count);

  /// Entry by entry, whatever the order.
  friend TAVIK_EXPORT bool operator==(const Dictionary& left, const Dictionary& right);

 private:
  friend class Value;
  friend class detail::ValueAccess;
  void makeOwn(std::size_t needed);
  void store(Value key, Value value, bool first);
  void append(Value key, Value value);
  detail::Entries* entries_ = nullptr;  // null: empty, no room made
};

/// The kinds of value.
enum class Kind : std::uint8_t { kString, kNumber, kBoolean, kData, kDate, kArray, kDictionary };

/// One value. 16 bytes; a moved-from value is the empty string.
class TAVIK_EXPORT Value {
 public:
  /// The empty string.
  Value() noexcept { setWords({}); }
  /// Text in UTF-8, NUL characters included. Bytes that are no UTF-8 become U+FFFD, one for each malformed sequence, so
  /// that a string is valid whatever a host passes.
  Value(std::string_view text);
  Value(const std::string& text) : Value(std::string_view(text)) {}
  /// The same up to the first NUL; raises `std::invalid_argument` for null.
  Value(const char* text);
  /// A number. `Value(5)`, never `Value x = 5`: a number is told from a boolean where it is made.
  template <std::integral Integer>
  requires(!std::same_as<Integer, bool> && !std::same_as<Integer, char> &&
           (std::signed_integral<Integer> ||
            sizeof(Integer) < sizeof(std::int64_t))) explicit Value(Integer number) noexcept
      : Value(kInteger, std::bit_cast<std::uint64_t>(static_cast<std::int64_t>(number))) {}
  template <std::floating_point Real>
  requires(sizeof(Real) <= sizeof(double)) explicit Value(Real number) noexcept
      : Value(kReal, std::bit_cast<std::uint64_t>(static_cast<double>(number))) {}
  explicit Value(std::same_as<bool> auto truth) noexcept : Value(kBoolean, std::uint64_t{truth}) {}
  Value(Data data) noexcept : Value(kData, std::move(data)) {}
  Value(Date date) noexcept : Value(kDate, std::bit_cast<std::uint64_t>(date)) {}
  Value(Array array) noexcept : Value(kArray, std::move(array)) {}
  Value(Dictionary dictionary) noexcept : Value(kDictionary, std::move(dictionary)) {}
  /// A pointer is no value: dereference it, or use the operations that take `const Value*`.
  template <class Pointee>
  requires(!std::same_as<std::remove_cv_t<Pointee>, char>) Value(Pointee*)
  = delete;
  Value(std::nullptr_t) = delete;

  Value(const Value& other) noexcept {
    setWords(other.words());
    if (tag() >= kFirstShared) share();
  }
  Value(Value&& other) noexcept {
    setWords(other.words());
    other.setWords({});
  }
  Value& operator=(Value other) noexcept {
    const Words mine = words();
    setWords(other.words());
    other.setWords(mine);
    return *this;
  }
  ~Value() {
    if (tag() >= kFirstShared) release();
  }

  [[nodiscard]] Kind kind() const noexcept {
    switch (tag()) {
      case kInteger:
      case kReal:
        return Kind::kNumber;
      case kBoolean:
        return Kind::kBoolean;
      case kData:
        return Kind::kData;
      case kDate:
        return Kind::kDate;
      case kArray:
        return Kind::kArray;
      case kDictionary:
        return Kind::kDictionary;
      default:
        return Kind::kString;
    }
  }
  [[nodiscard]] bool isString() const noexcept { return tag() <= kLongestShort || tag() == kLongString; }

  /// The contents, absent or null when the value is of another kind.
  [[nodiscard]] std::optional<std::string_view> ifString() const noexcept {
    if (tag() <= kLongestShort) return std::string_view(reinterpret_cast<const char*>(storage_), tag());
    if (tag() == kLongString) return longText();
    return std::nullopt;
  }
  /// A number kept as an integer.
  [[nodiscard]] std::optional<std::int64_t> ifInteger() const noexcept {
    return tag() == kInteger ? std::optional(std::bit_cast<std::int64_t>(words().low)) : std::nullopt;
  }
  /// A number kept as a floating-point number.
  [[nodiscard]] std::optional<double> ifReal() const noexcept {
    return tag() == kReal ? std::optional(std::bit_cast<double>(words().low)) : std::nullopt;
  }
  [[nodiscard]] std::optional<bool> ifBoolean() const noexcept {
    return tag() == kBoolean ? std::optional(words().low != 0) : std::nullopt;
  }
  [[nodiscard]] std::optional<Date> ifDate() const noexcept {
    return tag() == kDate ? std::optional(std::bit_cast<Date>(words().low)) : std::nullopt;
  }
  [[nodiscard]] const Data* ifData() const noexcept { return tag() == kData ? contents<Data>() : nullptr; }
  [[nodiscard]] const Array* ifArray() const noexcept { return tag() == kArray ? contents<Array>() : nullptr; }
  [[nodiscard]] const Dictionary* ifDictionary() const noexcept {
    return tag() == kDictionary ? contents<Dictionary>() : nullptr;
  }

  /// Strings by exact characters, numbers by numeric value (5 equals 5.0), booleans by truth, data by bytes, dates by
  /// point in time, arrays element by element, dictionaries entry by entry whatever the order. Values of different
  /// kinds are never equal: neither "5" and 5, nor 1 and true. NaN equals nothing, save that a container equals its own
  /// copy without a look inside.
  friend TAVIK_EXPORT bool operator==(const Value& left, const Value& right);

 private:
  friend class Array;
  friend class Dictionary;
  friend class detail::ValueAccess;

  // The last byte of the storage. Up to 15 it is the length of a string that lies in the bytes before it, so that a
  // zeroed value is the empty string; from kFirstShared on, the first eight bytes point to shared contents or are null.
  // kErased marks the key of an erased dictionary entry and is never seen outside.
  enum Tag : std::uint8_t {
    kLongestShort = 15,
    kInteger,
    kReal,
    kBoolean,
    kDate,
    kErased,
    kFirstShared,
    kLongString = kFirstShared,
    kData,
    kArray,
    kDictionary,
  };

  // The storage is written and read in halves: a processor passes on at once what was written as it is read.
  struct Words {
    std::uint64_t low = 0;
    std::uint64_t high = 0;
    friend bool operator==(const Words&, const Words&) = default;
  };
  static constexpr std::uint64_t highWord(Tag tag) noexcept {
    return std::bit_cast<std::uint64_t>(std::array<std::uint8_t, 8>{0, 0, 0, 0, 0, 0, 0, tag});
  }
  Value(Tag tag, std::uint64_t low) noexcept { setWords({low, highWord(tag)}); }
  template <class Contents>
  requires(sizeof(Contents) == 8 && !std::same_as<Contents, std::uint64_t>) Value(Tag tag, Contents contents)
  noexcept {
    setWords({0, highWord(tag)});
    new (storage_) Contents(std::move(contents));
  }
  [[nodiscard]] Words words() const noexcept {
    Words words;
    std::memcpy(&words.low, storage_, sizeof words.low);
    std::memcpy(&words.high, storage_ + sizeof words.low, sizeof words.high);
    return words;
  }
  void setWords(Words words) noexcept {
    std::memcpy(storage_, &words.low, sizeof words.low);
    std::memcpy(storage_ + sizeof words.low, &words.high, sizeof words.high);
  }
  [[nodiscard]] Tag tag() const noexcept { return static_cast<Tag>(storage_[15]); }
  template <class Contents>
  [[nodiscard]] const Contents* contents() const noexcept {
    return std::launder(reinterpret_cast<const Contents*>(storage_));
  }
  [[nodiscard]] std::string_view longText() const noexcept;
  void share() const noexcept;
  void release() noexcept;

  alignas(8) unsigned char storage_[16];  // set by every constructor, in halves
};
static_assert(sizeof(Value) == 16);

struct detail::Entry {
  Value key;
  Value value;
};

/// Walks the entries of a dictionary in stored order.
class Dictionary::Iterator {
 public:
  using value_type = Item;
  using difference_type = std::ptrdiff_t;

  Iterator() noexcept = default;
  [[nodiscard]] Item operator*() const noexcept { return {*entry_->key.ifString(), entry_->value}; }
  /// The key as a value of its own: shares a long key's text where `(*it).key` would have it copied.
  [[nodiscard]] const Value& key() const noexcept { return entry_->key; }
  [[nodiscard]] const Value& value() const noexcept { return entry_->value; }
  Iterator& operator++() noexcept {
    ++entry_;
    skipErased();
    return *this;
  }
  Iterator operator++(int) noexcept {
    Iterator before = *this;
    ++*this;
    return before;
  }
  friend bool operator==(const Iterator&, const Iterator&) noexcept = default;

 private:
  friend class Dictionary;
  Iterator(const detail::Entry* entry, const detail::Entry* end) noexcept : entry_(entry), end_(end) { skipErased(); }
  void skipErased() noexcept {
    while (entry_ != end_ && entry_->key.tag() == Value::kErased) ++entry_;
  }
  const detail::Entry* entry_ = nullptr;
  const detail::Entry* end_ = nullptr;
};

template <class... Items>
Array Array::of(Items&&... items) {
  Array array;
  array.reserve(sizeof...(items));
  (array.append(Value(std::forward<Items>(items))), ...);
  return array;
}

/// @name Conversions
/// What the predicates read from a value that may be absent (null). Numbers saturate at the ends of the range and lose
/// their fraction toward zero, NaN reads as 0; a boolean reads as 1 or 0; a string by the decimal number at its start,
/// after leading white space (any Unicode white space) and one sign, 0 when there is none; data, dates, arrays,
/// dictionaries and absent read as 0. Safe from any thread; nothing is raised.
/// @{
TAVIK_EXPORT std::int32_t integerValue(const Value* value) noexcept;
TAVIK_EXPORT std::int64_t longValue(const Value* value) noexcept;
/// A string may have one point and a decimal exponent: "5", "5.", ".5", "1e3". Hexadecimal, "inf" and "nan" read as 0.
TAVIK_EXPORT double doubleValue(const Value* value) noexcept;
/// A number is true when it is not zero; a string when, after white space, one sign and leading zeros, it begins with
/// Y, y, T, t or a digit from 1 to 9; data, dates, arrays, dictionaries and absent are false.
TAVIK_EXPORT bool booleanValue(const Value* value) noexcept;
/// @}

/// The text that `%@` prints: a string is itself; an integer its decimal digits; a floating-point number the shortest
/// text that reads back, 3.0 as "3"; a boolean "1" or "0"; data "<01020304 05>"; absent (null) "(null)". Dates read
/// "2026-11-21 01:02:03 +0000"; arrays and dictionaries are listed over several lines in the old-style property-list
/// text.
TAVIK_EXPORT std::string description(const Value* value);

}  // namespace tavik

#endif
