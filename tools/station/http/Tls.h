/// @file
/// TLS certificates, and the bytes of a connection with or without TLS.
#ifndef TAVIK_STATION_HTTP_TLS_H
#define TAVIK_STATION_HTTP_TLS_H

#include <openssl/ssl.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "io/FileDescriptor.h"

namespace tavik::station {

struct CertificateFiles {
  std::string certificate;  ///< PEM, with the chain
  std::string key;          ///< PEM
};

/// A server's certificate and its settings: TLS 1.2 or newer.
class TlsContext {
 public:
  /// Throws `Unusable` if the files cannot be used.
  explicit TlsContext(const CertificateFiles& files);

  [[nodiscard]] SSL_CTX* context() const noexcept { return context_.get(); }
  /// SHA-256 of the certificate, in hexadecimal digits.
  [[nodiscard]] std::string fingerprint() const;

 private:
  std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> context_;
};

/// Makes a self-signed certificate for a host name or address, valid for ten years, unless the files exist. Both files
/// have mode 0600. Throws `Unusable`.
void makeSelfSignedCertificate(const CertificateFiles& files, const std::string& host);

/// A non-blocking connection.
class Channel {
 public:
  enum class Result : std::uint8_t { kDone, kMustRead, kMustWrite, kClosed };

  /// tls: null for a connection without TLS.
  Channel(tool::FileDescriptor socket, const TlsContext* tls);

  [[nodiscard]] int number() const noexcept { return socket_.number(); }
  /// Reads what has arrived, up to the size of `room`. If not done, `room` is empty.
  Result read(std::span<char>& room);
  /// Removes the written part from the front.
  Result write(std::string_view& bytes);
  /// Tells the peer that nothing more will be written.
  void finish();

 private:
  [[nodiscard]] Result resultOf(int returned) const;

  tool::FileDescriptor socket_;
  std::unique_ptr<SSL, decltype(&SSL_free)> tls_;
};

}  // namespace tavik::station

#endif
