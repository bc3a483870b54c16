/// @file
/// Owning handles of the C interface, conversion of values through that interface, and a platform with callbacks that
/// behaves like RecordingPlatform.
#ifndef TAVIK_FUZZ_C_HANDLES_H
#define TAVIK_FUZZ_C_HANDLES_H

#include <tavik/Value.h>
#include <tavik/tavik.h>

#include <cstdlib>
#include <iostream>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tavik::c {

/// For calls that can fail only if memory runs out.
inline void done(tavik_status status) {
  if (status == TAVIK_NO_MEMORY) throw std::bad_alloc();
  if (status == TAVIK_OK) return;
  std::cerr << "unexpected status: " << tavik_status_text(status) << std::endl;
  std::abort();
}

template <class Handle, tavik_status (*kRelease)(Handle**)>
class Owned {
 public:
  Owned() = default;
  Owned(Owned&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
  Owned& operator=(Owned&& other) noexcept {
    std::swap(handle_, other.handle_);
    return *this;
  }
  ~Owned() { done(kRelease(&handle_)); }

  /// The output argument of a function that creates a handle.
  Handle** out() {
    done(kRelease(&handle_));
    return &handle_;
  }
  operator Handle*() const { return handle_; }  // NOLINT(google-explicit-constructor): passed to C functions

 private:
  Handle* handle_ = nullptr;
};

using OwnedValue = Owned<tavik_value, tavik_value_release>;
using OwnedPlatform = Owned<tavik_platform, tavik_platform_release>;
using OwnedKernel = Owned<tavik_kernel, tavik_kernel_release>;
using OwnedRules = Owned<tavik_rules, tavik_rules_release>;
using OwnedOutcome = Owned<tavik_outcome, tavik_outcome_release>;
using OwnedError = Owned<tavik_error, tavik_error_release>;

inline std::string_view stringOf(const tavik_value* value) {
  const char* text = nullptr;
  std::size_t length = 0;
  done(tavik_value_get_string(value, &text, &length));
  return {text, length};
}

inline OwnedValue handleOf(const Value& value);

inline OwnedValue handleOf(const Array& array) {
  OwnedValue handle;
  done(tavik_value_new_array(handle.out()));
  for (const Value& element : array) done(tavik_array_append(handle, handleOf(element)));
  return handle;
}

inline OwnedValue handleOf(const Dictionary& dictionary) {
  OwnedValue handle;
  done(tavik_value_new_dictionary(handle.out()));
  for (const auto [key, value] : dictionary) {
    done(tavik_dictionary_set(handle, key.data(), key.size(), handleOf(value)));
  }
  return handle;
}

/// The handle created by a function.
template <class Call>
OwnedValue made(Call call) {
  OwnedValue handle;
  done(call(handle.out()));
  return handle;
}

inline OwnedValue handleOf(const Value& value) {
  if (const auto text = value.ifString()) {
    return made([&](auto out) { return tavik_value_new_string(text->data(), text->size(), out); });
  }
  if (const auto number = value.ifInteger())
    return made([&](auto out) { return tavik_value_new_integer(*number, out); });
  if (const auto number = value.ifReal()) return made([&](auto out) { return tavik_value_new_real(*number, out); });
  if (const auto truth = value.ifBoolean()) return made([&](auto out) { return tavik_value_new_boolean(*truth, out); });
  if (const Data* data = value.ifData()) {
    return made([&](auto out) { return tavik_value_new_data(data->bytes().data(), data->size(), out); });
  }
  if (const auto date = value.ifDate()) {
    return made([&](auto out) { return tavik_value_new_date(date->secondsSinceReference(), out); });
  }
  return value.ifArray() != nullptr ? handleOf(*value.ifArray()) : handleOf(*value.ifDictionary());
}

/// Null for absent.
template <class Contents>
OwnedValue handleOrNull(const Contents* contents) {
  return contents == nullptr ? OwnedValue() : handleOf(*contents);
}

inline Value valueOf(const tavik_value* handle);

inline Array arrayOf(const tavik_value* handle) {
  Array array;
  std::size_t count = 0;
  done(tavik_value_get_count(handle, &count));
  for (std::size_t index = 0; index < count; ++index) {
    OwnedValue element;
    done(tavik_array_get(handle, index, element.out()));
    array.append(valueOf(element));
  }
  return array;
}

inline Dictionary dictionaryOf(const tavik_value* handle) {
  Dictionary dictionary;
  OwnedValue keys;
  done(tavik_dictionary_keys(handle, keys.out()));
  for (const Value& key : arrayOf(keys)) {
    OwnedValue value;
    const std::string_view name = *key.ifString();
    done(tavik_dictionary_get(handle, name.data(), name.size(), value.out()));
    dictionary.set(name, valueOf(value));
  }
  return dictionary;
}

template <class Raw>
Raw read(const tavik_value* handle, tavik_status (*get)(const tavik_value*, Raw*)) {
  Raw raw = {};
  done(get(handle, &raw));
  return raw;
}

inline Value valueOf(const tavik_value* handle) {
  switch (read(handle, tavik_value_get_kind)) {
    case TAVIK_KIND_STRING:
      return stringOf(handle);
    case TAVIK_KIND_INTEGER:
      return Value(read(handle, tavik_value_get_integer));
    case TAVIK_KIND_REAL:
      return Value(read(handle, tavik_value_get_real));
    case TAVIK_KIND_BOOLEAN:
      return Value(read(handle, tavik_value_get_boolean) != 0);
    case TAVIK_KIND_DATA: {
      const std::uint8_t* bytes = nullptr;
      std::size_t length = 0;
      done(tavik_value_get_data(handle, &bytes, &length));
      return Data(std::span(bytes, length));
    }
    case TAVIK_KIND_DATE:
      return Date::sinceReference(read(handle, tavik_value_get_date));
    case TAVIK_KIND_ARRAY:
      return arrayOf(handle);
    case TAVIK_KIND_DICTIONARY:
      return dictionaryOf(handle);
    default:
      std::abort();
  }
}

/// Trusts every document except those with an "untrusted" entry, whose description is the reason. A document with a
/// "nothing" entry is replaced by an empty one. Records the log.
struct CallbackHost {
  std::vector<std::string> lines;
  int releases = 0;

