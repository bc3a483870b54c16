#include "http/Server.h"

#include <arpa/inet.h>
#include <fmt/format.h>
#include <gnutls/abstract.h>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "ExitStatus.h"
#include "io/FileDescriptor.h"
#include "text/Text.h"

namespace tavik::station {
namespace {

using std::chrono::seconds;
using tool::Unusable;

constexpr std::size_t kMostBuffered = std::size_t{256} << 20;  // bytes of all incomplete requests
constexpr std::size_t kLargestHead = std::size_t{32} << 10;
constexpr unsigned kMostPerPeer = 256;
constexpr unsigned kReserve = 64;  // connections beyond the limit, until libmicrohttpd has closed others
constexpr std::size_t kMostStreams = 64;
constexpr std::size_t kLargestBacklog = std::size_t{1} << 20;  // bytes that an event stream may lag behind
constexpr std::size_t kEventBlock = std::size_t{16} << 10;
constexpr seconds kIdleTime{75};
constexpr seconds kRequestTime{30};
constexpr seconds kHeartbeatTime{15};
constexpr const char* kTlsPriorities = "NORMAL:-VERS-ALL:+VERS-TLS1.3:+VERS-TLS1.2";
/// `Certificate` gives each session its own.
constexpr gnutls_certificate_retrieve_function2* kNoCertificate = [](auto...) { return -1; };

[[noreturn]] void failToListen(const ServerOptions& options, const std::string& reason) {
  throw Unusable(
      fmt::format("cannot listen on {} port {}: {}; use another --host or --port", options.host, options.port, reason));
}

std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> resolved(const ServerOptions& options) {
  addrinfo hints = {};
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
  addrinfo* found = nullptr;
  const int error = getaddrinfo(options.host.c_str(), std::to_string(options.port).c_str(), &hints, &found);
  if (error != 0) failToListen(options, gai_strerror(error));
  return {found, freeaddrinfo};
}

/// The headers of a request. libmicrohttpd accepts lines that end with LF only, lines that continue others, and NUL
/// bytes, which other programs read differently. It parses the head in place, so if it has none of them, the headers
/// follow each other in memory, with two bytes at the end of each line.
struct Headers {
  Request& request;
  const char* next;  // where a line begins
  bool isPlain = true;
};

MHD_Result addHeader(void* self, MHD_ValueKind /*kind*/, const char* name, std::size_t nameSize, const char* value,
                     std::size_t size) {
  Headers& headers = *static_cast<Headers*>(self);
  headers.request.headers.emplace_back(tool::lowerCase({name, nameSize}), std::string(value, size));
  headers.isPlain = headers.isPlain && name == headers.next;
  headers.next = value + size + 2;
  return MHD_YES;
}

MHD_Result addParameter(void* request, MHD_ValueKind /*kind*/, const char* name, std::size_t nameSize,
                        const char* value, std::size_t size) {
  auto& parameters = static_cast<Request*>(request)->parameters;
  if (nameSize != 0) parameters.emplace_back(std::string(name, nameSize), std::string(value, size));
  return MHD_YES;
}

void addHeaders(MHD_Response* made, const Response& response) {
  const auto add = [&](const char* name, std::string_view value) {
    MHD_add_response_header(made, name, std::string(value).c_str());
  };
  add("Content-Type", response.contentType);
  add("Cache-Control", "no-store");
  add("X-Content-Type-Options", "nosniff");
  add("Content-Security-Policy", response.contentSecurityPolicy);
  add("Referrer-Policy", "no-referrer");
  add("Cross-Origin-Resource-Policy", "same-origin");
  for (const auto& [name, value] : response.headers) add(std::string(name).c_str(), value);
}

bool isGone(int socket) {
  pollfd state{.fd = socket, .events = POLLRDHUP, .revents = 0};
  return poll(&state, 1, 0) > 0;
}

}  // namespace

bool isLoopback(const std::string& host) {
  const auto found = resolved({.host = host});
  if (found->ai_family == AF_INET6)
    return IN6_IS_ADDR_LOOPBACK(&reinterpret_cast<const sockaddr_in6*>(found->ai_addr)->sin6_addr);
  return ntohl(reinterpret_cast<const sockaddr_in*>(found->ai_addr)->sin_addr.s_addr) >> 24U == 127;
}

Server::Server(ServerOptions options) : options_(std::move(options)) {
  const auto address = resolved(options_);
  unsigned flags = MHD_USE_EPOLL_INTERNAL_THREAD | MHD_ALLOW_SUSPEND_RESUME;
  if (address->ai_family == AF_INET6) flags |= MHD_USE_DUAL_STACK;
  if (options_.certificate) flags |= MHD_USE_TLS;
  errno = 0;
  daemon_ = MHD_start_daemon(
      flags, options_.port, nullptr, nullptr, &Server::onRequest, this, MHD_OPTION_SOCK_ADDR, address->ai_addr,
      MHD_OPTION_NOTIFY_CONNECTION, &Server::onConnection, this, MHD_OPTION_URI_LOG_CALLBACK, &Server::onTarget, this,
      MHD_OPTION_NOTIFY_COMPLETED, &Server::onCompleted, this, MHD_OPTION_CONNECTION_MEMORY_LIMIT, kLargestHead,
      MHD_OPTION_CONNECTION_LIMIT, static_cast<unsigned>(options_.mostConnections) + kReserve,
      MHD_OPTION_PER_IP_CONNECTION_LIMIT, isLoopback(options_.host) ? 0U : kMostPerPeer, MHD_OPTION_CONNECTION_TIMEOUT,
      static_cast<unsigned>(kIdleTime.count()), MHD_OPTION_HTTPS_PRIORITIES, kTlsPriorities,
      MHD_OPTION_HTTPS_CERT_CALLBACK, kNoCertificate, MHD_OPTION_END);
  if (daemon_ == nullptr) failToListen(options_, tool::systemReason());
  port_ = MHD_get_daemon_info(daemon_, MHD_DAEMON_INFO_BIND_PORT)->port;
}

Server::~Server() {
  stop();
  if (daemon_ != nullptr) MHD_stop_daemon(daemon_);
}

std::string Server::address() const {
  const bool isVersion6 = options_.host.find(':') != std::string::npos;
  return fmt::format("{}://{}{}{}:{}/", options_.certificate ? "https" : "http", isVersion6 ? "[" : "", options_.host,
                     isVersion6 ? "]" : "", port_);
}

std::size_t Server::connections() const {
  const std::lock_guard lock(mutex_);
  return connections_.size();
}

void Server::run(const Handler& handler) {
  std::unique_lock lock(mutex_);
  handler_ = &handler;
  changed_.notify_all();
  while (!changed_.wait_for(lock, seconds(1), [&] { return stops_; })) endOverdue();
  const tool::FileDescriptor listener(MHD_quiesce_daemon(daemon_));
  changed_.wait(lock, [&] { return working_ == 0; });
  for (Connection* const stream : streams_) resume(*stream);  // which ends it
  lock.unlock();
  MHD_stop_daemon(std::exchange(daemon_, nullptr));
}

void Server::answer(ConnectionId connection, Response response) {
  const std::lock_guard lock(mutex_);  // until libmicrohttpd is resumed, which `run` must not end before
  connection->response = std::move(response);
  MHD_resume_connection(connection->handle);
}

void Server::publish(std::string_view event) {
  const std::lock_guard lock(mutex_);
  for (Connection* const stream : streams_) send(*stream, event);
}

void Server::stop() {
  const std::lock_guard lock(mutex_);
  stops_ = true;
  changed_.notify_all();
}

void Server::onConnection(void* self, MHD_Connection* handle, void** context, MHD_ConnectionNotificationCode code) {
  Server& server = *static_cast<Server*>(self);
  std::unique_lock lock(server.mutex_);
  server.changed_.wait(lock, [&] { return server.handler_ != nullptr || server.stops_; });
  if (code == MHD_CONNECTION_NOTIFY_CLOSED) {
    server.connections_.erase(static_cast<Connection*>(*context)->socket);
    return;
  }
  server.makeRoom();
  const int socket = MHD_get_connection_info(handle, MHD_CONNECTION_INFO_CONNECTION_FD)->connect_fd;
  *context = &server.connections_.try_emplace(socket, Connection{server, handle, socket}).first->second;
  if (server.options_.certificate) {
    void* const session = MHD_get_connection_info(handle, MHD_CONNECTION_INFO_GNUTLS_SESSION)->tls_session;
    server.options_.certificate->use(static_cast<gnutls_session_t>(session));
  }
}

/// Called with the target of a request as it was sent. What it returns is given to the functions below.
void* Server::onTarget(void* self, const char* target, MHD_Connection* handle) {
  void* const context = MHD_get_connection_info(handle, MHD_CONNECTION_INFO_SOCKET_CONTEXT)->socket_context;
  Connection& connection = *static_cast<Connection*>(context);
  Server& server = *static_cast<Server*>(self);
  connection.isTargetValid = isTarget(target);
  const std::lock_guard lock(server.mutex_);
  server.enter(connection, State::kHead);
  return context;
}

/// Called with the head, with each part of the body, when the request is complete, and when it was answered.
MHD_Result Server::onRequest(void* self, MHD_Connection* /*handle*/, const char* path, const char* method,
                             const char* version, const char* bytes, std::size_t* size, void** context) {
  Server& server = *static_cast<Server*>(self);
  Connection& connection = *static_cast<Connection*>(*context);
  if (connection.state == State::kHead) return server.start(connection, path, method, version);
  if (*size != 0) {
    server.addToBody(connection, {bytes, std::exchange(*size, 0)});
    return MHD_YES;
  }
  if (connection.response) return server.respond(connection);
  if (connection.state == State::kComplete) return server.handOver(connection);
  // When libmicrohttpd calls again, it is ready to write. Otherwise, it would read when it resumes the connection, and
  // close it if the client has shut down its side.
  const std::lock_guard lock(server.mutex_);
  server.enter(connection, State::kComplete);
  return MHD_YES;
}

MHD_Result Server::start(Connection& connection, const char* path, const char* method, const char* version) {
  Request& request = connection.request;
  request.method = method;
  request.path = path;
  Headers headers{.request = request, .next = version + std::strlen(version) + 2};
  MHD_get_connection_values_n(connection.handle, MHD_HEADER_KIND, &addHeader, &headers);
  MHD_get_connection_values_n(connection.handle, MHD_GET_ARGUMENT_KIND, &addParameter, &request);
  const auto size = MHD_get_connection_info(connection.handle, MHD_CONNECTION_INFO_REQUEST_HEADER_SIZE)->header_size;
  if (!headers.isPlain || headers.next + 2 != method + size) {
    connection.response = Response::error(400, "malformed head; end each line with CR and LF, and do not continue it");
  } else if (!connection.isTargetValid) {
    connection.response = Response::error(400, "malformed path; begin it with \"/\", and send other characters as %XX");
  } else {
    connection.response = rejectionOf(request, options_.largestBody);
  }
  {
    const std::lock_guard lock(mutex_);
    enter(connection, State::kBody);
  }
  if (!connection.response) return MHD_YES;
  // Clients that do not wait for permission send the body before they read the answer, which they would lose if the
  // connection were closed at once.
  const bool isBodyRead = connection.response->status == 413 || connection.response->status == 415;
  return isBodyRead && request.header("expect") == nullptr ? MHD_YES : respond(connection);
}

void Server::addToBody(Connection& connection, std::string_view bytes) {
  std::string& body = connection.request.body;
  if (connection.response) return;  // refused: the rest is discarded
  if (body.size() + bytes.size() > options_.largestBody) {
    connection.response = bodyTooLarge(options_.largestBody);
    discardBody(connection);
  } else if (buffered_ + bytes.size() > kMostBuffered) {
    connection.response = Response::error(503, "too many large requests at the same time; try again later");
    discardBody(connection);
  } else {
    body += bytes;
    buffered_ += bytes.size();
  }
}

void Server::discardBody(Connection& connection) {
  buffered_ -= connection.request.body.size();
  connection.request.body = std::string();
}

MHD_Result Server::handOver(Connection& connection) {
  {
    const std::lock_guard lock(mutex_);
    if (stops_) return MHD_NO;
    enter(connection, State::kWorking);
  }
  buffered_ -= connection.request.body.size();
  MHD_suspend_connection(connection.handle);  // before another thread can resume it
  (*handler_)(std::exchange(connection.request, {}), &connection);
  return MHD_YES;
}

MHD_Result Server::respond(Connection& connection) {
  Response& response = *connection.response;
  MHD_Response* made = nullptr;
  {
    const std::lock_guard lock(mutex_);
    const bool isRefused = connection.state != State::kWorking;
    if (isRefused || stops_) response.headers.emplace_back("Connection", "close");
    if (response.isEventStream && streams_.size() >= kMostStreams) {
      response = Response::error(429, "too many event streams; close other pages of this station");
    }
    if (response.isEventStream) {
      enter(connection, State::kAnswering);
      streams_.insert(&connection);
      connection.events = response.body;
    }
  }
  if (response.isEventStream) {
    made = MHD_create_response_from_callback(MHD_SIZE_UNKNOWN, kEventBlock, &Server::readEvents, &connection, nullptr);
    MHD_set_response_options(made, MHD_RF_HTTP_1_0_COMPATIBLE_STRICT, MHD_RO_END);  // without chunks
  } else {
    made = MHD_create_response_from_buffer(response.body.size(), response.body.data(), MHD_RESPMEM_PERSISTENT);
  }
  addHeaders(made, response);
  const MHD_Result result = MHD_queue_response(connection.handle, static_cast<unsigned>(response.status), made);
  MHD_destroy_response(made);
  return result;
}

ssize_t Server::readEvents(void* self, std::uint64_t /*position*/, char* room, std::size_t size) {
  Connection& stream = *static_cast<Connection*>(self);
  const std::lock_guard lock(stream.server.mutex_);
  if (stream.server.stops_ || stream.isEnding) return MHD_CONTENT_READER_END_OF_STREAM;
  if (stream.events.empty()) {
    MHD_suspend_connection(stream.handle);
    stream.isSuspended = true;
  }
  const std::size_t count = stream.events.copy(room, size);
  stream.events.erase(0, count);
  return static_cast<ssize_t>(count);
}

void Server::onCompleted(void* self, MHD_Connection* /*handle*/, void** context, MHD_RequestTerminationCode /*code*/) {
  Server& server = *static_cast<Server*>(self);
  Connection& connection = *static_cast<Connection*>(*context);
  server.discardBody(connection);
  connection.request = {};
  connection.response.reset();
  const std::lock_guard lock(server.mutex_);
  server.streams_.erase(&connection);
  connection.events = std::string();
  server.enter(connection, State::kWaiting);
}

void Server::enter(Connection& connection, State state) {
  if (connection.state == State::kWorking) --working_;
  if (state == State::kWorking) ++working_;
  if (stops_) changed_.notify_all();
  connection.state = state;
  if (state != State::kBody) connection.since = Clock::now();
}

/// Closes the connection that has waited or sent its request for the longest if there are too many.
void Server::makeRoom() {
  if (connections_.size() < options_.mostConnections) return;
  Connection* oldest = nullptr;
  for (auto& [socket, connection] : connections_) {
    const bool isCandidate = connection.state <= State::kBody && !connection.isEnding;
    if (isCandidate && (oldest == nullptr || connection.since < oldest->since)) oldest = &connection;
  }
  if (oldest != nullptr) end(*oldest);
}

/// Ends what takes too long.
void Server::endOverdue() {
  const auto now = Clock::now();
  for (auto& [socket, connection] : connections_) {
    const auto limit = connection.state == State::kWaiting ? kIdleTime : kRequestTime;
    if (connection.state <= State::kBody && now - connection.since > limit) end(connection);
  }
  for (Connection* const stream : streams_) {
    if (isGone(stream->socket)) end(*stream);
    if (stream->isEnding || now - stream->since > kHeartbeatTime) send(*stream, ":\n\n");
  }
}

void Server::send(Connection& stream, std::string_view event) {
  stream.events += event;
  stream.since = Clock::now();
  if (stream.events.size() > kLargestBacklog) end(stream);
  resume(stream);
}

void Server::resume(Connection& stream) {
  if (std::exchange(stream.isSuspended, false)) MHD_resume_connection(stream.handle);
}

/// Has libmicrohttpd close a connection.
void Server::end(Connection& connection) {
  connection.isEnding = true;
  shutdown(connection.socket, SHUT_RDWR);
}

}  // namespace tavik::station
