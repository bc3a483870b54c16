/// @file
/// The framing of messages: headers with their length, an empty line, the message.
#ifndef TAVIK_TOOL_LSP_MESSAGE_READER_H
#define TAVIK_TOOL_LSP_MESSAGE_READER_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace tavik::tool::lsp {

/// Takes messages out of a stream of bytes.
class MessageReader {
 public:
  static constexpr std::size_t kLargestHeader = 4096;
  static constexpr std::size_t kLargestMessage = std::size_t{256} << 20;

  void add(std::string_view bytes) { pending_ += bytes; }
  /// The next message; absent until all of it was added. Throws `Unusable` if the headers are malformed or the message
  /// is too large; the reader cannot find the next message then.
  std::optional<std::string> next();
  /// Whether bytes of an incomplete message are left.
  [[nodiscard]] bool isInMessage() const noexcept { return !pending_.empty(); }

 private:
  bool readHeaders();

  std::string pending_;
  std::optional<std::size_t> length_;  // of the message at the beginning of `pending_`, whose headers were removed
};

}  // namespace tavik::tool::lsp

#endif
