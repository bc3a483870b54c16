#include "http/Tls.h"

#include <arpa/inet.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509v3.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <tavik/StationPlatform.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <vector>

#include "ExitStatus.h"
#include "io/Bytes.h"
#include "io/PendingFile.h"

namespace tavik::station {
namespace {

using tool::Unusable;

constexpr const char* kMaking = "cannot make a certificate (use --tls-certificate and --tls-key)";

std::string tlsReason() {
  const unsigned long code = ERR_get_error();
  ERR_clear_error();
  const char* const reason = code == 0 ? nullptr : ERR_reason_error_string(code);
  return reason == nullptr ? "unknown error" : reason;
}

void require(bool condition, const std::string& what) {
  if (!condition) throw Unusable(what + ": " + tlsReason());
}

void addExtension(X509* certificate, int number, const std::string& value) {
  X509V3_CTX context = {};
  X509V3_set_ctx_nodb(&context);
  X509V3_set_ctx(&context, certificate, certificate, nullptr, nullptr, 0);
  const std::unique_ptr<X509_EXTENSION, decltype(&X509_EXTENSION_free)> extension(
      X509V3_EXT_nconf_nid(nullptr, &context, number, value.c_str()), X509_EXTENSION_free);
  require(extension != nullptr && X509_add_ext(certificate, extension.get(), -1) == 1, kMaking);
}

bool isAddress(const std::string& host) {
  in6_addr address = {};
  return inet_pton(AF_INET, host.c_str(), &address) == 1 || inet_pton(AF_INET6, host.c_str(), &address) == 1;
}

/// The names by which clients reach the service.
std::string alternativeNames(const std::string& host) {
  char name[HOST_NAME_MAX + 1] = "";
  gethostname(name, sizeof name - 1);
  std::string names = "DNS:localhost,IP:127.0.0.1,IP:::1";
  if (*name != '\0') names += std::string(",DNS:") + name;
  if (host == "0.0.0.0" || host == "::") return names;
  return names + (isAddress(host) ? ",IP:" : ",DNS:") + host;
}

std::string pemOf(EVP_PKEY* key, X509* certificate) {
  const std::unique_ptr<BIO, decltype(&BIO_free)> bio(BIO_new(BIO_s_mem()), BIO_free);
  const bool written = bio != nullptr &&
                       (key != nullptr ? PEM_write_bio_PrivateKey(bio.get(), key, nullptr, nullptr, 0, nullptr, nullptr)
                                       : PEM_write_bio_X509(bio.get(), certificate)) == 1;
  require(written, kMaking);
  char* bytes = nullptr;
  const long size = BIO_get_mem_data(bio.get(), &bytes);
  return {bytes, static_cast<std::size_t>(size)};
}

void writePrivate(const std::string& path, const std::string& text) {
  tool::PendingFile file(path, path, S_IRUSR | S_IWUSR);
  file.write(tool::bytesOf(text));
  file.commit(tool::PendingFile::Existing::kReplace);
}

}  // namespace

TlsContext::TlsContext(const CertificateFiles& files) : context_(SSL_CTX_new(TLS_server_method()), SSL_CTX_free) {
  SSL_CTX* const context = context_.get();
  require(context != nullptr && SSL_CTX_set_min_proto_version(context, TLS1_2_VERSION) == 1, "cannot set up TLS");
  require(SSL_CTX_use_certificate_chain_file(context, files.certificate.c_str()) == 1,
          "--tls-certificate " + files.certificate + ": cannot read a certificate (PEM)");
  require(SSL_CTX_use_PrivateKey_file(context, files.key.c_str(), SSL_FILETYPE_PEM) == 1,
          "--tls-key " + files.key + ": cannot read a private key (PEM)");
  require(SSL_CTX_check_private_key(context) == 1, "--tls-key " + files.key + ": is not the key of the certificate");
  SSL_CTX_set_mode(context, SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER);
  SSL_CTX_set_options(context, SSL_OP_NO_RENEGOTIATION | SSL_OP_NO_COMPRESSION);
}

std::string TlsContext::fingerprint() const {
  unsigned char* bytes = nullptr;
  const int size = i2d_X509(SSL_CTX_get0_certificate(context_.get()), &bytes);
  require(size > 0, "cannot encode the certificate");
  std::string text = sha256(std::span(bytes, static_cast<std::size_t>(size)));
  OPENSSL_free(bytes);
  return text;
}

void makeSelfSignedCertificate(const CertificateFiles& files, const std::string& host) {
  if (access(files.certificate.c_str(), F_OK) == 0 && access(files.key.c_str(), F_OK) == 0) return;
  const std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> key(EVP_EC_gen("P-256"), EVP_PKEY_free);
  const std::unique_ptr<X509, decltype(&X509_free)> certificate(X509_new(), X509_free);
  require(key != nullptr && certificate != nullptr, kMaking);
  X509* const made = certificate.get();
  std::uint64_t serial = 0;
  require(RAND_bytes(reinterpret_cast<unsigned char*>(&serial), sizeof serial) == 1, kMaking);
  constexpr long kTenYears = 10L * 365 * 24 * 60 * 60;
  constexpr std::string_view kName = "tavik station";
  X509_NAME* const name = X509_get_subject_name(made);
  const bool isFilled =
      X509_set_version(made, X509_VERSION_3) == 1 &&
      ASN1_INTEGER_set_uint64(X509_get_serialNumber(made), serial >> 1U) == 1 &&
      X509_gmtime_adj(X509_getm_notBefore(made), 0) != nullptr &&
      X509_gmtime_adj(X509_getm_notAfter(made), kTenYears) != nullptr && X509_set_pubkey(made, key.get()) == 1 &&
      X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, reinterpret_cast<const unsigned char*>(kName.data()),
                                 static_cast<int>(kName.size()), -1, 0) == 1 &&
      X509_set_issuer_name(made, name) == 1;
  require(isFilled, kMaking);
  addExtension(made, NID_subject_alt_name, alternativeNames(host));
  addExtension(made, NID_ext_key_usage, "serverAuth");
  require(X509_sign(made, key.get(), EVP_sha256()) != 0, kMaking);
  writePrivate(files.key, pemOf(key.get(), nullptr));
  writePrivate(files.certificate, pemOf(nullptr, made));
}

