#include "rules/Documents.h"

#include <fcntl.h>
#include <fmt/chrono.h>
#include <fmt/format.h>
#include <sys/mman.h>
#include <tavik/PropertyList.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <system_error>

#include "ExitStatus.h"
#include "io/ArgumentName.h"
#include "io/Bytes.h"
#include "io/FileDescriptor.h"
#include "io/StandardError.h"

namespace tavik::tool {
namespace {

thread_local LogCapture* currentCapture = nullptr;

/// How the station platform begins what it says about a key file.
constexpr std::string_view kKeyFileRefusal = "public key file ";

int openLog(const std::string& path) {
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOCTTY, 0666);
  if (file < 0) throw Unusable(nameOf("--log", path) + ": " + std::generic_category().message(errno));
  return file;
}

std::string logTime() {
  const auto now = std::chrono::floor<std::chrono::milliseconds>(std::chrono::system_clock::now());
  const auto milliseconds = now.time_since_epoch().count() % 1000;
  return fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:03}Z", fmt::gmtime(std::chrono::system_clock::to_time_t(now)),
                     milliseconds);
}

/// A document as a file that has no name, since a kernel reads its library from a path.
class NamelessFile {
 public:
  explicit NamelessFile(const Data& contents) : file_(memfd_create("tavik-rule-library", MFD_CLOEXEC)) {
    const bool written = file_ >= 0 && writeAll(file_, textOf(contents.bytes()));
    const FileDescriptor again(written ? open(path().c_str(), O_RDONLY | O_CLOEXEC) : -1);  // may be one too many
    if (again.number() < 0) failure_ = errno;
  }
  NamelessFile(const NamelessFile&) = delete;
  NamelessFile& operator=(const NamelessFile&) = delete;
  ~NamelessFile() { close(file_); }

  /// An errno; 0 when the file can be read.
  [[nodiscard]] int failure() const noexcept { return failure_; }
  [[nodiscard]] std::string path() const { return fmt::format("/proc/self/fd/{}", file_); }

 private:
  int file_;
  int failure_ = 0;
};

Data toBinary(const std::string& name, const Dictionary& document) {
  std::string error;
  std::optional<Data> bytes = writePropertyList(Value(document), PropertyListFormat::kBinary, error);
  if (!bytes) throw Unusable(name + ": " + error);
  return *std::move(bytes);
}

std::optional<Value> taken(const Dictionary& document, std::optional<std::string>& errorDescription) {
  const bool isSigned = document.findData("payload") != nullptr && document.findArray("signatures") != nullptr;
  if (!isSigned) return Value(document);
  errorDescription = "is signed: leave out --unsigned";
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
  if (errorDescription && errorDescription->starts_with(kKeyFileRefusal)) throw Unusable(*errorDescription);
  return document;
}

bool HostPlatform::logs() const { return currentCapture != nullptr || logFile_ >= 0; }

void HostPlatform::log(std::string_view line) const {
  LogCapture* const capture = currentCapture;
  if (capture != nullptr && line.starts_with(capture->prefix_)) {
    capture->lastLine_ = line.substr(capture->prefix_.size());
  }
  const bool paused = capture != nullptr && capture->logFile_ == LogCapture::LogFile::kPauses;
  if (logFile_ < 0 || paused) return;
  const std::string whole = fmt::format("{} {}\n", logTime(), line);
  const ssize_t written = write(logFile_, whole.data(), whole.size());
  if (written != static_cast<ssize_t>(whole.size())) logFailure_ = written < 0 ? errno : ENOSPC;
}

void HostPlatform::checkLog() const {
  if (logFailure_ != 0)
    throw Unusable(nameOf("--log", *options_.log) + ": " + std::generic_category().message(logFailure_));
}

LogCapture::LogCapture(std::string_view prefix, LogFile logFile) : prefix_(prefix), logFile_(logFile) {
  currentCapture = this;
}

LogCapture::~LogCapture() { currentCapture = nullptr; }

void warnWhenUnsigned(std::string_view command, const PlatformOptions& options) {
  if (options.unsignedDocuments) {
    printToStandardError(command, "--unsigned: the rule documents are taken as they are, no signature is checked");
  }
}

Dictionary validatedContent(const std::string& name, const Dictionary& document, const HostPlatform& platform) {
  std::optional<std::string> refusal;
  const std::optional<Value> content =
      platform.validatedPropertyListFromSignedDictionary(document, ZRTTavikKernel::kPublicKeyPath, refusal);
  if (refusal) throw Failure(ExitStatus::kNoVerdict, name + ": " + *refusal);
  const Dictionary* const entries = content ? content->ifDictionary() : nullptr;
  if (entries == nullptr || entries->empty()) throw Failure(ExitStatus::kNoVerdict, name + ": holds no rules");
  return *entries;
}

Dictionary trustedContent(const std::string& name, const Dictionary& document, const HostPlatform& platform) {
  Dictionary content = validatedContent(name, document, platform);
  if (!content.contains("version")) throw Failure(ExitStatus::kNoVerdict, name + ": has no \"version\"");
  return content;
}

std::unique_ptr<ZRTTavikKernel> openKernel(const std::string& name, const Dictionary& library,
                                           const std::shared_ptr<const HostPlatform>& platform) {
  const NamelessFile file(toBinary(name, library));
  if (file.failure() != 0) {
    throw Unusable(name + ": no room for a copy in memory: " + std::generic_category().message(file.failure()));
  }
  const LogCapture log("!!!ERROR can not validate Rule Library!!!:", LogCapture::LogFile::kGoesOn);
  std::unique_ptr<ZRTTavikKernel> kernel = ZRTTavikKernel::init(file.path(), platform);
  if (!kernel) throw Failure(ExitStatus::kNoVerdict, name + ": " + log.lastLine().value_or("holds no rules"));
  return kernel;
}

}  // namespace tavik::tool
