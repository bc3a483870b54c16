#include "http/Certificate.h"

#include <arpa/inet.h>
#include <gnutls/crypto.h>
#include <gnutls/x509.h>
#include <netinet/tcp.h>
#include <sys/stat.h>
#include <tavik/StationPlatform.h>
#include <unistd.h>

#include <climits>
#include <ctime>
#include <span>
#include <system_error>
#include <utility>

#include "ExitStatus.h"
#include "io/PendingFile.h"

namespace tavik::station {
namespace {

using tool::Unusable;

void require(int code, const std::string& what) {
  if (code < 0) throw Unusable(what + ": " + gnutls_strerror(code));
}

void requireMade(int code) { require(code, "cannot make a certificate (use --tls-certificate and --tls-key)"); }

/// Adds a name or an address by which clients reach the service.
void addName(gnutls_x509_crt_t certificate, const std::string& name) {
  std::array<char, sizeof(in6_addr)> bytes = {};
  std::string_view address;
  if (inet_pton(AF_INET, name.c_str(), bytes.data()) == 1) address = {bytes.data(), sizeof(in_addr)};
  if (inet_pton(AF_INET6, name.c_str(), bytes.data()) == 1) address = {bytes.data(), sizeof(in6_addr)};
  const auto kind = address.empty() ? GNUTLS_SAN_DNSNAME : GNUTLS_SAN_IPADDRESS;
  const std::string_view value = address.empty() ? name : address;
  requireMade(gnutls_x509_crt_set_subject_alt_name(certificate, kind, value.data(), static_cast<unsigned>(value.size()),
                                                   GNUTLS_FSAN_APPEND));
}

/// Acknowledges the last message of a handshake. Clients with Nagle's algorithm would wait 40 ms for that before they
/// send the first request.
int acknowledge(gnutls_session_t session, unsigned /*type*/, unsigned /*when*/, unsigned isIncoming,
                const gnutls_datum_t* /*message*/) {
  const int on = 1;
  if (isIncoming != 0) setsockopt(gnutls_transport_get_int(session), IPPROTO_TCP, TCP_QUICKACK, &on, sizeof on);
  return 0;
}

void writePrivate(const std::string& path, const gnutls_datum_t& text) {
  const std::unique_ptr<unsigned char, decltype(gnutls_free)> owner(text.data, gnutls_free);
  tool::PendingFile file(path, path, S_IRUSR | S_IWUSR);
  file.write(std::span(text.data, text.size));
  file.commit(tool::PendingFile::Existing::kReplace);
}

}  // namespace

Certificate::Certificate(CertificateFiles files, Report report)
    : files_(std::move(files)), report_(std::move(report)), loadedTimes_(times()) {
  loaded_.push_back(load());
}

Certificate::Times Certificate::times() const {
  std::error_code missing;
  return {std::filesystem::last_write_time(files_.certificate, missing),
          std::filesystem::last_write_time(files_.key, missing)};
}

Certificate::Credentials Certificate::load() const {
  gnutls_certificate_credentials_t made = nullptr;
  require(gnutls_certificate_allocate_credentials(&made), "cannot set up TLS");
  Credentials credentials(made, gnutls_certificate_free_credentials);
  const std::string what = "--tls-certificate " + files_.certificate + " and --tls-key " + files_.key;
  require(
      gnutls_certificate_set_x509_key_file(made, files_.certificate.c_str(), files_.key.c_str(), GNUTLS_X509_FMT_PEM),
      what + ": cannot use a certificate and its key (PEM)");
  return credentials;
}

void Certificate::use(gnutls_session_t session) {
  if (const Times found = times(); std::exchange(loadedTimes_, found) != found) {
    try {
      loaded_.push_back(load());
      report_("");
    } catch (const Unusable& problem) {
      report_(problem.what());
    }
  }
  gnutls_credentials_set(session, GNUTLS_CRD_CERTIFICATE, loaded_.back().get());
  gnutls_handshake_set_hook_function(session, GNUTLS_HANDSHAKE_FINISHED, GNUTLS_HOOK_POST, &acknowledge);
}

std::string Certificate::fingerprint() const {
  gnutls_datum_t encoded = {};
  require(gnutls_certificate_get_crt_raw(loaded_.back().get(), 0, 0, &encoded), "cannot encode the certificate");
  return sha256(std::span(encoded.data, encoded.size));
}

void makeSelfSignedCertificate(const CertificateFiles& files, const std::string& host) {
  if (access(files.certificate.c_str(), F_OK) == 0 && access(files.key.c_str(), F_OK) == 0) return;
  gnutls_x509_privkey_t key = nullptr;
  requireMade(gnutls_x509_privkey_init(&key));
  const std::shared_ptr<void> keyOwner(key, gnutls_x509_privkey_deinit);
  gnutls_x509_crt_t made = nullptr;
  requireMade(gnutls_x509_crt_init(&made));
  const std::shared_ptr<void> owner(made, gnutls_x509_crt_deinit);
  std::array<unsigned char, 8> serial = {};
  requireMade(gnutls_rnd(GNUTLS_RND_NONCE, serial.data(), serial.size()));
  serial[0] &= 0x7fU;
  constexpr std::time_t kTenYears = std::time_t{10} * 365 * 24 * 60 * 60;
  const std::time_t now = std::time(nullptr);
  requireMade(gnutls_x509_privkey_generate(key, GNUTLS_PK_ECDSA, GNUTLS_CURVE_TO_BITS(GNUTLS_ECC_CURVE_SECP256R1), 0));
  requireMade(gnutls_x509_crt_set_version(made, 3));
  requireMade(gnutls_x509_crt_set_serial(made, serial.data(), serial.size()));
  requireMade(gnutls_x509_crt_set_activation_time(made, now));
  requireMade(gnutls_x509_crt_set_expiration_time(made, now + kTenYears));
  requireMade(gnutls_x509_crt_set_dn(made, "CN=tavik station", nullptr));
  requireMade(gnutls_x509_crt_set_key(made, key));
  std::array<char, HOST_NAME_MAX + 1> machine = {};
  gethostname(machine.data(), machine.size() - 1);
  for (const std::string& name :
       {std::string("localhost"), std::string("127.0.0.1"), std::string("::1"), std::string(machine.data()), host}) {
    if (!name.empty() && name != "0.0.0.0" && name != "::") addName(made, name);
  }
  requireMade(gnutls_x509_crt_set_key_purpose_oid(made, GNUTLS_KP_TLS_WWW_SERVER, 0));
  requireMade(gnutls_x509_crt_sign2(made, made, key, GNUTLS_DIG_SHA256, 0));
  gnutls_datum_t text = {};
  requireMade(gnutls_x509_privkey_export2(key, GNUTLS_X509_FMT_PEM, &text));
  writePrivate(files.key, text);
  requireMade(gnutls_x509_crt_export2(made, GNUTLS_X509_FMT_PEM, &text));
  writePrivate(files.certificate, text);
}

}  // namespace tavik::station