Channel::Channel(tool::FileDescriptor socket, const TlsContext* tls)
    : socket_(std::move(socket)), tls_(tls == nullptr ? nullptr : SSL_new(tls->context()), SSL_free) {
  if (tls == nullptr) return;
  if (tls_ == nullptr || SSL_set_fd(tls_.get(), socket_.number()) != 1) throw std::bad_alloc();
  SSL_set_accept_state(tls_.get());
}

Channel::Result Channel::resultOf(int returned) const {
  const int why = SSL_get_error(tls_.get(), returned);
  ERR_clear_error();
  if (why == SSL_ERROR_WANT_READ) return Result::kMustRead;
  return why == SSL_ERROR_WANT_WRITE ? Result::kMustWrite : Result::kClosed;
}

Channel::Result Channel::read(std::span<char>& room) {
  std::size_t count = 0;
  if (tls_) {
    const int returned = SSL_read_ex(tls_.get(), room.data(), room.size(), &count);
    if (returned != 1) return resultOf(returned);
  } else {
    const ssize_t received = recv(socket_.number(), room.data(), room.size(), 0);
    if (received < 0 && (errno == EAGAIN || errno == EINTR)) return Result::kMustRead;
    if (received <= 0) return Result::kClosed;
    count = static_cast<std::size_t>(received);
  }
  room = room.first(count);
  return Result::kDone;
}

Channel::Result Channel::write(std::string_view& bytes) {
  while (!bytes.empty()) {
    std::size_t count = 0;
    if (tls_) {
      const int returned = SSL_write_ex(tls_.get(), bytes.data(), bytes.size(), &count);
      if (returned != 1) return resultOf(returned);
    } else {
      const ssize_t sent = send(socket_.number(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
      if (sent < 0 && (errno == EAGAIN || errno == EINTR)) return Result::kMustWrite;
      if (sent < 0) return Result::kClosed;
      count = static_cast<std::size_t>(sent);
    }
    bytes.remove_prefix(count);
  }
  return Result::kDone;
}

void Channel::finish() {
  if (tls_) {
    SSL_shutdown(tls_.get());
    ERR_clear_error();
  }
  shutdown(socket_.number(), SHUT_WR);
}

}  // namespace tavik::station
