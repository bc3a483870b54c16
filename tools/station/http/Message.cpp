#include "http/Message.h"

#include <fmt/format.h>
#include <tavik/Json.h>

#include <algorithm>
#include <cctype>
#include <charconv>

#include "text/Text.h"

namespace tavik::station {
namespace {

bool isControl(char character) { return static_cast<unsigned char>(character) < 0x20 || character == 0x7f; }

bool isVisible(char character) { return character != ' ' && !isControl(character); }

bool isHexDigit(char character) { return std::isxdigit(static_cast<unsigned char>(character)) != 0; }

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

Response bodyTooLarge(std::size_t largestBody) {
  return Response::error(
      413, fmt::format("the body is larger than {} MiB; send only what the rules need", largestBody >> 20U));
}

bool isTarget(std::string_view target) {
  for (std::size_t i = target.find('%'); i != std::string_view::npos; i = target.find('%', i + 1)) {
    const std::string_view digits = target.substr(i + 1, 2);
    if (digits.size() < 2 || digits == "00" || !std::ranges::all_of(digits, isHexDigit)) return false;
  }
  return target.starts_with('/') && std::ranges::all_of(target, isVisible);
}

std::optional<Response> rejectionOf(const Request& request, std::size_t largestBody) {
  for (const auto& [name, value] : request.headers) {
    const bool isName = !name.empty() && std::ranges::all_of(name, isVisible);
    const bool isText = std::ranges::none_of(value, [](char each) { return isControl(each) && each != '\t'; });
    if (!isName || !isText) return Response::error(400, "malformed header; expected \"Name: value\"");
  }
  for (const std::string_view name : {"host", "content-length", "transfer-encoding"}) {
    if (std::ranges::count(request.headers, name, &std::pair<std::string, std::string>::first) > 1) {
      return Response::error(400, fmt::format("the header \"{}\" is given twice; send it once", name));
    }
  }
  const std::string* const length = request.header("content-length");
  const std::string* const encoding = request.header("transfer-encoding");
  if (request.header("content-encoding") != nullptr)
    return Response::error(415, "compressed bodies are not supported; send the body without Content-Encoding");
  if (length != nullptr && encoding != nullptr)
    return Response::error(400, "both Content-Length and Transfer-Encoding given; send one of them");
  if (encoding != nullptr && tool::lowerCase(*encoding) != "chunked")
    return Response::error(501, "unsupported Transfer-Encoding; use chunked, or send Content-Length");
  std::size_t size = 0;
  if (length != nullptr) std::from_chars(length->data(), length->data() + length->size(), size);
  return size > largestBody ? std::optional(bodyTooLarge(largestBody)) : std::nullopt;
}

}  // namespace tavik::station
