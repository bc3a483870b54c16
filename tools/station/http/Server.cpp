#include "http/Server.h"

#include <arpa/inet.h>
#include <fmt/format.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include "ExitStatus.h"

namespace tavik::station {
namespace {

using std::chrono::seconds;
using tool::Unusable;

constexpr std::uint64_t kListenerId = 0;
constexpr std::uint64_t kWakeId = 1;
constexpr std::size_t kMostBuffered = std::size_t{256} << 20;  // bytes of all incomplete requests
constexpr std::size_t kMostPerPeer = 256;
constexpr std::size_t kMostStreams = 64;
constexpr std::size_t kLargestBacklog = std::size_t{1} << 20;  // bytes that an event stream may lag behind
constexpr seconds kIdleTime{75};
constexpr seconds kRequestTime{30};
constexpr seconds kWriteTime{30};
constexpr seconds kDrainTime{2};
constexpr seconds kHeartbeatTime{15};

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

bool isLoopbackAddress(const sockaddr_storage& address) {
  if (address.ss_family == AF_INET) {
    in_addr ip{};
    std::memcpy(&ip, reinterpret_cast<const char*>(&address) + offsetof(sockaddr_in, sin_addr), sizeof ip);
    return ntohl(ip.s_addr) >> 24U == 127;
  }
  in6_addr ip{};
  std::memcpy(&ip, reinterpret_cast<const char*>(&address) + offsetof(sockaddr_in6, sin6_addr), sizeof ip);
  return IN6_IS_ADDR_LOOPBACK(&ip);
}

std::string nameOfPeer(const sockaddr_storage& address, socklen_t size) {
  char host[NI_MAXHOST] = "";
  getnameinfo(reinterpret_cast<const sockaddr*>(&address), size, host, sizeof host, nullptr, 0, NI_NUMERICHOST);
  return host;
}

int checked(int file, const char* what) {
  if (file < 0) throw Unusable(std::string(what) + ": " + tool::systemReason());
  return file;
}

int openListener(const ServerOptions& options) {
  const auto found = resolved(options);
  const int socket = ::socket(found->ai_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (socket < 0) failToListen(options, tool::systemReason());
  const int on = 1;
  setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  if (bind(socket, found->ai_addr, found->ai_addrlen) != 0 || ::listen(socket, SOMAXCONN) != 0) {
    const std::string reason = tool::systemReason();
    ::close(socket);
    failToListen(options, reason);
  }
  return socket;
}

std::uint16_t portOf(int socket) {
  sockaddr_storage address{};
  socklen_t size = sizeof address;
  getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size);
  static_assert(offsetof(sockaddr_in, sin_port) == offsetof(sockaddr_in6, sin6_port));
  std::uint16_t port = 0;
  std::memcpy(&port, reinterpret_cast<const char*>(&address) + offsetof(sockaddr_in, sin_port), sizeof port);
  return ntohs(port);
}

}  // namespace

bool isLoopback(const std::string& host) {
  const auto found = resolved({.host = host});
  sockaddr_storage address{};
  std::memcpy(&address, found->ai_addr, found->ai_addrlen);
  return isLoopbackAddress(address);
}

Server::Server(ServerOptions options)
    : options_(std::move(options)),
      isLoopback_(isLoopback(options_.host)),
      listener_(openListener(options_)),
      poller_(checked(epoll_create1(EPOLL_CLOEXEC), "cannot create a poller")),
      wake_(checked(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), "cannot create an event descriptor")),
      port_(portOf(listener_.number())) {
  for (const auto& [file, id] : {std::pair(listener_.number(), kListenerId), std::pair(wake_.number(), kWakeId)}) {
    epoll_event event{.events = EPOLLIN, .data = {.u64 = id}};
    checked(epoll_ctl(poller_.number(), EPOLL_CTL_ADD, file, &event), "cannot create a poller");
  }
}

