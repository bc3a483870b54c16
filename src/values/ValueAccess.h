/// @file
/// The library's own way into values: their shared contents, and strings from text that has been checked already.
#ifndef TAVIK_VALUES_VALUE_ACCESS_H
#define TAVIK_VALUES_VALUE_ACCESS_H

#include <tavik/Value.h>

#include <string_view>
#include <utility>

namespace tavik::detail {

struct Container;

class ValueAccess {
 public:
  /// A string from text that is known to be well-formed UTF-8.
  static Value string(std::string_view wellFormed);

  /// Stores under a key that is a string value already, sharing its text.
  static void set(Dictionary& dictionary, Value key, Value value) {
    dictionary.store(std::move(key), std::move(value), false);
  }

  /// The keys as an array of strings, sharing their text.
  static Array keys(const Dictionary& dictionary) {
    Array keys;
    keys.reserve(dictionary.size());
    for (auto entry = dictionary.begin(); entry != dictionary.end(); ++entry) keys.append(entry.key());
    return keys;
  }

  /// The same block of memory: equal without a look inside.
  static bool sameContents(const Array& left, const Array& right) noexcept { return left.elements_ == right.elements_; }
  static bool sameContents(const Dictionary& left, const Dictionary& right) noexcept {
    return left.entries_ == right.entries_;
  }

  static bool isErased(const Value& key) noexcept { return key.tag() == Value::kErased; }
  static Value erasedMark() noexcept { return {Value::kErased, std::int64_t{0}}; }

  /// Lets go of a value's contents without destroying containers: returns the container that lost its last owner.
  static Container* dropContents(Value& value) noexcept;
};

}  // namespace tavik::detail

#endif
