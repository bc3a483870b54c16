/// @file
/// The sockets of the service: one thread waits for all connections, and hands over complete requests.
///
/// A connection costs a few hundred bytes until a request is complete, so idle and slow clients take no thread from the
/// checks. Servers that use a thread per connection, such as cpp-httplib's, make a check wait behind idle connections.
#ifndef TAVIK_STATION_HTTP_SERVER_H
#define TAVIK_STATION_HTTP_SERVER_H

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "http/Message.h"
#include "http/Tls.h"
#include "io/FileDescriptor.h"

namespace tavik::station {

struct ServerOptions {
  std::string host = "127.0.0.1";
  std::uint16_t port = 8080;  ///< 0: any free port
  std::size_t largestBody = std::size_t{16} << 20;
  std::size_t mostConnections = 1024;
  std::shared_ptr<const TlsContext> tls = nullptr;
};

/// Whether only programs of this machine can connect to an address. Throws `Unusable` if it is not one.
bool isLoopback(const std::string& host);

class Server {
 public:
  using ConnectionId = std::uint64_t;
  /// Called by the thread of the server, which must not wait: `answer` may be called later, by any thread.
  using Handler = std::function<void(Request request, ConnectionId connection)>;

  /// Binds the address. Throws `Unusable`.
  explicit Server(ServerOptions options);
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;
  ~Server();

  /// Serves until `stop` and until requests that have been handed over are answered.
  void run(const Handler& handler);

  /// Answers the request of a connection, which may be closed already. Thread-safe.
  void answer(ConnectionId connection, Response response);
  /// Sends text to every event stream. Thread-safe.
  void publish(std::string event);
  /// Thread-safe.
  void stop();

  [[nodiscard]] std::uint16_t port() const noexcept { return port_; }
  /// "https://127.0.0.1:8080/"
  [[nodiscard]] std::string address() const;
  [[nodiscard]] std::size_t connections() const noexcept { return connectionCount_; }

 private:
  using Clock = std::chrono::steady_clock;
  enum class State : std::uint8_t { kReading, kWorking, kWriting, kStreaming, kDraining };

  struct Connection {
    Connection(Channel channelOf, std::string peerOf, std::size_t largestBody)
        : channel(std::move(channelOf)), peer(std::move(peerOf)), reader(largestBody) {}

    Channel channel;
    std::string peer;
    RequestReader reader;
    State state = State::kReading;
    std::uint32_t events = 0;  // that are waited for
    std::string out = {};
    std::size_t written = 0;
    std::string method = {};
    bool keepAlive = false;
    bool closesAfterWriting = false;
    std::size_t counted = 0;                 // bytes of the reader in `buffered_`
    Clock::time_point since = Clock::now();  // of the state, the first byte of a request, or the last progress
  };
  using Connections = std::map<ConnectionId, Connection>;

  void acceptAll();
  bool makeRoom(const std::string& peer);
  bool evict(const std::function<bool(const Connection&)>& isCandidate);
  void onEvents(ConnectionId id);
  bool advance(ConnectionId id, Connection& connection);
  bool read(ConnectionId id, Connection& connection);
  bool process(ConnectionId id, Connection& connection);
  bool write(Connection& connection);
  bool drain(Connection& connection);
  void count(Connection& connection);
  void refuse(Connection& connection, const Response& response);
  void respond(Connection& connection, Response response);
  void await(ConnectionId id, Connection& connection, std::uint32_t events);
  void close(ConnectionId id);
  void takeMail();
  void tick();
  void endIdle();

  ServerOptions options_;
  bool isLoopback_;
  tool::FileDescriptor listener_;
  tool::FileDescriptor poller_;
  tool::FileDescriptor wake_;
  std::uint16_t port_ = 0;
  const Handler* handler_ = nullptr;
  Connections connections_;
  ConnectionId lastId_ = 1;
  std::size_t buffered_ = 0;  // bytes of requests that are not complete
  Clock::time_point lastTick_ = Clock::now();
  bool isListening_ = true;
  std::atomic<std::size_t> connectionCount_ = 0;
  std::atomic<std::size_t> streamCount_ = 0;
  std::atomic<bool> stops_ = false;

  std::mutex mutex_;
  std::vector<std::pair<ConnectionId, Response>> answers_;
  std::vector<std::string> events_;
};

}  // namespace tavik::station

#endif
