#include "http/Message.h"

#include <fmt/format.h>
#include <tavik/Json.h>

#include <algorithm>
#include <charconv>
#include <iterator>

#include "text/Text.h"

namespace tavik::station {
namespace {

constexpr std::string_view kLineEnd = "\r\n";
constexpr std::string_view kBlanks = " \t";
constexpr std::string_view kMalformedChunk =
    "malformed chunk; check its size in hexadecimal digits, or send Content-Length";

std::string_view reasonPhrase(int status) {
  constexpr std::pair<int, std::string_view> kPhrases[] = {{200, "OK"},
                                                           {400, "Bad Request"},
                                                           {401, "Unauthorized"},
                                                           {403, "Forbidden"},
                                                           {404, "Not Found"},
                                                           {405, "Method Not Allowed"},
                                                           {408, "Request Timeout"},
                                                           {413, "Content Too Large"},
                                                           {415, "Unsupported Media Type"},
                                                           {429, "Too Many Requests"},
                                                           {431, "Request Header Fields Too Large"},
                                                           {500, "Internal Server Error"},
                                                           {501, "Not Implemented"},
                                                           {503, "Service Unavailable"},
                                                           {505, "HTTP Version Not Supported"}};
  const auto* const phrase = std::ranges::find(kPhrases, status, &std::pair<int, std::string_view>::first);
  return phrase == std::end(kPhrases) ? "" : phrase->second;
}

bool isTokenCharacter(char character) {
  const bool isAlphanumeric = (character >= '0' && character <= '9') || (character >= 'A' && character <= 'Z') ||
                              (character >= 'a' && character <= 'z');
  return isAlphanumeric || std::string_view("!#$%&'*+-.^_`|~").find(character) != std::string_view::npos;
}

bool isToken(std::string_view text) { return !text.empty() && std::ranges::all_of(text, isTokenCharacter); }

bool isFieldCharacter(char character) {
  const auto byte = static_cast<unsigned char>(character);
  return character == '\t' || (byte >= 0x20 && byte != 0x7f);
}

/// The number that is all of the text.
template <class Number>
std::optional<Number> numberIn(std::string_view text, int base) {
  Number number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
  if (text.empty() || error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

/// Absent if an escape is malformed. blankForPlus: as in queries.
std::optional<std::string> decoded(std::string_view text, bool blankForPlus) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%') {
      const auto byte = numberIn<unsigned char>(text.substr(i + 1, 2), 16);
      if (!byte || text.size() < i + 3) return std::nullopt;
      out += static_cast<char>(*byte);
      i += 2;
    } else {
      out += blankForPlus && text[i] == '+' ? ' ' : text[i];
    }
  }
  return out;
}

std::string_view takeUntil(std::string_view& rest, std::string_view separator) {
  const std::size_t end = rest.find(separator);
  const std::string_view part = rest.substr(0, end);
  rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + separator.size());
  return part;
}

bool readParameters(std::string_view query, Request& request) {
  while (!query.empty()) {
    std::string_view value = takeUntil(query, "&");
    const auto name = decoded(takeUntil(value, "="), true);
    const auto text = decoded(value, true);
    if (!name || !text) return false;
    if (!name->empty()) request.parameters.emplace_back(*name, *text);
  }
  return true;
}

bool readTarget(std::string_view target, Request& request) {
  std::string_view query = target;
  const auto path = decoded(takeUntil(query, "?"), false);
  if (!path || !path->starts_with('/')) return false;
  request.path = *path;
  return readParameters(query, request);
}

}  // namespace

const std::string* Request::header(std::string_view name) const {
  const auto place = std::ranges::find(headers, name, &std::pair<std::string, std::string>::first);
  return place == headers.end() ? nullptr : &place->second;
}

Response Response::error(int status, std::string_view message) {
  Response response{.status = status};
  response.body = R"({"error": )";
  appendJsonString(response.body, tool::visible(message));
  response.body += "}\n";
  return response;
}

std::string Response::text(std::string_view method, bool keepAlive) const {
  std::string text = fmt::format(
      "HTTP/1.1 {} {}\r\nContent-Type: {}\r\nCache-Control: no-store\r\nX-Content-Type-Options: nosniff\r\n"
      "Content-Security-Policy: {}\r\nReferrer-Policy: no-referrer\r\nCross-Origin-Resource-Policy: same-origin\r\n",
      status, reasonPhrase(status), contentType, contentSecurityPolicy);
  const auto out = std::back_inserter(text);
  for (const auto& [name, value] : headers) fmt::format_to(out, "{}: {}\r\n", name, value);
  if (!isEventStream) fmt::format_to(out, "Content-Length: {}\r\n", body.size());
  fmt::format_to(out, "Connection: {}\r\n\r\n", keepAlive && !isEventStream ? "keep-alive" : "close");
  if (method != "HEAD") text += body;
  return text;
}

std::optional<Request> RequestReader::next() {
  if (rejection_ || (!hasHead_ && !readHead()) || !(isChunked_ ? readChunks() : readBody())) return std::nullopt;
  hasHead_ = isChunked_ = wantsContinue_ = false;
  return std::exchange(request_, {});
}

bool RequestReader::reject(int status, std::string_view message) {
  rejection_ = Response::error(status, message);
  return false;
}

bool RequestReader::rejectBody() {
  return reject(413, fmt::format("the body is larger than {} MiB; send only what the rules need", largestBody_ >> 20U));
}

