#include "io/ArgumentName.h"

#include <fmt/format.h>

#include "text/Text.h"

namespace tavik::tool {

std::string nameOf(std::string_view argument, const std::string& path) {
  const std::string_view file = path == kStandardStream ? "standard input" : std::string_view(path);
  const bool joined = argument.empty() || argument.ends_with('=');
  return fmt::format("{}{}{}", argument, joined ? "" : " ", file);
}

std::string uriOf(std::string_view path) {
  std::string uri = path.starts_with('/') ? "file://" : "";
  for (const char character : path) {
    const bool isPlain = isAsciiLetter(character) || isDigit(character) ||
                         std::string_view("-._~/").find(character) != std::string_view::npos;
    uri += isPlain ? std::string(1, character) : fmt::format("%{:02X}", static_cast<unsigned char>(character));
  }
  return uri;
}

}  // namespace tavik::tool
