#include "io/FileDescriptor.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <system_error>

namespace tavik::tool {

FileDescriptor::~FileDescriptor() {
  if (number_ > STDERR_FILENO) close(number_);
}

std::string systemReason() { return std::generic_category().message(errno); }

void await(int file, short events) {
  pollfd waiting{file, events, 0};
  poll(&waiting, 1, -1);
}

bool writeOff(int file, std::string_view& bytes) {
  while (!bytes.empty()) {
    const ssize_t count = write(file, bytes.data(), bytes.size());
    if (count >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(count));
    } else if (errno == EAGAIN) {
      await(file, POLLOUT);
    } else if (errno != EINTR) {
      return false;
    }
  }
  return true;
}

bool writeAll(int file, std::string_view bytes) { return writeOff(file, bytes); }

}  // namespace tavik::tool
