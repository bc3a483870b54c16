#include "io/PendingFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <initializer_list>
#include <utility>

#include "ExitStatus.h"
#include "io/Bytes.h"
#include "io/FileDescriptor.h"

namespace tavik::tool {
namespace {

std::string folderOf(const std::string& path) {
  const std::string folder = std::filesystem::path(path).parent_path().string();
  return folder.empty() ? "." : folder;
}

}  // namespace

SignalsHeld::SignalsHeld() noexcept {
  sigset_t ending;
  sigemptyset(&ending);
  for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGXCPU}) sigaddset(&ending, signal);
  pthread_sigmask(SIG_BLOCK, &ending, &before_);
}

SignalsHeld::~SignalsHeld() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

PendingFile::PendingFile(std::string name, const std::string& path, mode_t permissions)
    : name_(std::move(name)), path_(path), pendingPath_(folderOf(path) + "/.tavik-XXXXXX") {
  file_ = mkostemp(pendingPath_.data(), O_CLOEXEC);
  if (file_ < 0) pendingPath_.clear();
  if (file_ < 0 || fchmod(file_, permissions) != 0) {
    const int reason = errno;
    abandon();
    errno = reason;
    fail();
  }
}

PendingFile::~PendingFile() { abandon(); }

void PendingFile::abandon() noexcept {
  if (file_ >= 0) close(file_);
  if (!pendingPath_.empty()) unlink(pendingPath_.c_str());
}

void PendingFile::fail() const {
  throw Unusable(name_ + ": " + (errno == EEXIST ? "already exists and was not changed" : systemReason()));
}

void PendingFile::write(std::span<const std::uint8_t> bytes) {
  if (!writeAll(file_, textOf(bytes))) fail();
}

void PendingFile::commit(Existing existing) {
  if (fsync(file_) != 0 || close(std::exchange(file_, -1)) != 0) fail();
  const bool placed = existing == Existing::kKeep ? placeAsNew() : rename(pendingPath_.c_str(), path_.c_str()) == 0;
  if (!placed) fail();
  const FileDescriptor folder(open(folderOf(path_).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  fsync(folder.number());  // not supported by every file system; the file is in place anyway
}

/// Network file systems support links but not the rename that keeps an existing file; on USB sticks it is the other way
/// around.
bool PendingFile::placeAsNew() const {
  return link(pendingPath_.c_str(), path_.c_str()) == 0 ||
         (errno == EPERM && renameat2(AT_FDCWD, pendingPath_.c_str(), AT_FDCWD, path_.c_str(), RENAME_NOREPLACE) == 0);
}

void PendingFile::withdraw() { unlink(path_.c_str()); }

mode_t ordinaryPermissions() {
  const mode_t mask = umask(0);
  umask(mask);
  return 0666 & ~mask;
}

}  // namespace tavik::tool
