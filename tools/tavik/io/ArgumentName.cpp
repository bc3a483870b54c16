#include "io/ArgumentName.h"

#include <fmt/format.h>

namespace tavik::tool {

std::string nameOf(std::string_view argument, const std::string& path) {
  const std::string_view file = path == kStandardStream ? "standard input" : std::string_view(path);
  const bool joined = argument.empty() || argument.ends_with('=');
  return fmt::format("{}{}{}", argument, joined ? "" : " ", file);
}

}  // namespace tavik::tool
