/// @file
/// Files that appear completely or not at all.
#ifndef TAVIK_TOOL_IO_PENDING_FILE_H
#define TAVIK_TOOL_IO_PENDING_FILE_H

#include <sys/types.h>

#include <csignal>
#include <cstdint>
#include <span>
#include <string>

namespace tavik::tool {

/// During its lifetime, signals that end the command are held; they are delivered when the work is done or undone.
class SignalsHeld {
 public:
  SignalsHeld() noexcept;
  SignalsHeld(const SignalsHeld&) = delete;
  SignalsHeld& operator=(const SignalsHeld&) = delete;
  ~SignalsHeld();

 private:
  sigset_t before_;
};

/// A file that is written under a temporary name in the target folder and renamed when it is complete.
class PendingFile {
 public:
  /// What happens to an existing file.
  enum class Existing : std::uint8_t { kReplace, kKeep };

  /// `name`: the prefix of messages.
  PendingFile(std::string name, const std::string& path, mode_t permissions);
  PendingFile(const PendingFile&) = delete;
  PendingFile& operator=(const PendingFile&) = delete;
  ~PendingFile();

  void write(std::span<const std::uint8_t> bytes);
  /// Puts the file in place; it is on disk when this returns. With `kKeep`, fails if a file exists.
  void commit(Existing existing);
  /// Removes the file again.
  void withdraw();

 private:
  [[noreturn]] void fail() const;
  void abandon() noexcept;
  [[nodiscard]] bool placeAsNew() const;

  SignalsHeld signals_;  // first, so that signals are delivered after the file is removed
  std::string name_;
  std::string path_;
  std::string pendingPath_;  // empty if there is none
  int file_ = -1;
};

/// Permissions of a file that everyone may read, as far as the umask allows.
mode_t ordinaryPermissions();

}  // namespace tavik::tool

#endif