bool RequestReader::readHead() {
  while (buffer_.starts_with(kLineEnd)) buffer_.erase(0, kLineEnd.size());  // some clients send one after a body
  const std::size_t end = buffer_.find("\r\n\r\n", searched_);
  if (std::min(end, buffer_.size()) > kLargestHead)
    return reject(431, "the head of the request is larger than 32 KiB; send fewer or shorter headers");
  searched_ = end == std::string::npos ? buffer_.size() - std::min<std::size_t>(buffer_.size(), 3) : 0;
  if (end == std::string::npos) return false;
  const std::string head = buffer_.substr(0, end);
  buffer_.erase(0, end + 4);

  std::string_view rest = head;
  std::string_view line = takeUntil(rest, kLineEnd);
  const std::string_view method = takeUntil(line, " ");
  const std::string_view target = takeUntil(line, " ");
  if (!isToken(method)) return reject(400, "malformed request line; expected METHOD /PATH HTTP/1.1");
  if (line != "HTTP/1.1" && line != "HTTP/1.0") return reject(505, "unsupported protocol version; use HTTP/1.1");
  request_.method = method;
  request_.keepAlive = line == "HTTP/1.1";
  if (!std::ranges::all_of(target, isFieldCharacter) || !readTarget(target, request_)) {
    return reject(400, "malformed request target; send a path that begins with \"/\", and other characters as %XX");
  }
  while (!rest.empty()) {
    if (!readHeaderLine(takeUntil(rest, kLineEnd))) return false;
  }
  hasHead_ = true;
  return readFraming();
}

bool RequestReader::readHeaderLine(std::string_view line) {
  const std::string_view name = takeUntil(line, ":");
  const std::string_view value = tool::trimmed(line, kBlanks);
  if (!isToken(name) || !std::ranges::all_of(value, isFieldCharacter))
    return reject(400, "malformed header; expected \"Name: value\" and a line end of CR and LF");
  request_.headers.emplace_back(tool::lowerCase(name), value);
  return true;
}

bool RequestReader::readFraming() {
  for (const std::string_view name : {"host", "content-length", "transfer-encoding"}) {
    if (std::ranges::count(request_.headers, name, &std::pair<std::string, std::string>::first) > 1) {
      return reject(400, fmt::format("the header \"{}\" is given twice; send it once", name));
    }
  }
  const std::string* const length = request_.header("content-length");
  const std::string* const encoding = request_.header("transfer-encoding");
  if (request_.header("content-encoding") != nullptr)
    return reject(415, "compressed bodies are not supported; send the body without Content-Encoding");
  if (length != nullptr && encoding != nullptr)
    return reject(400, "both Content-Length and Transfer-Encoding given; send one of them");
  if (encoding != nullptr && tool::lowerCase(*encoding) != "chunked")
    return reject(501, "unsupported Transfer-Encoding; use chunked, or send Content-Length");
  const auto size = length == nullptr ? std::optional<std::size_t>(0) : numberIn<std::size_t>(*length, 10);
  if (!size) return reject(400, "malformed Content-Length; send the number of bytes");
  isChunked_ = encoding != nullptr;
  isInTrailer_ = false;
  remaining_ = *size;
  if (remaining_ > largestBody_) return rejectBody();
  const std::string* const connection = request_.header("connection");
  const std::string option = connection == nullptr ? "" : tool::lowerCase(*connection);
  request_.keepAlive = option != "close" && (request_.keepAlive || option == "keep-alive");  // HTTP/1.0 must ask for it
  const std::string* const expect = request_.header("expect");
  wantsContinue_ = expect != nullptr && tool::lowerCase(*expect) == "100-continue" && buffer_.empty();
  return true;
}

bool RequestReader::readBody() {
  if (buffer_.size() < remaining_) return false;
  if (buffer_.size() == remaining_) {
    request_.body = std::exchange(buffer_, {});
  } else {
    request_.body = buffer_.substr(0, remaining_);
    buffer_.erase(0, remaining_);
  }
  return true;
}

bool RequestReader::readChunks() {
  std::string_view rest = buffer_;
  const bool isComplete = readChunksOf(rest);
  buffer_.erase(0, buffer_.size() - rest.size());
  return isComplete;
}

bool RequestReader::readChunksOf(std::string_view& rest) {
  while (true) {
    if (remaining_ != 0) {  // in a chunk
      if (rest.size() < remaining_) return false;
      if (rest.substr(remaining_ - 2, 2) != kLineEnd) return reject(400, kMalformedChunk);
      request_.body += rest.substr(0, remaining_ - 2);
      rest.remove_prefix(std::exchange(remaining_, 0));
    }
    const std::size_t end = rest.find(kLineEnd);
    if (std::min(end, rest.size()) > kLargestHead) return reject(400, kMalformedChunk);
    if (end == std::string_view::npos) return false;
    const std::string_view line = takeUntil(rest, kLineEnd);
    if (!isInTrailer_) {
      if (!readChunkSize(line)) return false;
    } else if (line.empty()) {
      return true;
    }
  }
}

bool RequestReader::readChunkSize(std::string_view line) {
  const auto size = numberIn<std::size_t>(tool::trimmed(line.substr(0, line.find(';')), kBlanks), 16);
  if (!size) return reject(400, kMalformedChunk);
  if (*size > largestBody_ - request_.body.size()) return rejectBody();
  isInTrailer_ = *size == 0;
  remaining_ = isInTrailer_ ? 0 : *size + kLineEnd.size();
  return true;
}

}  // namespace tavik::station
