#include "io/StandardOutput.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstring>
#include <system_error>

#include "ExitStatus.h"
#include "io/FileDescriptor.h"

namespace tavik::tool {
namespace {

[[noreturn]] void failStandardOutput(int reason) {
  if (reason == EPIPE) throw ReaderGone();
  throw Unusable("standard output: " + std::generic_category().message(reason));
}

/// Removes the last `count` bytes from standard output, if it is a regular file.
void withdrawFromStandardOutput(std::size_t count) {
  struct stat status {};
  const off_t end = lseek(STDOUT_FILENO, 0, SEEK_CUR);
  if (fstat(STDOUT_FILENO, &status) != 0 || !S_ISREG(status.st_mode) || status.st_size != end) return;
  const off_t wanted = end - static_cast<off_t>(count);
  if (ftruncate(STDOUT_FILENO, wanted) == 0) lseek(STDOUT_FILENO, wanted, SEEK_SET);
}

bool isStandardOutputPipe() {
  struct stat status {};
  return fstat(STDOUT_FILENO, &status) == 0 && S_ISFIFO(status.st_mode);
}

/// The size of the lines at the beginning that a pipe takes without mixing them with those of another process. A longer
/// line is written on its own.
std::size_t sizeOfAtomicWrite(std::string_view lines) {
  if (lines.size() <= PIPE_BUF) return lines.size();
  const void* const lastEnd = memrchr(lines.data(), '\n', PIPE_BUF);
  if (lastEnd == nullptr) return lines.find('\n') + 1;
  return static_cast<std::size_t>(static_cast<const char*>(lastEnd) - lines.data()) + 1;
}

}  // namespace

void writeStandardOutput(std::string_view text) {
  if (!writeAll(STDOUT_FILENO, text)) failStandardOutput(errno);
}

void writeLinesToStandardOutput(std::string_view lines) {
  const bool isPipe = isStandardOutputPipe();
  while (!lines.empty()) {
    const std::size_t size = isPipe ? sizeOfAtomicWrite(lines) : lines.size();
    std::string_view rest = lines.substr(0, size);
    if (!writeOff(STDOUT_FILENO, rest)) {
      const int reason = errno;
      const std::string_view written = lines.substr(0, size - rest.size());
      withdrawFromStandardOutput(written.size() - (written.rfind('\n') + 1));
      failStandardOutput(reason);
    }
    lines.remove_prefix(size);
  }
}

void BufferedOutput::append(std::string_view text) {
  constexpr std::size_t kPiece = std::size_t{1} << 16;
  pending_ += text;
  if (pending_.size() >= kPiece) flush();
}

void BufferedOutput::flush() {
  writeStandardOutput(pending_);
  pending_.clear();
}

}  // namespace tavik::tool
