#include "rules/HostPlatform.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <tavik/PropertyList.h>
#include <tavik/VisibleText.h>
#include <tavik/ZRTTavikKernel.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <memory>
#include <system_error>
#include <utility>
#include <vector>

#include "ExitStatus.h"
#include "io/ArgumentName.h"
#include "io/FileDescriptor.h"
#include "io/StandardError.h"
#include "text/IsoTime.h"
#include "text/Text.h"

namespace tavik::tool {
namespace {

int openLog(const std::string& path) {
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOCTTY, 0666);
  if (file < 0) throw Unusable(nameOf("--log", path) + ": " + systemReason());
  return file;
}

std::string logTime() {
  const auto now = std::chrono::floor<std::chrono::milliseconds>(std::chrono::system_clock::now());
  return isoText(now.time_since_epoch().count());
}

/// A plain document. Its digest is that of a binary property list with its content, so that it does not depend on the
/// encoding of the file.
ValidatedDocument taken(const Dictionary& document) {
  ValidatedDocument taken;
  std::string error;
  const std::optional<Data> bytes = writePropertyList(document, PropertyListFormat::kBinary, error);
  if (isSigned(document)) {
    taken.errorDescription = "is signed; remove --unsigned";
  } else {
    taken.content = document;
    if (bytes) taken.provenance.sha256 = sha256(bytes->bytes());
  }
  return taken;
}

TrustPolicy policyFor(const PlatformOptions& options) {
  requireOneTrustOption(options);
  TrustPolicy policy;
  policy.publicKeyFile = options.publicKey;
  if (options.trust) {
    std::string error;
    std::optional<TrustPolicy> read = TrustPolicy::read(*options.trust, error);
    if (!read) throw Unusable("--trust: " + error);
    policy = *std::move(read);
  }
  policy.remember = options.checksDevices;
  policy.time = options.time;
  if (options.time) policy.state.reset();
  return policy;
}

}  // namespace

HostPlatform::HostPlatform(const PlatformOptions& options)
    : options_(options), station_(policyFor(options), StationPlatform::Log::kNone) {
  if (options.log) logFile_ = openLog(*options.log);
}

HostPlatform::~HostPlatform() {
  if (logFile_ >= 0) close(logFile_);
}

std::optional<Value> HostPlatform::validatedPropertyListFromSignedDictionary(
    const Dictionary& signedDictionary, const std::string& publicKeyPath,
    std::optional<std::string>& errorDescription) const {
  ValidatedDocument validated = validate(signedDictionary, publicKeyPath, std::nullopt);
  errorDescription = std::move(validated.errorDescription);
  return std::move(validated.content);
}

ValidatedDocument HostPlatform::validate(const Dictionary& signedDictionary, const std::string& publicKeyPath,
                                         std::optional<DocumentRole> role) const {
  if (options_.unsignedDocuments) return taken(signedDictionary);
  ValidatedDocument validated = station_.validate(signedDictionary, publicKeyPath, role);
  if (validated.stationIsToBlame) {
    const bool isFixedKey = !options_.publicKey && !options_.trust;
    throw Unusable(*validated.errorDescription + (isFixedKey ? "; use --public-key to select another key file" : ""));
  }
  static std::atomic<bool> warned = false;  // one warning is enough for both documents
  if (const std::string& warning = validated.provenance.warning; !warning.empty() && !warned.exchange(true)) {
    printToStandardError("", warning);
    log(warning);
  }
  return validated;
}

void HostPlatform::log(std::string_view line) const {
  if (logFile_ < 0) return;
  const std::string whole =
      fmt::format("{} {}: {}\n", logTime(), visible(program_invocation_short_name), visibleLogLine(line));
  const ssize_t written = write(logFile_, whole.data(), whole.size());
  if (written != static_cast<ssize_t>(whole.size())) logFailure_ = written < 0 ? errno : ENOSPC;
}

void HostPlatform::checkLog() const {
  if (logFailure_ != 0)
    throw Unusable(nameOf("--log", *options_.log) + ": " + std::generic_category().message(logFailure_));
}

const PredicateKernel& silentKernel() {
  static const PredicateKernel kernel(std::make_shared<StationPlatform>(std::nullopt, StationPlatform::Log::kNone));
  return kernel;
}

std::string_view hintForUntrusted(std::string_view description) {
  const bool isPlain = description.starts_with("the document is not signed");
  return isPlain ? ", or use --unsigned to try it without a signature" : "";
}

bool isSigned(const Dictionary& document) {
  return document.findData("payload") != nullptr && document.findArray("signatures") != nullptr;
}

void requireOneTrustOption(const PlatformOptions& options) {
  const auto exclude = [](bool first, bool second, const char* names) {
    if (first && second) throw Unusable(std::string(names) + " exclude each other");
  };
  exclude(options.publicKey.has_value(), options.unsignedDocuments, "--public-key and --unsigned");
  exclude(options.trust.has_value(), options.unsignedDocuments, "--trust and --unsigned");
  exclude(options.trust.has_value(), options.publicKey.has_value(), "--trust and --public-key");
}

void warnAboutTrust(std::string_view command, const PlatformOptions& options) {
  if (options.unsignedDocuments) {
    printToStandardError(command, "--unsigned: rule documents are used as they are; signatures are not verified");
    return;
  }
  std::vector<std::pair<std::string, KeyFileUse>> files;
  std::string error;
  if (!options.trust) {
    files.emplace_back(options.publicKey.value_or(ZRTTavikKernel::kPublicKeyPath), KeyFileUse::kVerifying);
  } else if (const std::optional<TrustPolicy> policy = TrustPolicy::read(*options.trust, error)) {
    files.emplace_back(*options.trust, KeyFileUse::kTrustPolicy);
    for (const TrustPolicy::Key& key : policy->keys) files.emplace_back(key.file, KeyFileUse::kVerifying);
  }
  for (const auto& [file, use] : files) {
    if (const auto warning = keyFileWarning(file, use)) printToStandardError(command, *warning);
  }
}

}  // namespace tavik::tool
