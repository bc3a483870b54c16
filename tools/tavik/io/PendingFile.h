/// @file
/// Files that appear whole under their names or not at all.
#ifndef TAVIK_TOOL_IO_PENDING_FILE_H
#define TAVIK_TOOL_IO_PENDING_FILE_H

#include <sys/types.h>

#include <cstdint>
#include <span>
#include <string>

#include "io/SignalsHeld.h"

namespace tavik::tool {

/// A file that is written under a name of its own, beside the place where it shall be, and takes that place when it is
/// whole.
class PendingFile {
 public:
  /// What becomes of a file that is there already.
  enum class Existing : std::uint8_t { kReplace, kKeep };

  /// `name`: what messages begin with.
  PendingFile(std::string name, const std::string& path, mode_t permissions);
  PendingFile(const PendingFile&) = delete;
  PendingFile& operator=(const PendingFile&) = delete;
  ~PendingFile();

  void write(std::span<const std::uint8_t> bytes);
  /// Puts the file in its place, on disk when this returns. With `kKeep`, refuses where there is a file already.
  void commit(Existing existing);
  /// Takes the file out of its place again.
  void withdraw();

 private:
  [[noreturn]] void fail() const;
  void abandon() noexcept;
  [[nodiscard]] bool placeAsNew() const;

  SignalsHeld signals_;  // first, so that the file is out of the way when they come
  std::string name_;
  std::string path_;
  std::string pendingPath_;  // empty when there is none
  int file_ = -1;
};

/// Permissions of a file that anybody may read, as far as the user's mask allows.
mode_t ordinaryPermissions();

}  // namespace tavik::tool

#endif
