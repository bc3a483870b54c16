#include "ServiceManager.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>

#include "io/FileDescriptor.h"

namespace tavik::station {

void notifyServiceManager(std::string_view state) {
  const char* const given = std::getenv("NOTIFY_SOCKET");
  const std::string_view path = given == nullptr ? "" : given;
  sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
  if (path.empty() || path.size() > sizeof address.sun_path) return;
  std::ranges::copy(path, address.sun_path);
  if (path.front() == '@') address.sun_path[0] = '\0';  // an abstract name
  const tool::FileDescriptor socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  sendto(socket.number(), state.data(), state.size(), MSG_NOSIGNAL, reinterpret_cast<const sockaddr*>(&address),
         static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size()));
}

}  // namespace tavik::station
