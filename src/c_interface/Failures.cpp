// Statuses and errors of the C interface, and argument checks.

#include <tavik/PlatformHandle.h>
#include <tavik/TavikKernelVersion.h>

#include <array>
#include <limits>
#include <new>
#include <stdexcept>

#include "c_interface/Handles.h"
#include "values/Text.h"

namespace tavik::c {

namespace {

constexpr const char* kDomain = "Tavik C Interface";

// In the order of the statuses.
constexpr std::array<const char*, TAVIK_INTERNAL + 1> kStatusTexts = {
    "success",
    "problem in the rule documents",
    "fault: out of range",
    "fault: invalid argument",
    "rejected",
    "out of memory",
    "not found",
    "must not be null",
    "wrong type of handle, or already released",
    "wrong kind of value",
    "past the end of the array",
    "not valid UTF-8",
    "not an allowed value",
    "unexpected failure",
};

tavik_status giveError(tavik_status status, const char* text, tavik_error** error) noexcept {
  if (error == nullptr) return status;
  try {
    *error = new tavik_error(kDomain, status, text);
  } catch (const std::bad_alloc&) {
    return TAVIK_NO_MEMORY;
  }
  return status;
}

// The container; fails for null, the result for a value of another kind.
template <class Container>
const Container& orWrongKind(const Container* container, std::string_view name) {
  if (container == nullptr) fail(TAVIK_WRONG_KIND, name);
  return *container;
}

}  // namespace

void fail(tavik_status status, std::string_view about) {
  throw Failure{status, std::string(about).append(": ").append(tavik_status_text(status))};
}

tavik_status statusOfFailure(tavik_error** error) noexcept {
  try {
    throw;
  } catch (const Failure& failure) {
    return giveError(failure.status, failure.text.c_str(), error);
  } catch (const std::bad_alloc&) {
    return TAVIK_NO_MEMORY;
  } catch (const std::out_of_range& fault) {
    return giveError(TAVIK_FAULT_OUT_OF_RANGE, fault.what(), error);
  } catch (const std::invalid_argument& fault) {
    return giveError(TAVIK_FAULT_INVALID_ARGUMENT, fault.what(), error);
  } catch (...) {
    return giveError(TAVIK_INTERNAL, tavik_status_text(TAVIK_INTERNAL), error);
  }
}

tavik_status giveKernelError(const std::optional<Error>& raised, tavik_error** error) {
  if (!raised) return TAVIK_OK;
  if (error != nullptr)
    *error = new tavik_error(Error::kDomain.data(), raised->code(), std::string(raised->localizedDescription()));
  return TAVIK_ERROR;
}

std::string_view textOf(const char* text, std::size_t length, std::string_view name) {
  if (length == 0) return {};
  require(text, name);
  const std::string_view all(text, length == TAVIK_TO_NUL ? std::strlen(text) : length);
  if (all.size() > std::size_t{std::numeric_limits<std::ptrdiff_t>::max()}) fail(TAVIK_BAD_ARGUMENT, "length");
  if (validUtf8Prefix(all) != all.size()) fail(TAVIK_NOT_UTF8, name);
  return all;
}

std::span<const std::uint8_t> bytesOf(const void* bytes, std::size_t length) {
  if (length == 0) return {};
  require(bytes, "bytes");
  if (length > std::size_t{std::numeric_limits<std::ptrdiff_t>::max()}) fail(TAVIK_BAD_ARGUMENT, "length");
  return {static_cast<const std::uint8_t*>(bytes), length};
}

const Value& valueOf(const tavik_value* handle, std::string_view name) {
  require(handle, name);
  const Tag tag = tagOf(handle);
  if (tag != Tag::kValue && tag != Tag::kBorrowedValue) fail(TAVIK_BAD_HANDLE, name);
  return handle->value;
}

const Array& arrayOf(const tavik_value* handle, std::string_view name) {
  return orWrongKind(valueOf(handle, name).ifArray(), name);
}

const Dictionary& dictionaryOf(const tavik_value* handle, std::string_view name) {
  return orWrongKind(valueOf(handle, name).ifDictionary(), name);
}

const Value* valueOrNull(const tavik_value* handle, std::string_view name) {
  return handle == nullptr ? nullptr : &valueOf(handle, name);
}

const Dictionary* dictionaryOrNull(const tavik_value* handle, std::string_view name) {
  return handle == nullptr ? nullptr : &dictionaryOf(handle, name);
}

}  // namespace tavik::c

tavik_status tavik::makeErrorHandle(tavik_status status, const char* message, tavik_error** error) noexcept {
  return tavik::c::giveError(status, message, error);
}

using tavik::c::Tag;
using tavik::c::tagOf;

int32_t tavik_interface_version() { return TAVIK_INTERFACE_VERSION; }

double tavik_version() { return TavikKernelVersionNumber; }

const char* tavik_status_text(tavik_status status) {
  const auto& texts = tavik::c::kStatusTexts;
  return status >= 0 && static_cast<std::size_t>(status) < texts.size() ? texts[static_cast<std::size_t>(status)]
                                                                        : "unknown status";
}

const char* tavik_error_text(const tavik_error* error) {
  return error != nullptr && tagOf(error) == Tag::kError ? error->text.c_str() : "";
}

const char* tavik_error_domain(const tavik_error* error) {
  return error != nullptr && tagOf(error) == Tag::kError ? error->domain : "";
}

int64_t tavik_error_code(const tavik_error* error) {
  return error != nullptr && tagOf(error) == Tag::kError ? error->code : 0;
}

tavik_status tavik_error_release(tavik_error** error) { return tavik::c::release(error); }