Server::~Server() = default;

std::string Server::address() const {
  const bool isVersion6 = options_.host.find(':') != std::string::npos;
  return fmt::format("{}://{}{}{}:{}/", options_.tls ? "https" : "http", isVersion6 ? "[" : "", options_.host,
                     isVersion6 ? "]" : "", port_);
}

void Server::run(const Handler& handler) {
  handler_ = &handler;
  std::array<epoll_event, 256> events{};
  while (!stops_ || !connections_.empty()) {
    const int count = epoll_wait(poller_.number(), events.data(), static_cast<int>(events.size()), 500);
    for (int i = 0; i < count; ++i) {
      const ConnectionId id = events[static_cast<std::size_t>(i)].data.u64;
      if (id == kListenerId) {
        acceptAll();
      } else if (id != kWakeId) {
        onEvents(id);
      }
    }
    takeMail();
    if (stops_) endIdle();
    if (Clock::now() - lastTick_ >= seconds(1)) tick();
  }
}

void Server::answer(ConnectionId connection, Response response) {
  {
    const std::lock_guard lock(mutex_);
    answers_.emplace_back(connection, std::move(response));
    if (answers_.size() > 1) return;  // the one before woke the server
  }
  eventfd_write(wake_.number(), 1);
}

void Server::publish(std::string event) {
  if (streamCount_ == 0) return;
  {
    const std::lock_guard lock(mutex_);
    events_.push_back(std::move(event));
  }
  eventfd_write(wake_.number(), 1);
}

void Server::stop() {
  stops_ = true;
  eventfd_write(wake_.number(), 1);
}

