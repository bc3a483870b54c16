#include "values/File.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace tavik {
namespace {

// A file descriptor that closes itself.
class File {
 public:
  // Non-blocking, so that a pipe without a writer does not block the caller.
  explicit File(const std::string& path) noexcept
      : descriptor_(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC)) {}
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  ~File() {
    if (isOpen()) ::close(descriptor_);
  }
  [[nodiscard]] bool isOpen() const noexcept { return descriptor_ >= 0; }
  [[nodiscard]] int descriptor() const noexcept { return descriptor_; }

 private:
  int descriptor_;
};

std::string systemReason() { return std::generic_category().message(errno); }

}  // namespace

std::string readFile(const std::string& path, const SizeLimit& limit, std::vector<std::uint8_t>& bytes) {
  if (path.find('\0') != std::string::npos) return "the path contains a NUL character";
  const File file(path);
  struct stat status = {};
  if (!file.isOpen() || ::fstat(file.descriptor(), &status) != 0) return "the file cannot be opened: " + systemReason();
  if (S_ISDIR(status.st_mode)) return "this is a directory, not a file";
  if (!S_ISREG(status.st_mode)) return "this is a device, pipe or socket, not a regular file";
  if (static_cast<std::uintmax_t>(status.st_size) > limit.bytes) return std::string(limit.exceeded);

  bytes.resize(static_cast<std::size_t>(status.st_size) + 1);  // one more, so that the end is found without growing
  std::size_t used = 0;
  while (true) {
    const ssize_t count = ::read(file.descriptor(), bytes.data() + used, bytes.size() - used);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return "the file cannot be read: " + systemReason();
    if (count == 0) break;
    used += static_cast<std::size_t>(count);
    if (used > limit.bytes) return std::string(limit.exceeded);
    if (used == bytes.size()) bytes.resize(2 * used);  // the file has grown
  }
  bytes.resize(used);
  return {};
}

}  // namespace tavik
