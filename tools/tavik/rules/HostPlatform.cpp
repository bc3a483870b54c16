#include "rules/HostPlatform.h"

#include <fcntl.h>
#include <fmt/chrono.h>
#include <fmt/format.h>
#include <tavik/VisibleText.h>
#include <tavik/ZRTTavikKernel.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <system_error>

#include "ExitStatus.h"
#include "io/ArgumentName.h"
#include "io/FileDescriptor.h"
#include "io/StandardError.h"
#include "text/Text.h"

namespace tavik::tool {
namespace {

/// The beginning of the station platform's messages about a key file.
constexpr std::string_view kKeyFileRefusal = "public key file ";

int openLog(const std::string& path) {
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOCTTY, 0666);
  if (file < 0) throw Unusable(nameOf("--log", path) + ": " + systemReason());
  return file;
}

std::string logTime() {
  const auto now = std::chrono::floor<std::chrono::milliseconds>(std::chrono::system_clock::now());
  const auto milliseconds = now.time_since_epoch().count() % 1000;
  return fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:03}Z", fmt::gmtime(std::chrono::system_clock::to_time_t(now)),
                     milliseconds);
}

std::optional<Value> taken(const Dictionary& document, std::optional<std::string>& errorDescription) {
  if (!isSigned(document)) return Value(document);
  errorDescription = "is signed; remove --unsigned";
  return std::nullopt;
}

}  // namespace

HostPlatform::HostPlatform(const PlatformOptions& options)
    : station_(options.publicKey, StationPlatform::Log::kNone), options_(options) {
  if (options.unsignedDocuments && options.publicKey) throw Unusable("--public-key and --unsigned exclude each other");
  if (options.log) logFile_ = openLog(*options.log);
}

HostPlatform::~HostPlatform() {
  if (logFile_ >= 0) close(logFile_);
}

std::optional<Value> HostPlatform::validatedPropertyListFromSignedDictionary(
    const Dictionary& signedDictionary, const std::string& publicKeyPath,
    std::optional<std::string>& errorDescription) const {
  if (options_.unsignedDocuments) return taken(signedDictionary, errorDescription);
  std::optional<Value> document =
      station_.validatedPropertyListFromSignedDictionary(signedDictionary, publicKeyPath, errorDescription);
  if (errorDescription && errorDescription->starts_with(kKeyFileRefusal)) {
    throw Unusable(*errorDescription + (options_.publicKey ? "" : "; use --public-key to select another key file"));
  }
  return document;
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

std::string_view hintForUntrusted(std::string_view description) {
  const bool isPlain = description.starts_with("the document is not signed");
  return isPlain ? ", or use --unsigned to try it without a signature" : "";
}

bool isSigned(const Dictionary& document) {
  return document.findData("payload") != nullptr && document.findArray("signatures") != nullptr;
}

void warnAboutTrust(std::string_view command, const PlatformOptions& options) {
  if (options.unsignedDocuments) {
    printToStandardError(command, "--unsigned: rule documents are used as they are; signatures are not verified");
  } else if (const auto warning =
                 keyFileWarning(options.publicKey.value_or(ZRTTavikKernel::kPublicKeyPath), KeyFileUse::kVerifying)) {
    printToStandardError(command, *warning);
  }
}

}  // namespace tavik::tool
