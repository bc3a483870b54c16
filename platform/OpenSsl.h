/// @file
/// Owners for OpenSSL's objects, and a guard that leaves its error queue as the host left it.
#ifndef TAVIK_PLATFORM_OPEN_SSL_H
#define TAVIK_PLATFORM_OPEN_SSL_H

#include <openssl/bio.h>
#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/evp.h>

#include <memory>
#include <new>
#include <string>

namespace tavik {

template <auto release>
struct ReleasedBy {
  template <class Object>
  void operator()(Object* object) const noexcept {
    release(object);
  }
};
/// Memory from OPENSSL_malloc.
inline void freeMemory(void* memory) { OPENSSL_free(memory); }
using TextHandle = std::unique_ptr<char, ReleasedBy<freeMemory>>;
using BytesHandle = std::unique_ptr<unsigned char, ReleasedBy<freeMemory>>;
using BioHandle = std::unique_ptr<BIO, ReleasedBy<BIO_free_all>>;
using DigestHandle = std::unique_ptr<EVP_MD_CTX, ReleasedBy<EVP_MD_CTX_free>>;
using PkeyHandle = std::unique_ptr<EVP_PKEY, ReleasedBy<EVP_PKEY_free>>;
using PkeyContextHandle = std::unique_ptr<EVP_PKEY_CTX, ReleasedBy<EVP_PKEY_CTX_free>>;

/// The object that OpenSSL created; throws if memory is exhausted.
template <class Object>
Object* made(Object* object) {
  if (object == nullptr) throw std::bad_alloc();
  return object;
}

/// Removes the OpenSSL errors of a scope from this thread's error queue when the scope ends.
class ErrorQueueScope {
 public:
  ErrorQueueScope() noexcept { ERR_set_mark(); }
  ErrorQueueScope(const ErrorQueueScope&) = delete;
  ErrorQueueScope& operator=(const ErrorQueueScope&) = delete;
  ~ErrorQueueScope() { ERR_pop_to_mark(); }
};

/// OpenSSL's reason for the last failure.
inline std::string openSslReason() {
  const char* reason = ERR_reason_error_string(ERR_peek_last_error());
  return reason != nullptr ? reason : "no reason given";
}

}  // namespace tavik

#endif
