#include "rules/RuleDocuments.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/mman.h>
#include <tavik/PropertyList.h>
#include <unistd.h>

#include <cerrno>
#include <optional>
#include <system_error>
#include <utility>

#include "ExitStatus.h"
#include "io/Bytes.h"
#include "io/FileDescriptor.h"

namespace tavik::tool {
namespace {

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

}  // namespace

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
