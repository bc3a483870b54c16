#include "File.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <system_error>

namespace tavik {
namespace {

constexpr off_t kLargestFile = off_t{1} << 20;

bool readAll(int file, std::span<unsigned char> rest, std::string& error) {
  while (!rest.empty()) {
    const ssize_t count = read(file, rest.data(), rest.size());
    if (count > 0) {
      rest = rest.subspan(static_cast<std::size_t>(count));
    } else if (count == 0 || errno != EINTR) {
      error = count == 0 ? "became shorter while it was read" : systemReason();
      return false;
    }
  }
  return true;
}

/// Empty for a file that can be read.
std::string whyUnreadable(const struct stat& status, std::string_view what) {
  if (!S_ISREG(status.st_mode)) return "not a regular file";
  if (status.st_size > kLargestFile) return "larger than 1 MiB, so not a " + std::string(what);
  return status.st_size == 0 ? "empty" : "";
}

}  // namespace

std::string systemReason() { return std::generic_category().message(errno); }

std::optional<WipedBytes> readOpenFile(int file, std::string_view what, std::string& error) {
  struct stat status {};
  if (file < 0 || fstat(file, &status) != 0) {
    error = systemReason();
    return std::nullopt;
  }
  if (std::string why = whyUnreadable(status, what); !why.empty()) {
    error = std::move(why);
    return std::nullopt;
  }
  WipedBytes bytes(static_cast<std::size_t>(status.st_size));
  if (!readAll(file, bytes.span(), error)) return std::nullopt;
  return bytes;
}

std::optional<WipedBytes> readSmallFile(const std::string& path, std::string_view what, std::string& error) {
  if (path.find('\0') != std::string::npos) {
    error = "the path contains a NUL character";
    return std::nullopt;
  }
  const FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));  // a pipe must not block
  return readOpenFile(file.number(), what, error);
}

}  // namespace tavik
