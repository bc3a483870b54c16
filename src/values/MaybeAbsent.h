/// @file
/// Reads values that may be absent or have another kind; both give null or absent.
#ifndef TAVIK_VALUES_MAYBE_ABSENT_H
#define TAVIK_VALUES_MAYBE_ABSENT_H

#include <tavik/Value.h>

#include <optional>
#include <span>
#include <string_view>

#include "values/SharedContents.h"

namespace tavik {

inline std::optional<std::string_view> textOf(const Value* value) noexcept {
  return value == nullptr ? std::nullopt : detail::ValueAccess::text(*value);
}
inline const Data* dataOf(const Value* value) noexcept { return value == nullptr ? nullptr : value->ifData(); }
inline const Array* arrayOf(const Value* value) noexcept { return value == nullptr ? nullptr : value->ifArray(); }
inline const Dictionary* dictionaryOf(const Value* value) noexcept {
  return value == nullptr ? nullptr : value->ifDictionary();
}
/// The elements of an array; none if it is absent.
inline std::span<const Value> elementsOf(const Array* array) noexcept {
  return array == nullptr ? std::span<const Value>() : std::span(array->begin(), array->end());
}

/// The entry of a dictionary that may be absent, for a short key.
inline const Value* find(const Dictionary* dictionary, detail::ValueAccess::Literal key) noexcept {
  return dictionary == nullptr ? nullptr : detail::ValueAccess::find(*dictionary, key);
}
/// The entry for a key given as a value.
inline const Value* find(const Dictionary* dictionary, const Value* key) noexcept {
  if (dictionary == nullptr || key == nullptr || !key->isString()) return nullptr;
  return detail::ValueAccess::find(*dictionary, *key);
}

/// The entry if it is a string, otherwise null.
inline const Value* findIfString(const Dictionary& dictionary, std::string_view key) noexcept {
  const Value* value = dictionary.find(key);
  return value != nullptr && value->isString() ? value : nullptr;
}

}  // namespace tavik

#endif
