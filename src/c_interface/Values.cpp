// Values of the C interface: creation, access and changes; property lists and JSON.

#include <tavik/Json.h>
#include <tavik/PropertyList.h>
#include <tavik/VisibleText.h>

#include "c_interface/Handles.h"
#include "values/SharedContents.h"
#include "values/ValueAccess.h"

namespace tavik::c {

namespace {

using detail::ValueAccess;

Value stringOf(const char* text, std::size_t length) { return ValueAccess::string(textOf(text, length, "text")); }
Value dataOf(const void* bytes, std::size_t length) { return Data(bytesOf(bytes, length)); }

tavik_kind kindOf(const Value& value) noexcept {
  switch (value.kind()) {
    case Kind::kString:
      return TAVIK_KIND_STRING;
    case Kind::kNumber:
      return value.ifInteger() ? TAVIK_KIND_INTEGER : TAVIK_KIND_REAL;
    case Kind::kBoolean:
      return TAVIK_KIND_BOOLEAN;
    case Kind::kData:
      return TAVIK_KIND_DATA;
    case Kind::kDate:
      return TAVIK_KIND_DATE;
    case Kind::kArray:
      return TAVIK_KIND_ARRAY;
    case Kind::kDictionary:
      break;
  }
  return TAVIK_KIND_DICTIONARY;
}

// Readers of values, by kind. Each writes to the caller's variables, which are not null.

template <class From, class To>
tavik_status giveNumber(const std::optional<From>& number, To* out) noexcept {
  if (!number) return TAVIK_WRONG_KIND;
  *out = *number;
  return TAVIK_OK;
}

auto stringReader(const char** text, std::size_t* length) {
  require(text, "text");
  require(length, "length");
  return [=](const Value& value) -> tavik_status {
    const auto string = value.ifString();
    if (!string) return TAVIK_WRONG_KIND;
    *text = string->data();
    *length = string->size();
    return TAVIK_OK;
  };
}

auto integerReader(std::int64_t* number) {
  require(number, "number");
  return [=](const Value& value) { return giveNumber(value.ifInteger(), number); };
}

auto realReader(double* number) {
  require(number, "number");
  return [=](const Value& value) { return giveNumber(value.ifReal(), number); };
}

auto booleanReader(std::int32_t* truth) {
  require(truth, "truth");
  return [=](const Value& value) { return giveNumber(value.ifBoolean(), truth); };
}

auto dataReader(const std::uint8_t** bytes, std::size_t* length) {
  require(bytes, "bytes");
  require(length, "length");
  return [=](const Value& value) -> tavik_status {
    const Data* data = value.ifData();
    if (data == nullptr) return TAVIK_WRONG_KIND;
    *bytes = data->empty() ? nullptr : data->bytes().data();
    *length = data->size();
    return TAVIK_OK;
  };
}

auto dateReader(double* seconds) {
  require(seconds, "seconds");
  return [=](const Value& value) -> tavik_status {
    const auto date = value.ifDate();
    if (!date) return TAVIK_WRONG_KIND;
    *seconds = date->secondsSinceReference();
    return TAVIK_OK;
  };
}

// The bodies of the functions that read a value, or the value of a key. `readerOf` checks the caller's variables.

template <class ReaderOf>
tavik_status read(const tavik_value* value, ReaderOf readerOf) noexcept {
  return guarded(nullptr, [&]() -> tavik_status { return readerOf()(valueOf(value, "value")); });
}

template <class ReaderOf>
tavik_status readEntry(const tavik_value* dictionary, const char* key, ReaderOf readerOf) noexcept {
  return guarded(nullptr, [&]() -> tavik_status {
    const Value* value = dictionaryOf(dictionary, "dictionary").find(textOf(key, TAVIK_TO_NUL, "key"));
    const auto reader = readerOf();
    return value != nullptr ? reader(*value) : TAVIK_NOT_FOUND;
  });
}

// Moves the container out of its value during a change, so that it has a sole owner and is not copied.
template <class Container, class Change>
void change(tavik_value* handle, const Container& contents, Change change) {
  if (tagOf(handle) != Tag::kValue) fail(TAVIK_BAD_HANDLE, "a callback's argument");
  Container container = contents;
  handle->value = Value();
  struct PutBack {
    ~PutBack() { handle->value = std::move(container); }
    tavik_value* handle;
    Container& container;
  } const putBack{handle, container};
  change(container);
}

// The body of the functions that store an entry.
template <class Make>
tavik_status store(tavik_value* dictionary, const char* key, std::size_t keyLength, Make make) noexcept {
  return guarded(nullptr, [&] {
    const Dictionary& contents = dictionaryOf(dictionary, "dictionary");
    Value name = ValueAccess::string(textOf(key, keyLength, "key"));
    Value value = make();
    change(dictionary, contents,
           [&](Dictionary& changed) { ValueAccess::set(changed, std::move(name), std::move(value)); });
  });
}

// `why` is read after the call that makes `document` writes it.
template <class Document>
Value orRefused(std::optional<Document> document, const std::string& why) {
  if (!document) throw Failure{TAVIK_REFUSED, why};
  return *std::move(document);
}

}  // namespace

}  // namespace tavik::c

