/// @file
/// Who may use the service.
#ifndef TAVIK_STATION_API_ACCESS_H
#define TAVIK_STATION_API_ACCESS_H

#include <optional>
#include <string>

#include "http/Message.h"

namespace tavik::station {

struct AccessRules {
  std::optional<std::string> token;  ///< that clients must send; absent: none
  /// Whether only programs of this machine can connect. Requests must then name it as their host, so that a web page
  /// cannot reach the service under a name of its own.
  bool isLoopback = true;
};

/// Reads a token of at least 16 visible characters; white space around it is ignored. Throws `Unusable`.
std::string readToken(const std::string& path);

/// Why a request is refused; absent if it is not. isPublic: whether the answer is the same for everyone.
std::optional<Response> refusal(const Request& request, const AccessRules& rules, bool isPublic);

}  // namespace tavik::station

#endif
