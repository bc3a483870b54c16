/// @file
/// The language server: JSON-RPC messages in, messages out. Nothing here blocks.
#ifndef TAVIK_TOOL_LSP_SERVER_H
#define TAVIK_TOOL_LSP_SERVER_H

#include <deque>
#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "lsp/Checker.h"
#include "lsp/Workspace.h"

namespace tavik::tool::lsp {

class Server {
 public:
  /// send: takes each message to the client, without framing.
  explicit Server(std::function<void(const std::string&)> send) : send_(std::move(send)) {}

  /// Queues a message. A request that a queued message cancels is not performed.
  void receive(const std::string& message);
  [[nodiscard]] bool hasMessages() const noexcept { return !queue_.empty(); }
  /// Handles the first message of the queue.
  void handleNext();

  /// A project to check because one of its documents changed; absent if there is none.
  std::optional<std::vector<CheckedDocument>> nextCheck();
  /// Sends the problems of the documents that have not changed since they were checked.
  void publish(std::vector<CheckedDocument> documents);

  /// Once the client has sent "exit": whether it sent "shutdown" before.
  [[nodiscard]] std::optional<bool> exited() const noexcept { return exited_; }

 private:
  struct Notification;
  static const Notification kNotifications[];

  void handleRequest(const nlohmann::json& message);
  void handleNotification(const nlohmann::json& message);
  std::string resultOf(const std::string& method, const nlohmann::json& params);
  nlohmann::json initialize(const nlohmann::json& params);
  void didOpen(const nlohmann::json& params);
  void didChange(const nlohmann::json& params);
  void didClose(const nlohmann::json& params);
  void filesChanged(const nlohmann::json& params);
  void checkFirst(const std::string& uri);
  SourceDocument& documentOf(const nlohmann::json& params);
  void send(const nlohmann::json& message) const;
  void sendError(const nlohmann::json& id, int code, const std::string& message) const;

  std::function<void(const std::string&)> send_;
  std::deque<nlohmann::json> queue_;
  std::set<std::string> cancelled_;  // ids as JSON
  enum class State : std::uint8_t { kNew, kRunning, kShutDown } state_ = State::kNew;
  std::optional<bool> exited_;

  Workspace workspace_;
  std::vector<std::string> changed_;                // URIs of documents to check
  std::map<std::string, CheckedDocument> checked_;  // by URI
  std::map<std::string, std::int64_t> versions_;    // by URI
};

}  // namespace tavik::tool::lsp

#endif
