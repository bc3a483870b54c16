#include "lsp/Server.h"

#include <fmt/format.h>
#include <tavik/Platform.h>
#include <tavik/TavikKernelVersion.h>

#include <algorithm>
#include <utility>

#include "lsp/Feature.h"
#include "text/Text.h"

namespace tavik::tool::lsp {
namespace {

// Error codes of JSON-RPC and of the protocol.
constexpr int kParseError = -32700;
constexpr int kInvalidRequest = -32600;
constexpr int kMethodNotFound = -32601;
constexpr int kInvalidParams = -32602;
constexpr int kServerNotInitialized = -32002;
constexpr int kRequestCancelled = -32800;

constexpr int kDeepestMessage = 100;
constexpr std::size_t kWidestMethod = 60;  // in messages

struct Request {
  std::string_view method;
  Result (*answer)(const Query& query);
};
constexpr Request kRequests[] = {
    {"textDocument/codeAction", codeActions},
    {"textDocument/completion", completion},
    {"textDocument/definition", definition},
    {"textDocument/documentSymbol", documentSymbols},
    {"textDocument/hover", hover},
    {"textDocument/prepareRename", prepareRename},
    {"textDocument/references", references},
    {"textDocument/rename", rename},
};

bool isRequest(const Json& message) {
  const auto id = message.find("id");
  return id != message.end() && (id->is_string() || id->is_number_integer());
}

Json parsed(const std::string& message) {
  const auto limit = [](int depth, Json::parse_event_t, Json&) {
    if (depth > kDeepestMessage)
      throw RequestFailed(fmt::format("the message is nested more than {} levels deep", kDeepestMessage));
    return true;
  };
  return Json::parse(message, limit);
}

const std::string& textAt(const Json& object, const char* key) { return object.at(key).get_ref<const std::string&>(); }

std::int64_t versionIn(const Json& document) {
  const auto version = document.find("version");
  return version != document.end() && version->is_number_integer() ? version->get<std::int64_t>() : 0;
}

/// The text after a change: the new text or, with a range, the old text with the range replaced.
std::string changed(const SourceDocument& document, const Json& change) {
  const std::string& text = textAt(change, "text");
  const auto range = change.find("range");
  if (range == change.end() || range->is_null()) return text;
  const std::size_t begin = document.positions().offsetOf(positionIn(range->at("start")));
  const std::size_t end = std::max(begin, document.positions().offsetOf(positionIn(range->at("end"))));
  const std::string& old = *document.text();
  std::string result;
  result.reserve(old.size() - (end - begin) + text.size());
  return result.append(old, 0, begin).append(text).append(old, end);
}

Json capabilities(bool usesBytes) {
  return {{"positionEncoding", usesBytes ? "utf-8" : "utf-16"},
          {"textDocumentSync", {{"openClose", true}, {"change", 2}}},
          {"hoverProvider", true},
          {"completionProvider", {{"triggerCharacters", {"\"", ">", " "}}}},
          {"definitionProvider", true},
          {"referencesProvider", true},
          {"documentSymbolProvider", true},
          {"codeActionProvider", {{"codeActionKinds", {"quickfix"}}}},
          {"renameProvider", {{"prepareProvider", true}}}};
}

Json diagnosticOf(const SourceDocument& document, const Problem& problem) {
  return {{"range", rangeOf(document, problem.span)},
          {"severity", static_cast<int>(problem.severity) + 1},
          {"source", "tavik"},
          {"code", problem.name},
          {"message", visible(problem.message)}};
}

}  // namespace

struct Server::Notification {
  std::string_view method;
  void (Server::*handle)(const Json& params);
};
constexpr Server::Notification Server::kNotifications[] = {
    {"textDocument/didOpen", &Server::didOpen},
    {"textDocument/didChange", &Server::didChange},
    {"textDocument/didClose", &Server::didClose},
    {"textDocument/didSave", &Server::filesChanged},
    {"workspace/didChangeWatchedFiles", &Server::filesChanged},
};

void Server::receive(const std::string& message) {
  try {
    Json json = parsed(message);
    if (!json.is_object() || !json.contains("method") || !json["method"].is_string()) {
      const bool isResponse = json.is_object() && (json.contains("result") || json.contains("error"));
      if (!isResponse) sendError(nullptr, kInvalidRequest, "the message is neither a request nor a notification");
      return;
    }
    const bool cancels = json["method"] == "$/cancelRequest" && json.contains("params") && json["params"].is_object();
    if (cancels) {
      if (!queue_.empty()) cancelled_.insert(json["params"].value("id", Json()).dump());
      return;
    }
    queue_.push_back(std::move(json));
  } catch (const Json::exception&) {
    sendError(nullptr, kParseError, "the message is not valid JSON");
  } catch (const RequestFailed& failure) {
    sendError(nullptr, kParseError, failure.what());
  }
}

void Server::handleNext() {
  const Json message = std::move(queue_.front());
  queue_.pop_front();
  if (isRequest(message)) {
    handleRequest(message);
  } else if (message.contains("id")) {
    sendError(nullptr, kInvalidRequest, "the id of a request is a string or an integer");
  } else {
    handleNotification(message);
  }
  if (queue_.empty()) cancelled_.clear();
}

void Server::handleRequest(const Json& message) {
  const Json& id = message["id"];
  const std::string& method = textAt(message, "method");
  if (cancelled_.erase(id.dump()) != 0) return sendError(id, kRequestCancelled, "cancelled");
  if (state_ == State::kNew && method != "initialize") {
    return sendError(id, kServerNotInitialized, "the first request must be \"initialize\"");
  }
  if (state_ == State::kShutDown || (state_ == State::kRunning && method == "initialize")) {
    return sendError(id, kInvalidRequest,
                     "\"" + shortened(visible(method), kWidestMethod) + "\" is not allowed " +
                         (state_ == State::kShutDown ? "after \"shutdown\"" : "twice"));
  }
  try {
    const std::string result = resultOf(method, message.value("params", Json()));
    send_(fmt::format(R"({{"jsonrpc":"2.0","id":{},"result":{}}})", jsonText(id), result));
  } catch (const Json::exception& error) {
    sendError(id, kInvalidParams, error.what());
  } catch (const RequestFailed& failure) {
    sendError(id, failure.code(), failure.what());
  }
}

/// As JSON.
std::string Server::resultOf(const std::string& method, const Json& params) {
  if (method == "initialize") return jsonText(initialize(params));
  if (method == "shutdown") {
    state_ = State::kShutDown;
    return "null";
  }
  const auto* const request = std::ranges::find(kRequests, method, &Request::method);
  if (request == std::end(kRequests)) {
    throw RequestFailed(fmt::format("unknown method \"{}\"", shortened(visible(method), kWidestMethod)),
                        kMethodNotFound);
  }
  SourceDocument& document = documentOf(params);
  const Project project = workspace_.projectOf(document);
  const auto checked = checked_.find(document.uri());
  return request->answer({document, project, checked == checked_.end() ? nullptr : &checked->second, params}).json;
}

Json Server::initialize(const Json& params) {
  const Json::json_pointer kEncodings("/capabilities/general/positionEncodings");
  const Json encodings = params.is_object() && params.contains(kEncodings) ? params.at(kEncodings) : Json();
  const bool usesBytes = std::ranges::count(encodings, Json("utf-8")) != 0;
  workspace_.setUnit(usesBytes ? Unit::kByte : Unit::kUtf16);
  if (params.is_object() && params.contains("rootUri") && params["rootUri"].is_string()) {
    workspace_.setRoot(pathOfUri(textAt(params, "rootUri")));
  }
  state_ = State::kRunning;
  return {{"capabilities", capabilities(usesBytes)},
          {"serverInfo", {{"name", "tavik"}, {"version", fmt::format("{:.2f}", TavikKernelVersionNumber)}}}};
}

void Server::handleNotification(const Json& message) {
  const std::string& method = textAt(message, "method");
  if (method == "exit") {
    exited_ = state_ == State::kShutDown;
    return;
  }
  const auto* const found = std::ranges::find(kNotifications, method, &Notification::method);
  if (state_ != State::kRunning || found == std::end(kNotifications)) return;
  try {
    (this->*found->handle)(message.value("params", Json()));
  } catch (const Json::exception&) {
    // Notifications are not answered.
  } catch (const RequestFailed&) {
  }
}

void Server::didOpen(const Json& params) {
  const Json& item = params.at("textDocument");
  const std::string& uri = textAt(item, "uri");
  workspace_.open(uri, textAt(item, "text"));
  versions_[uri] = versionIn(item);
  checkFirst(uri);
}

void Server::didChange(const Json& params) {
  SourceDocument& document = documentOf(params);
  for (const Json& change : params.at("contentChanges")) document.setText(changed(document, change));
  versions_[document.uri()] = versionIn(params.at("textDocument"));
  checkFirst(document.uri());
}

void Server::didClose(const Json& params) {
  const std::string uri = documentOf(params).uri();
  workspace_.close(uri);
  checked_.erase(uri);
  versions_.erase(uri);
  send({{"jsonrpc", "2.0"},
        {"method", "textDocument/publishDiagnostics"},
        {"params", {{"uri", uri}, {"diagnostics", Json::array()}}}});
}

void Server::filesChanged(const Json& /*params*/) {
  changed_.clear();
  for (const auto& [uri, version] : versions_) changed_.push_back(uri);
}

/// Checks all documents, because any of them may depend on the one that was changed.
void Server::checkFirst(const std::string& uri) {
  filesChanged({});
  std::partition(changed_.begin(), changed_.end(), [&](const std::string& other) { return other == uri; });
}

SourceDocument& Server::documentOf(const Json& params) {
  SourceDocument* const document = workspace_.find(textAt(params.at("textDocument"), "uri"));
  if (document == nullptr) throw RequestFailed("the document is not open");
  return *document;
}

std::optional<std::vector<CheckedDocument>> Server::nextCheck() {
  if (changed_.empty()) return std::nullopt;
  const std::string uri = changed_.front();
  std::erase(changed_, uri);
  SourceDocument* const document = workspace_.find(uri);
  if (document == nullptr) return nextCheck();
  const Project project = workspace_.projectOf(*document);
  std::vector<CheckedDocument> documents;
  for (const SourceDocument* member : project.all()) {
    // The project of a case file may lack other local rules, which matter to the problems of its rule documents.
    const bool isReported = member == document || document->role() != Role::kCases;
    if (isReported) std::erase(changed_, member->uri());
    documents.push_back({member->uri(), member->path(), member->role(), member->text(), isReported});
    if (member != document) continue;
    for (const std::string& why : project.problems) {
      documents.back().problems.push_back({{}, lint::Severity::kWarning, "workspace", why});
    }
  }
  return documents;
}

void Server::publish(std::vector<CheckedDocument> documents) {
  constexpr std::size_t kMost = 1000;
  for (CheckedDocument& checked : documents) {
    const SourceDocument* const document = workspace_.find(checked.uri);
    if (!checked.isReported || document == nullptr || document->text() != checked.text) continue;
    Json diagnostics = Json::array();
    for (const Problem& problem : checked.problems) {
      if (diagnostics.size() < kMost) diagnostics.push_back(diagnosticOf(*document, problem));
    }
    send({{"jsonrpc", "2.0"},
          {"method", "textDocument/publishDiagnostics"},
          {"params",
           {{"uri", document->uri()},
            {"version", versions_[document->uri()]},
            {"diagnostics", std::move(diagnostics)}}}});
    checked_[document->uri()] = std::move(checked);
  }
}

void Server::send(const Json& message) const { send_(jsonText(message)); }

void Server::sendError(const Json& id, int code, const std::string& message) const {
  send({{"jsonrpc", "2.0"}, {"id", id}, {"error", {{"code", code}, {"message", message}}}});
}

}  // namespace tavik::tool::lsp
