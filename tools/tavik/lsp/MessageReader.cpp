#include "lsp/MessageReader.h"

#include <fmt/format.h>

#include <algorithm>

#include "ExitStatus.h"
#include "text/Text.h"

namespace tavik::tool::lsp {
namespace {

constexpr std::string_view kLineEnd = "\r\n";

/// The value of a "Content-Length" header; absent for another header.
std::optional<std::size_t> lengthIn(std::string_view header) {
  const std::size_t colon = header.find(':');
  if (colon == std::string_view::npos) {
    throw Unusable(fmt::format("a message begins with \"{}\", which is not a header; expected \"Content-Length: N\"",
                               shortened(visible(header), 40)));
  }
  if (lowerCase(header.substr(0, colon)) != "content-length") return std::nullopt;
  const std::string_view value = trimmed(header.substr(colon + 1), " \t");
  if (value.empty() || value.find_first_not_of("0123456789") != std::string_view::npos)
    throw Unusable("the Content-Length of a message is not a number");
  const auto length = numberIn<std::size_t>(value);
  if (!length || *length > MessageReader::kLargestMessage) throw Unusable("a message is larger than 256 MiB");
  return length;
}

}  // namespace

std::optional<std::string> MessageReader::next() {
  if (!length_ && !readHeaders()) return std::nullopt;
  if (pending_.size() < *length_) return std::nullopt;
  std::string message = pending_.substr(0, *length_);
  pending_.erase(0, *length_);
  length_.reset();
  return message;
}

/// Returns false if they are incomplete.
bool MessageReader::readHeaders() {
  const std::size_t end = pending_.find("\r\n\r\n");
  if (std::min(end, pending_.size()) > kLargestHeader) throw Unusable("the headers of a message are larger than 4 KiB");
  if (end == std::string::npos) return false;
  std::optional<std::size_t> length;
  for (std::string_view headers = std::string_view(pending_).substr(0, end); !headers.empty();) {
    const std::string_view header = headers.substr(0, headers.find(kLineEnd));
    if (const auto found = lengthIn(header)) length = found;
    headers.remove_prefix(std::min(header.size() + kLineEnd.size(), headers.size()));
  }
  if (!length) throw Unusable("the headers of a message lack Content-Length");
  length_ = length;
  pending_.erase(0, end + 4);
  return true;
}

}  // namespace tavik::tool::lsp