void Server::acceptAll() {
  while (true) {
    sockaddr_storage address{};
    socklen_t size = sizeof address;
    const int socket =
        accept4(listener_.number(), reinterpret_cast<sockaddr*>(&address), &size, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (socket < 0) {
      const bool lacksDescriptors = errno == EMFILE || errno == ENFILE;
      if (lacksDescriptors && evict([](const Connection&) { return true; })) continue;
      return;
    }
    tool::FileDescriptor file(socket);
    const std::string peer = nameOfPeer(address, size);
    if (!makeRoom(peer)) continue;
    const int on = 1;
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    const ConnectionId id = ++lastId_;
    const auto [place, isNew] =
        connections_.try_emplace(id, Channel(std::move(file), options_.tls.get()), peer, options_.largestBody);
    connectionCount_ = connections_.size();
    epoll_event event{.events = EPOLLIN, .data = {.u64 = id}};
    place->second.events = EPOLLIN;
    if (epoll_ctl(poller_.number(), EPOLL_CTL_ADD, socket, &event) != 0) close(id);
  }
}

/// Makes room for a connection: the one that has been idle the longest is closed.
bool Server::makeRoom(const std::string& peer) {
  const auto isOfPeer = [&](const Connection& connection) { return connection.peer == peer; };
  if (!isLoopback_) {
    const auto ofPeer = std::ranges::count_if(connections_, [&](const auto& entry) { return isOfPeer(entry.second); });
    if (static_cast<std::size_t>(ofPeer) >= kMostPerPeer && !evict(isOfPeer)) return false;
  }
  return connections_.size() < options_.mostConnections || evict([](const Connection&) { return true; });
}

bool Server::evict(const std::function<bool(const Connection&)>& isCandidate) {
  const Connections::value_type* victim = nullptr;
  for (const auto& entry : connections_) {
    const Connection& connection = entry.second;
    const bool waits = connection.state == State::kReading || connection.state == State::kDraining;
    if (waits && isCandidate(connection) && (victim == nullptr || connection.since < victim->second.since)) {
      victim = &entry;
    }
  }
  if (victim == nullptr) return false;
  close(victim->first);
  return true;
}

void Server::onEvents(ConnectionId id) {
  const auto place = connections_.find(id);
  if (place != connections_.end() && !advance(id, place->second)) close(id);
}

/// Does what can be done without waiting; false if the connection is to be closed.
bool Server::advance(ConnectionId id, Connection& connection) {
  switch (connection.state) {
    case State::kReading:
      return read(id, connection);
    case State::kWorking:
      return false;  // the peer is gone
    case State::kWriting:
      if (!write(connection)) return false;
      break;
    case State::kStreaming: {
      const bool isAlive = write(connection) && drain(connection);
      if (!isAlive) return false;
      break;
    }
    case State::kDraining:
      if (!drain(connection)) return false;
  }
  if (connection.state == State::kReading) {  // another request may have arrived already
    if (!process(id, connection)) return false;
    if (connection.state == State::kReading && options_.tls) return read(id, connection);
  }
  const bool hasOutput = connection.written < connection.out.size();
  std::uint32_t events = connection.state == State::kWorking ? 0U : EPOLLIN;
  if (connection.state == State::kWriting) events = EPOLLOUT;
  if (connection.state == State::kStreaming && hasOutput) events |= EPOLLOUT;
  await(id, connection, events);
  return true;
}

bool Server::read(ConnectionId id, Connection& connection) {
  std::array<char, 65536> buffer;
  while (connection.state == State::kReading) {
    std::span<char> room = buffer;
    const Channel::Result result = connection.channel.read(room);
    if (result == Channel::Result::kClosed) return false;
    if (result == Channel::Result::kMustWrite) return await(id, connection, EPOLLOUT), true;
    if (result == Channel::Result::kMustRead) return await(id, connection, EPOLLIN), true;
    if (!connection.reader.isInRequest()) connection.since = Clock::now();
    connection.reader.append({room.data(), room.size()});
    if (!process(id, connection)) return false;
  }
  if (connection.state == State::kWorking) return await(id, connection, 0), true;
  return advance(id, connection);
}

/// Hands over the request if it is complete.
bool Server::process(ConnectionId id, Connection& connection) {
  std::optional<Request> request = connection.reader.next();
  count(connection);
  if (request) {
    connection.state = State::kWorking;
    connection.since = Clock::now();
    connection.method = request->method;
    connection.keepAlive = request->keepAlive;
    (*handler_)(*std::move(request), id);
  } else if (connection.reader.rejection()) {
    refuse(connection, *connection.reader.rejection());
  } else if (buffered_ > kMostBuffered) {
    refuse(connection, Response::error(503, "too many large requests at the same time; try again later"));
  } else if (connection.reader.takeContinue()) {
    std::string_view text = "HTTP/1.1 100 Continue\r\n\r\n";
    return connection.channel.write(text) == Channel::Result::kDone;
  }
  return true;
}

void Server::count(Connection& connection) {
  const std::size_t size = connection.reader.size();
  buffered_ += size - connection.counted;
  connection.counted = size;
}

void Server::refuse(Connection& connection, const Response& response) {
  connection.keepAlive = false;
  respond(connection, response);
}

void Server::respond(Connection& connection, Response response) {
  if (response.isEventStream && streamCount_ >= kMostStreams) {
    response = Response::error(429, "too many event streams; close other pages of this station");
  }
  connection.keepAlive = connection.keepAlive && !stops_;
  connection.out = response.text(connection.method, connection.keepAlive);
  connection.written = 0;
  connection.since = Clock::now();
  connection.state = response.isEventStream ? State::kStreaming : State::kWriting;
  if (response.isEventStream) ++streamCount_;
}

bool Server::write(Connection& connection) {
  std::string_view rest = std::string_view(connection.out).substr(connection.written);
  const std::size_t before = rest.size();
  const Channel::Result result = connection.channel.write(rest);
  if (rest.size() != before) connection.since = Clock::now();
  connection.written = connection.out.size() - rest.size();
  if (result == Channel::Result::kClosed) return false;
  if (!rest.empty()) return true;
  connection.out.clear();
  connection.out.shrink_to_fit();
  connection.written = 0;
  if (connection.state != State::kWriting) return true;
  connection.since = Clock::now();
  connection.state = connection.keepAlive ? State::kReading : State::kDraining;
  if (!connection.keepAlive) connection.channel.finish();
  return true;
}

/// Discards what the peer still sends, so that it can read the answer before the connection is closed.
bool Server::drain(Connection& connection) {
  std::array<char, 4096> buffer;
  while (true) {
    std::span<char> room = buffer;
    const Channel::Result result = connection.channel.read(room);
    if (result != Channel::Result::kDone) return result != Channel::Result::kClosed;
  }
}

void Server::await(ConnectionId id, Connection& connection, std::uint32_t events) {
  if (connection.events == events) return;
  epoll_event event{.events = events, .data = {.u64 = id}};
  epoll_ctl(poller_.number(), EPOLL_CTL_MOD, connection.channel.number(), &event);
  connection.events = events;
}

void Server::close(ConnectionId id) {
  const auto place = connections_.find(id);
  if (place == connections_.end()) return;
  buffered_ -= place->second.counted;
  if (place->second.state == State::kStreaming) --streamCount_;
  connections_.erase(place);
  connectionCount_ = connections_.size();
}

void Server::takeMail() {
  eventfd_t count = 0;
  eventfd_read(wake_.number(), &count);
  std::vector<std::pair<ConnectionId, Response>> answers;
  std::vector<std::string> events;
  {
    const std::lock_guard lock(mutex_);
    answers.swap(answers_);
    events.swap(events_);
  }
  for (auto& [id, response] : answers) {
    const auto place = connections_.find(id);
    if (place == connections_.end()) continue;
    respond(place->second, std::move(response));
    onEvents(id);
  }
  if (events.empty()) return;
  std::vector<ConnectionId> lagging;
  for (auto& [id, connection] : connections_) {
    if (connection.state != State::kStreaming) continue;
    for (const std::string& event : events) connection.out += event;
    const bool lags = connection.out.size() - connection.written > kLargestBacklog;
    if (lags || !advance(id, connection)) lagging.push_back(id);
  }
  for (const ConnectionId id : lagging) close(id);
}

/// Ends what takes too long.
void Server::tick() {
  lastTick_ = Clock::now();
  std::vector<ConnectionId> late;
  for (auto& [id, connection] : connections_) {
    const auto age = lastTick_ - connection.since;
    const bool isInRequest = connection.state == State::kReading && connection.reader.isInRequest();
    if (isInRequest && age > kRequestTime) {
      refuse(connection, Response::error(408, "the request was not complete within 30 seconds; send it again"));
      if (!advance(id, connection)) late.push_back(id);
    } else if (connection.state == State::kStreaming && connection.out.empty() && age > kHeartbeatTime) {
      connection.since = lastTick_;
      connection.out += ":\n\n";
      if (!advance(id, connection)) late.push_back(id);
    } else if ((connection.state == State::kReading && age > kIdleTime) ||
               (connection.state == State::kWriting && age > kWriteTime) ||
               (connection.state == State::kStreaming && age > kWriteTime) ||
               (connection.state == State::kDraining && age > kDrainTime)) {
      late.push_back(id);
    }
  }
  for (const ConnectionId id : late) close(id);
}

/// Closes what has no request in progress, and accepts nothing more.
void Server::endIdle() {
  if (std::exchange(isListening_, false)) {
    epoll_ctl(poller_.number(), EPOLL_CTL_DEL, listener_.number(), nullptr);
  }
  std::vector<ConnectionId> idle;
  for (const auto& [id, connection] : connections_) {
    if (connection.state == State::kReading || connection.state == State::kStreaming) idle.push_back(id);
  }
  for (const ConnectionId id : idle) close(id);
}

}  // namespace tavik::station
