#include "api/Access.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <sys/stat.h>
#include <tavik/StationPlatform.h>

#include <algorithm>
#include <string_view>

#include "ExitStatus.h"
#include "io/ArgumentName.h"
#include "io/Bytes.h"
#include "io/Inputs.h"
#include "text/Text.h"

namespace tavik::station {
namespace {

bool isLoopbackName(std::string_view host) {
  const std::size_t port = host.rfind(':');
  const bool hasPort = port != std::string_view::npos && host.find(']', port) == std::string_view::npos;
  const std::string name = tool::lowerCase(host.substr(0, hasPort ? port : host.size()));
  return name == "127.0.0.1" || name == "localhost" || name == "[::1]";
}

/// The text of a base64 encoding; empty if it is malformed.
std::string base64Decoded(std::string_view text) {
  if (text.empty() || text.size() % 4 != 0 || text.size() > 4096) return {};
  std::string bytes(text.size() / 4 * 3, '\0');
  const int size = EVP_DecodeBlock(reinterpret_cast<unsigned char*>(bytes.data()),
                                   reinterpret_cast<const unsigned char*>(text.data()), static_cast<int>(text.size()));
  const auto padding = static_cast<std::size_t>(std::ranges::count(text.substr(text.size() - 2), '='));
  if (size < 0) return {};
  bytes.resize(static_cast<std::size_t>(size) - padding);
  return bytes;
}

/// The token of "Bearer TOKEN", or the password of "Basic ...", which browsers ask for.
std::string tokenIn(std::string_view authorization) {
  constexpr std::string_view kBearer = "Bearer ";
  constexpr std::string_view kBasic = "Basic ";
  if (authorization.starts_with(kBearer)) return std::string(authorization.substr(kBearer.size()));
  if (!authorization.starts_with(kBasic)) return {};
  const std::string pair = base64Decoded(authorization.substr(kBasic.size()));
  const std::size_t colon = pair.find(':');
  return colon == std::string::npos ? std::string() : pair.substr(colon + 1);
}

/// Takes as long for every text: the digests are compared.
bool isToken(const std::string& given, const std::string& token) {
  const std::string first = sha256(tool::bytesOf(given));
  const std::string second = sha256(tool::bytesOf(token));
  return CRYPTO_memcmp(first.data(), second.data(), second.size()) == 0;
}

/// Whether a page of another origin made the request. It may link to the service.
bool isForeign(const Request& request) {
  const auto is = [&](std::string_view name, std::string_view value) {
    const std::string* const given = request.header(name);
    return given != nullptr && *given == value;
  };
  if (is("sec-fetch-site", "cross-site") && !is("sec-fetch-mode", "navigate")) return true;
  const std::string* const host = request.header("host");
  return request.header("origin") != nullptr &&
         (host == nullptr || (!is("origin", "http://" + *host) && !is("origin", "https://" + *host)));
}

}  // namespace

std::string readToken(const std::string& path) {
  constexpr std::size_t kShortest = 16;
  constexpr std::size_t kLongest = 4096;
  constexpr std::string_view kSpace = " \t\r\n";
  const std::string name = tool::nameOf("--token-file", path);
  struct stat status {};
  if (stat(path.c_str(), &status) == 0 && (status.st_mode & (S_IRGRP | S_IROTH | S_IWGRP | S_IWOTH)) != 0) {
    throw tool::Unusable(name + ": other users can read or write it; use chmod 600");
  }
  tool::Inputs inputs;
  std::string token(tool::trimmed(inputs.bytes("--token-file", path, kLongest), kSpace));
  const bool isVisible = std::ranges::all_of(token, [](char character) { return character > ' ' && character < 0x7f; });
  if (token.size() < kShortest || !isVisible) {
    throw tool::Unusable(name +
                         ": write at least 16 characters without spaces, such as the output of openssl rand -hex 32");
  }
  return token;
}

std::optional<Response> refusal(const Request& request, const AccessRules& rules, bool isPublic) {
  const std::string* const host = request.header("host");
  if (rules.isLoopback && (host == nullptr || !isLoopbackName(*host))) {
    return Response::error(403, "the request names another host; use 127.0.0.1 or localhost");
  }
  if (isForeign(request)) {
    return Response::error(403, "pages of other origins cannot use the service; open the page of this service");
  }
  if (isPublic || !rules.token) return std::nullopt;
  const std::string* const authorization = request.header("authorization");
  if (authorization != nullptr && isToken(tokenIn(*authorization), *rules.token)) return std::nullopt;
  Response response = Response::error(401, "send the token of the station in the header Authorization: Bearer TOKEN");
  response.headers.emplace_back("WWW-Authenticate", R"(Basic realm="tavik station", charset="UTF-8")");
  return response;
}

}  // namespace tavik::station
