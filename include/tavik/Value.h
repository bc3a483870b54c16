/// @file
/// Property-list values: what device attributes, rule documents and result records are made of.
///
///     Dictionary device;                                 // build
///     device.set("ModelNumber", "MD123");
///     device.set("TotalDiskCapacity", Value(64000000000));
///     device.set("Boards", Array::of("A1", "B2"));
///
///     const Value* model = device.find("ModelNumber");   // read: null if there is none
///     if (device.findString("ModelNumber") == "MD123") { /* ... */ }
///
///     Dictionary copy = device;                          // copy: shares the contents, allocates nothing
///     copy.set("ModelNumber", "MD456");                  // change: `device` keeps its own
///
/// The following applies to all types in this header:
///
/// - **Absent is not a value.** A lookup that finds nothing returns a null pointer, and an argument that may be absent
///   is a `const Value*`. Containers never hold absent values.
/// - **Copy-on-write.** Copying never allocates. Strings of up to 15 bytes are stored inside their `Value`. Longer
///   strings, data, arrays and dictionaries are shared between copies until one of the copies is changed.
/// - **References.** A pointer, reference, `string_view` or iterator obtained from a container is valid until that
///   container is changed, assigned to or destroyed.
/// - **Nesting.** Values may be nested to any depth; the stack use of operations does not grow with the depth.
/// - **Threads.** Different objects may be used from different threads, even if they share contents. One object may be
///   read by many threads at once; a change needs exclusive access.
/// - **Failures.** An index past the end raises `std::out_of_range`, and storing an absent value raises
///   `std::invalid_argument`. `std::bad_alloc` leaves the container unchanged.
#ifndef TAVIK_VALUE_H
#define TAVIK_VALUE_H

#if __cplusplus < 202002L
#error "the C++ headers of Tavik need C++20: compile with -std=c++20 or later"
#include <tavik/needs_cpp20>  // does not exist: ends the compilation, without further errors
#endif

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
class ValueAccess;  // the library's access to the representation
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

  /// Compares byte by byte.
  friend TAVIK_EXPORT bool operator==(const Data& left, const Data& right) noexcept;

 private:
  friend class Value;
  friend class detail::ValueAccess;
  detail::Bytes* bytes_ = nullptr;  // null: empty
};

/// A point in time: seconds since 2001-01-01 00:00:00 UTC, with a fraction, as in binary property lists.
class Date {
 public:
  /// Seconds from 1970-01-01 00:00:00 UTC to 2001-01-01 00:00:00 UTC.
  static constexpr double kEpochToReference = 978307200.0;

  /// seconds: since 2001-01-01 00:00:00 UTC; negative for earlier dates.
  static constexpr Date sinceReference(double seconds) noexcept { return Date(seconds); }
  /// seconds: since 1970-01-01 00:00:00 UTC; negative for earlier dates.
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
  /// Makes an array of items that a `Value` can be constructed from: `Array::of("A", 5, Value(true))`.
  template <class... Items>
  static Array of(Items&&... items);
  Array(const Array& other) noexcept;
  Array(Array&& other) noexcept : elements_(std::exchange(other.elements_, nullptr)) {}  // leaves `other` empty
  Array& operator=(Array other) noexcept;
  ~Array();

  [[nodiscard]] std::size_t size() const noexcept;
  [[nodiscard]] bool empty() const noexcept { return size() == 0; }
  /// The element at `index`, counted from 0. Raises `std::out_of_range` if there is none.
  [[nodiscard]] const Value& at(std::size_t index) const;
  [[nodiscard]] const Value* begin() const noexcept;
  [[nodiscard]] const Value* end() const noexcept;
  /// Whether an element equals `value`.
  [[nodiscard]] bool contains(const Value& value) const;

  void append(Value value);
  /// Replaces the element at `index`. Raises `std::out_of_range` if there is none.
  void set(std::size_t index, Value value);
  /// Allocates room for a total of `count` elements.
  void reserve(std::size_t count);

