// Platforms of the C interface, made from callbacks.

#include <tavik/PlatformHandle.h>

#include <algorithm>
#include <cstddef>
#include <new>

#include "c_interface/Handles.h"
#include "values/Text.h"

struct tavik_verdict : tavik::c::Handle {
  static constexpr tavik::c::Tag kTag = tavik::c::Tag::kVerdict;
  tavik_verdict() noexcept : Handle(kTag) {}
  std::optional<tavik::Value> document;  // present: trusted, unless rejected
  std::optional<std::string> reason;     // present: rejected
  bool outOfMemory = false;
};

namespace tavik::c {

namespace {

class CallbackPlatform : public Platform {
 public:
  explicit CallbackPlatform(const tavik_platform_callbacks& callbacks) noexcept : callbacks_(callbacks) {}
  ~CallbackPlatform() override {
    if (owned_ && callbacks_.release != nullptr) callbacks_.release(callbacks_.user_data);
  }

  // Makes the destructor release the user data.
  void own() noexcept { owned_ = true; }

  std::optional<Value> validatedPropertyListFromSignedDictionary(
      const Dictionary& signedDictionary, const std::string& publicKeyPath,
      std::optional<std::string>& errorDescription) const override {
    const tavik_value document(signedDictionary, Tag::kBorrowedValue);
    tavik_verdict verdict;
    callbacks_.validate(callbacks_.user_data, &document, publicKeyPath.c_str(), &verdict);
    if (verdict.outOfMemory) throw std::bad_alloc();
    if (!verdict.document && !verdict.reason) verdict.reason = "the platform gave no verdict";
    errorDescription = std::move(verdict.reason);
    return errorDescription ? std::nullopt : std::move(verdict.document);
  }

  bool logs() const override { return callbacks_.log != nullptr; }
  void log(std::string_view line) const override { callbacks_.log(callbacks_.user_data, line.data(), line.size()); }

 private:
  tavik_platform_callbacks callbacks_;
  bool owned_ = false;
};

// The size of the first version of the struct, and the largest plausible size.
constexpr std::size_t kFirstSize = offsetof(tavik_platform_callbacks, release) + sizeof(void*);
constexpr std::size_t kLargestSize = 4096;

// The members that this library knows. Fails if others are set, because their effect would be missing.
tavik_platform_callbacks knownMembers(const tavik_platform_callbacks* callbacks) {
  require(callbacks, "callbacks");
  const std::size_t size = callbacks->struct_size;
  if (size < kFirstSize || size > kLargestSize) fail(TAVIK_BAD_ARGUMENT, "struct_size");
  const auto* bytes = reinterpret_cast<const unsigned char*>(callbacks);
  const bool unknown =
      std::any_of(bytes + sizeof *callbacks, bytes + size, [](unsigned char byte) { return byte != 0; });
  if (unknown) fail(TAVIK_BAD_ARGUMENT, "unknown member");
  require(reinterpret_cast<const void*>(callbacks->validate), "validate");
  return *callbacks;
}

}  // namespace

}  // namespace tavik::c

using namespace tavik::c;

tavik_status tavik_verdict_trust(tavik_verdict* verdict, const tavik_value* document) {
  return guarded(nullptr, [&] {
    requireHandle(verdict, Tag::kVerdict, "verdict");
    const tavik::Value& value = valueOf(document, "document");
    if (verdict->reason) fail(TAVIK_BAD_ARGUMENT, "rejected document");
    verdict->document = value;
  });
}

tavik_status tavik_verdict_refuse(tavik_verdict* verdict, const char* reason, size_t length) {
  return guarded(nullptr, [&] {
    requireHandle(verdict, Tag::kVerdict, "verdict");
    verdict->reason.emplace();
    if (length == 0) return;
    require(reason, "reason");
    verdict->outOfMemory = true;  // in case the next line throws
    verdict->reason = tavik::replacingIllFormedUtf8({reason, length == TAVIK_TO_NUL ? std::strlen(reason) : length});
    verdict->outOfMemory = false;
  });
}

tavik_status tavik_platform_new(const tavik_platform_callbacks* callbacks, tavik_platform** platform) {
  return guarded(nullptr, [&] {
    Output out(platform, "platform");
    const auto made = std::make_shared<CallbackPlatform>(knownMembers(callbacks));
    out.make(made);
    made->own();
  });
}

tavik_status tavik_platform_release(tavik_platform** platform) { return release(platform); }

tavik_status tavik::makePlatformHandle(std::shared_ptr<const Platform> platform, tavik_platform** handle) noexcept {
  return guarded(nullptr, [&] {
    Output out(handle, "handle");
    require(platform.get(), "platform");
    out.make(std::move(platform));
  });
}