using tavik::Array;
using tavik::Data;
using tavik::Date;
using tavik::Dictionary;
using tavik::Value;
using namespace tavik::c;

tavik_status tavik_value_new_string(const char* text, size_t length, tavik_value** value) {
  return give(value, nullptr, [&] { return stringOf(text, length); });
}

tavik_status tavik_value_new_integer(int64_t number, tavik_value** value) {
  return give(value, nullptr, [&] { return Value(number); });
}

tavik_status tavik_value_new_real(double number, tavik_value** value) {
  return give(value, nullptr, [&] { return Value(number); });
}

tavik_status tavik_value_new_boolean(int32_t truth, tavik_value** value) {
  return give(value, nullptr, [&] { return Value(truth != 0); });
}

tavik_status tavik_value_new_data(const void* bytes, size_t length, tavik_value** value) {
  return give(value, nullptr, [&] { return dataOf(bytes, length); });
}

tavik_status tavik_value_new_date(double seconds, tavik_value** value) {
  return give(value, nullptr, [&] { return Date::sinceReference(seconds); });
}

tavik_status tavik_value_new_array(tavik_value** value) {
  return give(value, nullptr, [] { return Array(); });
}

tavik_status tavik_value_new_dictionary(tavik_value** value) {
  return give(value, nullptr, [] { return Dictionary(); });
}

tavik_status tavik_value_copy(const tavik_value* value, tavik_value** copy) {
  return give(copy, nullptr, [&] { return valueOf(value, "value"); });
}

tavik_status tavik_value_release(tavik_value** value) { return release(value); }

tavik_status tavik_value_get_kind(const tavik_value* value, tavik_kind* kind) {
  return guarded(nullptr, [&] {
    require(kind, "kind");
    *kind = kindOf(valueOf(value, "value"));
  });
}

tavik_status tavik_value_get_string(const tavik_value* value, const char** text, size_t* length) {
  return read(value, [&] { return stringReader(text, length); });
}

tavik_status tavik_value_get_integer(const tavik_value* value, int64_t* number) {
  return read(value, [&] { return integerReader(number); });
}

tavik_status tavik_value_get_real(const tavik_value* value, double* number) {
  return read(value, [&] { return realReader(number); });
}

tavik_status tavik_value_get_boolean(const tavik_value* value, int32_t* truth) {
  return read(value, [&] { return booleanReader(truth); });
}

tavik_status tavik_value_get_data(const tavik_value* value, const uint8_t** bytes, size_t* length) {
  return read(value, [&] { return dataReader(bytes, length); });
}

tavik_status tavik_value_get_date(const tavik_value* value, double* seconds) {
  return read(value, [&] { return dateReader(seconds); });
}

tavik_status tavik_value_get_count(const tavik_value* value, size_t* count) {
  return guarded(nullptr, [&] {
    require(count, "count");
    const Array* array = valueOf(value, "value").ifArray();
    *count = array != nullptr ? array->size() : dictionaryOf(value, "value").size();
  });
}