  /// Compares element by element, in order.
  friend TAVIK_EXPORT bool operator==(const Array& left, const Array& right);

 private:
  friend class Value;
  friend class detail::ValueAccess;
  detail::Elements* elements_ = nullptr;  // null: empty, nothing allocated
};

/// String keys with values, in insertion order: replacing a value keeps its position, and a key that is erased and
/// stored again goes last. Lookups scan small dictionaries and take constant time in large ones.
class TAVIK_EXPORT Dictionary {
 public:
  /// What an iterator yields: `for (const auto [key, value] : dictionary)`.
  struct Item {
    std::string_view key;
    const Value& value;
  };
  class Iterator;

  Dictionary() noexcept = default;
  /// Stores the entries in order: `Dictionary{{"ModelNumber", "MD123"}, {"RegionInfo", "LL/A"}}`.
  Dictionary(std::initializer_list<std::pair<std::string_view, Value>> entries);
  Dictionary(const Dictionary& other) noexcept;
  Dictionary(Dictionary&& other) noexcept : entries_(std::exchange(other.entries_, nullptr)) {}  // leaves `other` empty
  Dictionary& operator=(Dictionary other) noexcept;
  ~Dictionary();

  [[nodiscard]] std::size_t size() const noexcept;
  [[nodiscard]] bool empty() const noexcept { return size() == 0; }
  [[nodiscard]] Iterator begin() const noexcept;
  [[nodiscard]] Iterator end() const noexcept;

  /// The value stored under `key`; null if there is none.
  [[nodiscard]] const Value* find(std::string_view key) const noexcept;
  /// The same for a value of one kind; absent or null if there is none or it has another kind.
  [[nodiscard]] std::optional<std::string_view> findString(std::string_view key) const noexcept;
  [[nodiscard]] const Data* findData(std::string_view key) const noexcept;
  [[nodiscard]] const Array* findArray(std::string_view key) const noexcept;
  [[nodiscard]] const Dictionary* findDictionary(std::string_view key) const noexcept;
  [[nodiscard]] bool contains(std::string_view key) const noexcept { return find(key) != nullptr; }

  /// Stores `value` under `key`: replaces the key's value, or appends a new entry. The key is converted as by
  /// `Value(std::string_view)`.
  void set(std::string_view key, Value value);
  /// The same; raises `std::invalid_argument` if `value` is null.
  void set(std::string_view key, const Value* value);
  /// The same, but a new entry goes before all others.
  void setFirst(std::string_view key, Value value);
  /// Stores `value`, or erases `key` if `value` is null.
  void setOrRemove(std::string_view key, const Value* value);
  /// Stores every entry of `other`, in order.
  void setAll(const Dictionary& other);
  /// Removes the entry for `key`; returns whether there was one. The other entries keep their order.
  bool erase(std::string_view key);
  /// Allocates room for a total of `count` entries.
  void reserve(std::size_t count);

  /// Compares entry by entry; the order does not matter.
  friend TAVIK_EXPORT bool operator==(const Dictionary& left, const Dictionary& right);

 private:
  friend class Value;
  friend class detail::ValueAccess;
  void makeOwn(std::size_t needed);
  void store(Value key, Value value, bool first);
  void append(Value key, Value value);
  detail::Entries* entries_ = nullptr;  // null: empty, nothing allocated
};

/// The kinds of values.
enum class Kind : std::uint8_t { kString, kNumber, kBoolean, kData, kDate, kArray, kDictionary };

/// A value, in 16 bytes. A moved-from value is the empty string.
class TAVIK_EXPORT Value {
 public:
  /// The empty string.
  Value() noexcept { setWords({}); }
  /// A string from UTF-8 text, which may contain NUL characters. Each malformed sequence becomes one U+FFFD, so a
  /// string is always valid UTF-8.
  Value(std::string_view text);
  Value(const std::string& text) : Value(std::string_view(text)) {}
  /// The same for text that ends at the first NUL. Raises `std::invalid_argument` for a null pointer.
  Value(const char* text);
  /// A number. Explicit, as for booleans, so that neither converts to the other by accident: write `Value(5)`.
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
  /// Pointers are not values: dereference them, or use an operation that takes `const Value*`.
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

