/// @file
/// A file without a name: what is read from a path has one too.
#ifndef TAVIK_FUZZ_MEMORY_FILE_H
#define TAVIK_FUZZ_MEMORY_FILE_H

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <span>
#include <string>

namespace tavik {

class MemoryFile {
 public:
  MemoryFile() : file_(memfd_create("tavik", MFD_CLOEXEC)) {}
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;
  ~MemoryFile() { close(file_); }

  /// Puts these bytes in the place of what the file held.
  void write(std::span<const std::uint8_t> bytes) const {
    const bool written =
        ftruncate(file_, 0) == 0 && pwrite(file_, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size());
    if (!written) std::abort();
  }
  [[nodiscard]] std::string path() const { return "/proc/self/fd/" + std::to_string(file_); }

 private:
  int file_;
};

}  // namespace tavik

#endif
