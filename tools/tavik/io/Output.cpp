#include "io/Output.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "ExitStatus.h"
#include "io/ArgumentName.h"
#include "io/Bytes.h"
#include "io/FileDescriptor.h"
#include "io/PendingFile.h"
#include "io/StandardOutput.h"

namespace tavik::tool {
namespace {

/// The target of `path` with links resolved; the file need not exist.
std::string resolved(const std::string& path) {
  constexpr int kMostLinks = 40;  // the system's limit
  std::filesystem::path place = path;
  for (int links = 0; links < kMostLinks; ++links) {
    std::error_code notALink;
    const std::filesystem::path target = std::filesystem::read_symlink(place, notALink);
    if (notALink) break;
    place = place.parent_path() / target;
  }
  return place.string();
}

/// Standard output's own file must not be replaced, because it may contain more. If there is none, a device takes its
/// place.
bool isStandardOutput(const struct stat& file) {
  struct stat output {};
  return !S_ISCHR(file.st_mode) && fstat(STDOUT_FILENO, &output) == 0 && output.st_dev == file.st_dev &&
         output.st_ino == file.st_ino;
}

void writeInPlace(const std::string& name, const std::string& path, std::string_view bytes) {
  const FileDescriptor file(open(path.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY));
  if (file.number() < 0 || !writeAll(file.number(), bytes)) throw Unusable(name + ": " + systemReason());
}

}  // namespace

void writeOutput(std::string_view argument, const std::string& path, std::span<const std::uint8_t> bytes) {
  if (path == kStandardStream) return writeStandardOutput(textOf(bytes));
  const std::string name = nameOf(argument, path);
  struct stat status {};
  const bool exists = stat(path.c_str(), &status) == 0;
  if (!exists && errno != ENOENT) throw Unusable(name + ": " + systemReason());
  if (exists && S_ISDIR(status.st_mode)) throw Unusable(name + ": is a directory");
  if (exists && isStandardOutput(status)) return writeStandardOutput(textOf(bytes));
  if (exists && !S_ISREG(status.st_mode)) return writeInPlace(name, path, textOf(bytes));
  if (exists && access(path.c_str(), W_OK) != 0) throw Unusable(name + ": " + systemReason());
  if (exists && status.st_uid != geteuid()) throw Unusable(name + ": belongs to another user; remove it first");
  PendingFile file(name, resolved(path), exists ? status.st_mode & 0777U : ordinaryPermissions());
  file.write(bytes);
  file.commit(PendingFile::Existing::kReplace);
}

}  // namespace tavik::tool