  /// The contents; absent or null if the value has another kind.
  [[nodiscard]] std::optional<std::string_view> ifString() const noexcept {
    if (tag() <= kLongestShort) return std::string_view(reinterpret_cast<const char*>(storage_), tag());
    if (tag() == kLongString) return longText();
    return std::nullopt;
  }
  /// A number stored as an integer.
  [[nodiscard]] std::optional<std::int64_t> ifInteger() const noexcept {
    return tag() == kInteger ? std::optional(std::bit_cast<std::int64_t>(words().low)) : std::nullopt;
  }
  /// A number stored in floating point.
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

  /// Strings are equal if their characters are, numbers by numeric value (5 equals 5.0), data by bytes, dates by point
  /// in time, arrays element by element, and dictionaries entry by entry in any order. Values of different kinds are
  /// never equal: "5" is not 5, and 1 is not true. NaN is not equal to itself, but a container with NaN in it equals
  /// its unchanged copies.
  friend TAVIK_EXPORT bool operator==(const Value& left, const Value& right);

 private:
  friend class Array;
  friend class Dictionary;
  friend class detail::ValueAccess;

  // The last byte of the storage. Up to 15, it is the length of a string stored in the bytes before it, which makes an
  // all-zero value the empty string. From kFirstShared on, the first eight bytes point to shared contents or are null.
  // kErased marks the key of an erased dictionary entry and is never visible to callers.
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

  // The storage is always read and written in halves: a processor forwards a store only to a load of the same width.
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

/// Iterates over the entries of a dictionary in stored order.
class Dictionary::Iterator {
 public:
  using value_type = Item;
  using difference_type = std::ptrdiff_t;

  Iterator() noexcept = default;
  [[nodiscard]] Item operator*() const noexcept { return {*entry_->key.ifString(), entry_->value}; }
  /// The key as a value. A copy of it shares the text of a long key; a `Value` made from `(*it).key` copies it.
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
/// How predicates read a value, which may be absent (null).
///
/// - Numbers outside the range of the result become its minimum or maximum; fractions are truncated toward zero. NaN
///   reads as 0.
/// - A boolean reads as 1 or 0.
/// - A string reads as the decimal number at its start, after Unicode white space and an optional sign, or as 0 if it
///   has none.
/// - Data, dates, arrays, dictionaries and absent values read as 0.
///
/// Thread-safe. These functions raise nothing.
/// @{
TAVIK_EXPORT std::int32_t integerValue(const Value* value) noexcept;
TAVIK_EXPORT std::int64_t longValue(const Value* value) noexcept;
/// The number in a string may have a decimal point and a decimal exponent: "5", "5.", ".5", "1e3". Hexadecimal, "inf"
/// and "nan" read as 0.
TAVIK_EXPORT double doubleValue(const Value* value) noexcept;
/// A number is true if it is not zero. A string is true if, after white space, an optional sign and leading zeros, it
/// begins with Y, y, T, t or a digit from 1 to 9. Data, dates, arrays, dictionaries and absent values are false.
TAVIK_EXPORT bool booleanValue(const Value* value) noexcept;
/// @}

/// The text that `%@` prints in record texts and log lines.
///
/// | value | text |
/// | --- | --- |
/// | string | the string itself |
/// | integer | decimal digits |
/// | floating-point number | the shortest decimal that reads back as the same number: 3.0 prints as "3" |
/// | boolean | "1" or "0" |
/// | data | "<01020304 05>" |
/// | date | "2026-11-21 01:02:03 +0000" |
/// | array, dictionary | old-style property-list text, over several lines |
/// | absent (null) | "(null)" |
TAVIK_EXPORT std::string description(const Value* value);

}  // namespace tavik

#endif