tavik_status tavik_value_equal(const tavik_value* left, const tavik_value* right, int32_t* equal) {
  return guarded(nullptr, [&] {
    require(equal, "equal");
    *equal = valueOf(left, "left") == valueOf(right, "right") ? 1 : 0;
  });
}

tavik_status tavik_value_describe(const tavik_value* value, tavik_value** text) {
  return give(text, nullptr, [&] { return Value(tavik::description(valueOrNull(value, "value"))); });
}

tavik_status tavik_visible_text(const char* text, size_t length, tavik_value** visible) {
  return give(visible, nullptr, [&] { return Value(tavik::visibleText(*stringOf(text, length).ifString())); });
}

tavik_status tavik_array_get(const tavik_value* array, size_t index, tavik_value** element) {
  return give(element, nullptr, [&] {
    const Array& elements = arrayOf(array, "array");
    if (index >= elements.size()) fail(TAVIK_INDEX_OUT_OF_RANGE, "index");
    return elements.at(index);
  });
}

tavik_status tavik_array_set(tavik_value* array, size_t index, const tavik_value* element) {
  return guarded(nullptr, [&] {
    const Array& elements = arrayOf(array, "array");
    const Value value = valueOf(element, "element");  // a copy, because the element may be the array itself
    if (index >= elements.size()) fail(TAVIK_INDEX_OUT_OF_RANGE, "index");
    change(array, elements, [&](Array& changed) { changed.set(index, value); });
  });
}

tavik_status tavik_array_append(tavik_value* array, const tavik_value* element) {
  return guarded(nullptr, [&] {
    const Value value = valueOf(element, "element");  // a copy, as above
    change(array, arrayOf(array, "array"), [&](Array& changed) { changed.append(value); });
  });
}

tavik_status tavik_dictionary_keys(const tavik_value* dictionary, tavik_value** keys) {
  return give(keys, nullptr, [&] { return ValueAccess::keys(dictionaryOf(dictionary, "dictionary")); });
}

tavik_status tavik_dictionary_get(const tavik_value* dictionary, const char* key, size_t key_length,
                                  tavik_value** value) {
  return guarded(nullptr, [&]() -> tavik_status {
    Output out(value, "value");
    const Value* found = dictionaryOf(dictionary, "dictionary").find(textOf(key, key_length, "key"));
    if (found == nullptr) return TAVIK_NOT_FOUND;
    out.make(*found);
    return TAVIK_OK;
  });
}

tavik_status tavik_dictionary_set(tavik_value* dictionary, const char* key, size_t key_length,
                                  const tavik_value* value) {
  return store(dictionary, key, key_length, [&] { return valueOf(value, "value"); });
}

tavik_status tavik_dictionary_erase(tavik_value* dictionary, const char* key, size_t key_length) {
  return guarded(nullptr, [&] {
    const Dictionary& contents = dictionaryOf(dictionary, "dictionary");
    const std::string_view name = textOf(key, key_length, "key");
    bool found = false;
    change(dictionary, contents, [&](Dictionary& changed) { found = changed.erase(name); });
    return found ? TAVIK_OK : TAVIK_NOT_FOUND;
  });
}

tavik_status tavik_dictionary_set_string(tavik_value* dictionary, const char* key, const char* text) {
  return store(dictionary, key, TAVIK_TO_NUL, [&] { return stringOf(text, TAVIK_TO_NUL); });
}

tavik_status tavik_dictionary_set_integer(tavik_value* dictionary, const char* key, int64_t number) {
  return store(dictionary, key, TAVIK_TO_NUL, [&] { return Value(number); });
}

tavik_status tavik_dictionary_set_real(tavik_value* dictionary, const char* key, double number) {
  return store(dictionary, key, TAVIK_TO_NUL, [&] { return Value(number); });
}

