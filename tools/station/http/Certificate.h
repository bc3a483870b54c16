/// @file
/// The certificate of the service.
#ifndef TAVIK_STATION_HTTP_CERTIFICATE_H
#define TAVIK_STATION_HTTP_CERTIFICATE_H

#include <gnutls/gnutls.h>

#include <array>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

namespace tavik::station {

struct CertificateFiles {
  std::string certificate;  ///< PEM, with the chain
  std::string key;          ///< PEM
};

/// A certificate that is read again when its files change. Not thread-safe.
class Certificate {
 public:
  /// Gets why changed files are not used; an empty text if they are.
  using Report = std::function<void(const std::string& problem)>;

  /// Throws `Unusable` if the files cannot be used.
  Certificate(CertificateFiles files, Report report);

  /// Gives the newest certificate to a session.
  void use(gnutls_session_t session);
  /// SHA-256 of the newest certificate, in hexadecimal digits.
  [[nodiscard]] std::string fingerprint() const;

 private:
  using Credentials = std::unique_ptr<std::remove_pointer_t<gnutls_certificate_credentials_t>,
                                      decltype(&gnutls_certificate_free_credentials)>;
  using Times = std::array<std::filesystem::file_time_type, 2>;

  [[nodiscard]] Times times() const;
  [[nodiscard]] Credentials load() const;

  CertificateFiles files_;
  Report report_;
  Times loadedTimes_;
  std::vector<Credentials> loaded_;  // the newest last; sessions may use the others
};

/// Makes a self-signed certificate for a host name or address, valid for ten years, unless the files exist. Both files
/// have mode 0600. Throws `Unusable`.
void makeSelfSignedCertificate(const CertificateFiles& files, const std::string& host);

}  // namespace tavik::station

#endif