  /// A platform that refers to this object, which must outlive it.
  OwnedPlatform platform() {
    tavik_platform_callbacks callbacks = {};
    callbacks.struct_size = sizeof callbacks;
    callbacks.user_data = this;
    callbacks.validate = validate;
    callbacks.log = [](void* host, const char* line, std::size_t length) {
      static_cast<CallbackHost*>(host)->lines.emplace_back(line, length);
    };
    callbacks.release = [](void* host) { ++static_cast<CallbackHost*>(host)->releases; };
    OwnedPlatform made;
    done(tavik_platform_new(&callbacks, made.out()));
    return made;
  }

 private:
  static void validate(void* /*host*/, const tavik_value* document, const char* /*publicKeyPath*/,
                       tavik_verdict* verdict) {
    OwnedValue found;
    if (tavik_dictionary_get(document, "untrusted", TAVIK_TO_NUL, found.out()) == TAVIK_OK) {
      OwnedValue reason;
      done(tavik_value_describe(found, reason.out()));
      const std::string_view text = stringOf(reason);
      done(tavik_verdict_refuse(verdict, text.data(), text.size()));
    } else if (tavik_dictionary_get(document, "nothing", TAVIK_TO_NUL, found.out()) == TAVIK_OK) {
      OwnedValue empty;
      done(tavik_value_new_dictionary(empty.out()));
      done(tavik_verdict_trust(verdict, empty));
    } else {
      done(tavik_verdict_trust(verdict, document));
    }
  }
};

}  // namespace tavik::c

#endif