tavik_status tavik_dictionary_set_boolean(tavik_value* dictionary, const char* key, int32_t truth) {
  return store(dictionary, key, TAVIK_TO_NUL, [&] { return Value(truth != 0); });
}

tavik_status tavik_dictionary_set_data(tavik_value* dictionary, const char* key, const void* bytes, size_t length) {
  return store(dictionary, key, TAVIK_TO_NUL, [&] { return dataOf(bytes, length); });
}

tavik_status tavik_dictionary_set_date(tavik_value* dictionary, const char* key, double seconds) {
  return store(dictionary, key, TAVIK_TO_NUL, [&] { return Date::sinceReference(seconds); });
}

tavik_status tavik_dictionary_get_string(const tavik_value* dictionary, const char* key, const char** text,
                                         size_t* length) {
  return readEntry(dictionary, key, [&] { return stringReader(text, length); });
}

tavik_status tavik_dictionary_get_integer(const tavik_value* dictionary, const char* key, int64_t* number) {
  return readEntry(dictionary, key, [&] { return integerReader(number); });
}

tavik_status tavik_dictionary_get_real(const tavik_value* dictionary, const char* key, double* number) {
  return readEntry(dictionary, key, [&] { return realReader(number); });
}

tavik_status tavik_dictionary_get_boolean(const tavik_value* dictionary, const char* key, int32_t* truth) {
  return readEntry(dictionary, key, [&] { return booleanReader(truth); });
}

tavik_status tavik_dictionary_get_data(const tavik_value* dictionary, const char* key, const uint8_t** bytes,
                                       size_t* length) {
  return readEntry(dictionary, key, [&] { return dataReader(bytes, length); });
}

tavik_status tavik_dictionary_get_date(const tavik_value* dictionary, const char* key, double* seconds) {
  return readEntry(dictionary, key, [&] { return dateReader(seconds); });
}

tavik_status tavik_property_list_read(const void* bytes, size_t length, tavik_value** value, tavik_error** error) {
  return give(value, error, [&] {
    std::string why;
    return orRefused(tavik::readPropertyList(bytesOf(bytes, length), why), why);
  });
}

tavik_status tavik_property_list_read_file(const char* path, tavik_value** value, tavik_error** error) {
  return give(value, error, [&] {
    require(path, "path");
    std::string why;
    return orRefused(tavik::readPropertyListFile(path, why), why);
  });
}

tavik_status tavik_property_list_write(const tavik_value* value, int32_t format, tavik_value** data,
                                       tavik_error** error) {
  return give(data, error, [&] {
    using tavik::PropertyListFormat;
    const Value& contents = valueOf(value, "value");
    if (format != TAVIK_FORMAT_XML && format != TAVIK_FORMAT_BINARY) fail(TAVIK_BAD_ARGUMENT, "format");
    std::string why;
    const auto asFormat = format == TAVIK_FORMAT_XML ? PropertyListFormat::kXml : PropertyListFormat::kBinary;
    return orRefused(tavik::writePropertyList(contents, asFormat, why), why);
  });
}

tavik_status tavik_json_read(const char* text, size_t length, tavik_value** value, tavik_error** error) {
  return give(value, error, [&] {
    const auto bytes = bytesOf(text, length == TAVIK_TO_NUL && text != nullptr ? std::strlen(text) : length);
    std::string why;
    return orRefused(tavik::readJson({reinterpret_cast<const char*>(bytes.data()), bytes.size()}, why), why);
  });
}

tavik_status tavik_json_write(const tavik_value* value, int32_t layout, tavik_value** text, tavik_error** error) {
  return give(text, error, [&] {
    using tavik::JsonLayout;
    const Value& contents = valueOf(value, "value");
    if (layout != TAVIK_JSON_ONE_LINE && layout != TAVIK_JSON_INDENTED) fail(TAVIK_BAD_ARGUMENT, "layout");
    std::string why;
    const auto asLayout = layout == TAVIK_JSON_ONE_LINE ? JsonLayout::kOneLine : JsonLayout::kIndented;
    return orRefused(tavik::writeJson(contents, why, asLayout), why);
  });
}
