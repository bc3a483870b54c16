/// @file
/// HTTP requests and responses, without sockets.
#ifndef TAVIK_STATION_HTTP_MESSAGE_H
#define TAVIK_STATION_HTTP_MESSAGE_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tavik::station {

struct Request {
  std::string method;
  std::string path;                                             ///< decoded, without the query
  std::vector<std::pair<std::string, std::string>> parameters;  ///< of the query, decoded
  std::vector<std::pair<std::string, std::string>> headers;     ///< with lowercase names
  std::string body;

  /// The value of the first header with this name, in lowercase; null if the request does not have it.
  [[nodiscard]] const std::string* header(std::string_view name) const;
};

struct Response {
  int status = 200;
  std::string body = {};
  std::string_view contentType = "application/json";
  std::string contentSecurityPolicy = "default-src 'none'; frame-ancestors 'none'";
  std::vector<std::pair<std::string_view, std::string>> headers = {};
  bool isEventStream = false;  ///< the connection stays open and receives events

  /// {"error": "..."}; the message says what to do.
  static Response error(int status, std::string_view message);
};

Response bodyTooLarge(std::size_t largestBody);

/// Whether a request target, as it was sent, is a path and a query whose escapes can be decoded.
bool isTarget(std::string_view target);

/// The answer to headers that two programs could read differently, such as several lengths, or that announce a body
/// that is not accepted; absent if there are none.
std::optional<Response> rejectionOf(const Request& request, std::size_t largestBody);

}  // namespace tavik::station

#endif
