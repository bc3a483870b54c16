#include "lsp/Session.h"

#include <fmt/format.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "ExitStatus.h"
#include "io/FileDescriptor.h"
#include "io/StandardOutput.h"
#include "lsp/Checker.h"
#include "lsp/MessageReader.h"
#include "lsp/Server.h"

namespace tavik::tool::lsp {
namespace {

void sendMessage(const std::string& message) {
  writeStandardOutput(fmt::format("Content-Length: {}\r\n\r\n{}", message.size(), message));
}

class Session {
 public:
  /// Messages are handled after all available input has been read, so that requests can be canceled; documents are
  /// checked after all messages have been handled.
  bool run() {
    while (!server_.exited() && !isAtEnd_) {
      if (waitForInput()) {
        readInput();
      } else if (server_.hasMessages()) {
        server_.handleNext();
      }
      if (!server_.hasMessages() && thread_.isIdle()) {
        if (auto documents = server_.nextCheck()) thread_.start(*std::move(documents));
      }
    }
    while (!server_.exited() && server_.hasMessages()) server_.handleNext();
    if (isAtEnd_ && reader_.isInMessage()) throw Unusable("standard input ends in the middle of a message");
    return server_.exited().value_or(false);
  }

 private:
  /// Whether there is input, after waiting for it unless there are messages. Publishes the result of a check.
  bool waitForInput() {
    std::array<pollfd, 2> files = {{{STDIN_FILENO, POLLIN, 0}, {thread_.descriptor(), POLLIN, 0}}};
    if (poll(files.data(), files.size(), server_.hasMessages() ? 0 : -1) < 0) return false;  // interrupted
    if (files[1].revents != 0) server_.publish(thread_.take());
    return files[0].revents != 0;
  }

  void readInput() {
    std::array<char, 65536> bytes;
    const ssize_t count = read(STDIN_FILENO, bytes.data(), bytes.size());
    if (count < 0 && (errno == EINTR || errno == EAGAIN)) return;
    if (count < 0) throw Unusable("standard input: " + systemReason());
    isAtEnd_ = count == 0;
    reader_.add({bytes.data(), static_cast<std::size_t>(count)});
    while (const auto message = reader_.next()) server_.receive(*message);
  }

  Server server_{sendMessage};
  CheckThread thread_;
  MessageReader reader_;
  bool isAtEnd_ = false;
};

}  // namespace

bool serve() { return Session().run(); }

}  // namespace tavik::tool::lsp
