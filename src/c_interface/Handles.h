/// @file
/// Common parts of the C interface: handles, argument checks, and the conversion of exceptions to statuses.
///
///     tavik_status tavik_array_get(const tavik_value* array, size_t index, tavik_value** element) {
///       return guarded(nullptr, [&] {
///         Output out(element, "element");                  // throws for null; sets the caller's variable to null
///         out.make(elementAt(arrayOf(array), index));      // exceptions become a status
///       });
///     }
#ifndef TAVIK_C_INTERFACE_HANDLES_H
#define TAVIK_C_INTERFACE_HANDLES_H

#include <tavik/CheckOutcome.h>
#include <tavik/PreparedRules.h>
#include <tavik/ZRTTavikKernel.h>
#include <tavik/tavik.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

namespace tavik::c {

/// The first member of every handle, which identifies its type. kNone after release.
enum class Tag : std::uint64_t {
  kNone = 0,
  kValue = 0x7461'7669'6B56'616C,
  kBorrowedValue = 0x7461'7669'6B42'6F72,  // an argument of a callback, which must not be changed or released
  kPlatform = 0x7461'7669'6B50'6C61,
  kKernel = 0x7461'7669'6B4B'6572,
  kRules = 0x7461'7669'6B52'756C,
  kOutcome = 0x7461'7669'6B4F'7574,
  kError = 0x7461'7669'6B45'7272,
  kVerdict = 0x7461'7669'6B56'6572,
};

class Handle {
 public:
  explicit Handle(Tag tag) noexcept : tag_(tag) {}
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  // Volatile, so that the write is not removed: a released handle is detected until its memory is reused.
  ~Handle() { const_cast<volatile Tag&>(tag_) = Tag::kNone; }

 private:
  Tag tag_;
};

/// The tag of a handle of any type.
inline Tag tagOf(const void* handle) noexcept {
  Tag tag;
  std::memcpy(&tag, handle, sizeof tag);
  return tag;
}

/// Why a call fails; caught in `guarded`.
struct Failure {
  tavik_status status;
  std::string text;
};

/// Throws a `Failure` for misuse. about: the argument.
[[noreturn]] void fail(tavik_status status, std::string_view about);

/// Converts the exception being handled to a status and, if `error` is not null, to an error.
tavik_status statusOfFailure(tavik_error** error) noexcept;

/// Runs the body of a C function, which returns nothing or a status. Exceptions become a status and an error. error:
/// may be null; otherwise set to null first.
template <class Body>
tavik_status guarded(tavik_error** error, Body body) noexcept {
  if (error != nullptr) *error = nullptr;
  try {
    if constexpr (std::is_void_v<decltype(body())>) {
      body();
      return TAVIK_OK;
    } else {
      return body();
    }
  } catch (...) {
    return statusOfFailure(error);
  }
}

/// Passes on the kernel's own error, if there is one, and returns the matching status.
tavik_status giveKernelError(const std::optional<Error>& raised, tavik_error** error);

/// Fails if `pointer` is null.
inline void require(const void* pointer, std::string_view name) {
  if (pointer == nullptr) fail(TAVIK_NULL_ARGUMENT, name);
}

inline void requireHandle(const void* handle, Tag tag, std::string_view name) {
  require(handle, name);
  if (tagOf(handle) != tag) fail(TAVIK_BAD_HANDLE, name);
}

/// A handle variable of the caller. Set to null first.
template <class Type>
class Output {
 public:
  Output(Type** out, std::string_view name) : out_(out) {
    require(out, name);
    *out = nullptr;
  }
  template <class... Arguments>
  void make(Arguments&&... arguments) {
    set(std::make_unique<Type>(std::forward<Arguments>(arguments)...));
  }
  void set(std::unique_ptr<Type> handle) noexcept { *out_ = handle.release(); }

 private:
  Type** out_;
};

/// The body of release functions.
template <class Type>
tavik_status release(Type** handle) noexcept {
  return guarded(nullptr, [&] {
    require(handle, "handle");
    if (*handle == nullptr) return;
    requireHandle(*handle, Type::kTag, "handle");
    delete std::exchange(*handle, nullptr);
  });
}

/// Checked text and bytes from the caller. name: of the argument, for the error.
std::string_view textOf(const char* text, std::size_t length, std::string_view name);
std::span<const std::uint8_t> bytesOf(const void* bytes, std::size_t length);

/// The contents of a value's handle. Fails for null, for other handles and for other kinds.
const Value& valueOf(const tavik_value* handle, std::string_view name);
const Array& arrayOf(const tavik_value* handle, std::string_view name);
const Dictionary& dictionaryOf(const tavik_value* handle, std::string_view name);
/// Null for null.
const Value* valueOrNull(const tavik_value* handle, std::string_view name);
const Dictionary* dictionaryOrNull(const tavik_value* handle, std::string_view name);

}  // namespace tavik::c

struct tavik_value : tavik::c::Handle {
  static constexpr tavik::c::Tag kTag = tavik::c::Tag::kValue;
  explicit tavik_value(tavik::Value contents, tavik::c::Tag tag = kTag) noexcept
      : Handle(tag), value(std::move(contents)) {}
  tavik::Value value;
};

struct tavik_platform : tavik::c::Handle {
  static constexpr tavik::c::Tag kTag = tavik::c::Tag::kPlatform;
  explicit tavik_platform(std::shared_ptr<const tavik::Platform> contents) noexcept
      : Handle(kTag), platform(std::move(contents)) {}
  std::shared_ptr<const tavik::Platform> platform;
};

struct tavik_kernel : tavik::c::Handle {
  static constexpr tavik::c::Tag kTag = tavik::c::Tag::kKernel;
  explicit tavik_kernel(std::unique_ptr<const tavik::ZRTTavikKernel> contents) noexcept
      : Handle(kTag), kernel(std::move(contents)) {}
  std::unique_ptr<const tavik::ZRTTavikKernel> kernel;
};

struct tavik_rules : tavik::c::Handle {
  static constexpr tavik::c::Tag kTag = tavik::c::Tag::kRules;
  explicit tavik_rules(std::unique_ptr<const tavik::PreparedRules> contents) noexcept
      : Handle(kTag), rules(std::move(contents)) {}
  std::unique_ptr<const tavik::PreparedRules> rules;
};

struct tavik_outcome : tavik::c::Handle {
  static constexpr tavik::c::Tag kTag = tavik::c::Tag::kOutcome;
  explicit tavik_outcome(tavik::CheckOutcome contents) noexcept : Handle(kTag), outcome(std::move(contents)) {}
  tavik::CheckOutcome outcome;
};

struct tavik_error : tavik::c::Handle {
  static constexpr tavik::c::Tag kTag = tavik::c::Tag::kError;
  tavik_error(const char* itsDomain, std::int64_t itsCode, std::string itsText) noexcept
      : Handle(kTag), domain(itsDomain), code(itsCode), text(std::move(itsText)) {}
  const char* domain;
  std::int64_t code;
  std::string text;
};

namespace tavik::c {

/// The body of a function that returns the value made by `make`.
template <class Make>
tavik_status give(tavik_value** value, tavik_error** error, Make make) noexcept {
  return guarded(error, [&] {
    Output out(value, "output variable");
    out.make(make());
  });
}

}  // namespace tavik::c

#endif
