/// @file
/// HTTP/1.1 requests and responses, without sockets.
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
  bool keepAlive = true;  ///< whether the client sends more requests on this connection

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

  /// The head and, unless the method is HEAD, the body.
  [[nodiscard]] std::string text(std::string_view method, bool keepAlive) const;
};

/// Parses requests from the bytes of a connection, which are not trusted. What two programs could read differently is
/// rejected: several lengths, a length of a chunked body, lines without a carriage return.
class RequestReader {
 public:
  static constexpr std::size_t kLargestHead = std::size_t{32} << 10;

  explicit RequestReader(std::size_t largestBody) : largestBody_(largestBody) {}

  void append(std::string_view bytes) { buffer_ += bytes; }

  /// The next request; absent if it is not complete, or rejected.
  std::optional<Request> next();
  /// The answer to a malformed request, after which the connection cannot be used; absent if there was none.
  [[nodiscard]] const std::optional<Response>& rejection() const noexcept { return rejection_; }
  /// Whether a client that has sent the head waits for permission to send the body; true once per request.
  bool takeContinue() { return std::exchange(wantsContinue_, false); }

  /// Whether there are bytes of a request that is not complete.
  [[nodiscard]] bool isInRequest() const noexcept { return hasHead_ || !buffer_.empty(); }
  [[nodiscard]] std::size_t size() const noexcept { return buffer_.size() + request_.body.size(); }

 private:
  bool readHead();
  bool readHeaderLine(std::string_view line);
  bool readFraming();
  bool readBody();
  bool readChunks();
  bool readChunksOf(std::string_view& rest);
  bool readChunkSize(std::string_view line);
  bool reject(int status, std::string_view message);
  bool rejectBody();

  std::size_t largestBody_;
  std::string buffer_;  // what has not been read
  Request request_;
  bool hasHead_ = false;
  bool isChunked_ = false;
  bool isInTrailer_ = false;
  bool wantsContinue_ = false;
  std::size_t searched_ = 0;   // bytes of the buffer without the end of the head
  std::size_t remaining_ = 0;  // bytes of the body or of the chunk, with the line end of the chunk
  std::optional<Response> rejection_;
};

}  // namespace tavik::station

#endif
