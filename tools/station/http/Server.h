/// @file
/// The sockets of the service: GNU libmicrohttpd reads requests and writes answers in one thread.
///
/// A connection is suspended while its request is answered elsewhere, and takes no thread, so idle and slow clients do
/// not delay checks. libmicrohttpd limits only how long a connection may be silent: `Server` limits the time of a
/// request, the memory for requests and the number of connections, and rejects requests that two programs could read
/// differently.
#ifndef TAVIK_STATION_HTTP_SERVER_H
#define TAVIK_STATION_HTTP_SERVER_H

#include <microhttpd.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "http/Certificate.h"
#include "http/Message.h"

namespace tavik::station {

struct ServerOptions {
  std::string host = "127.0.0.1";
  std::uint16_t port = 8080;  ///< 0: any free port
  std::size_t largestBody = std::size_t{16} << 20;
  std::size_t mostConnections = 1024;
  std::shared_ptr<Certificate> certificate = nullptr;  ///< null: no TLS
};

/// Whether only programs of this machine can connect to an address. Throws `Unusable` if it is not one.
bool isLoopback(const std::string& host);

class Server {
  struct Connection;

 public:
  using ConnectionId = Connection*;
  /// Called by the thread of libmicrohttpd, which must not wait: `answer` must be called later, by any thread.
  using Handler = std::function<void(Request request, ConnectionId connection)>;

  /// Binds the address. Throws `Unusable`.
  explicit Server(ServerOptions options);
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;
  ~Server();

  /// Serves until `stop` and until requests that have been handed over are answered.
  void run(const Handler& handler);

  /// Answers the request of a connection, once. Thread-safe.
  void answer(ConnectionId connection, Response response);
  /// Sends text to every event stream. Thread-safe.
  void publish(std::string_view event);
  /// Thread-safe.
  void stop();

  /// "https://127.0.0.1:8080/"
  [[nodiscard]] std::string address() const;
  /// Thread-safe.
  [[nodiscard]] std::size_t connections() const;

 private:
  using Clock = std::chrono::steady_clock;
  enum class State : std::uint8_t { kWaiting, kHead, kBody, kComplete, kWorking, kAnswering };

  struct Connection {
    Server& server;
    MHD_Connection* handle;
    int socket;
    State state = State::kWaiting;
    Clock::time_point since = Clock::now();  // of waiting, of the request, of its answer, or of the last event
    bool isEnding = false;
    bool isTargetValid = false;
    Request request = {};
    std::optional<Response> response = {};
    bool isSuspended = false;  // an event stream without events
    std::string events = {};   // that have not been sent
  };

  // Called by libmicrohttpd in its thread.
  static void onConnection(void* self, MHD_Connection* handle, void** context, MHD_ConnectionNotificationCode code);
  static void* onTarget(void* self, const char* target, MHD_Connection* handle);
  static MHD_Result onRequest(void* self, MHD_Connection* handle, const char* path, const char* method,
                              const char* version, const char* bytes, std::size_t* size, void** connection);
  static void onCompleted(void* self, MHD_Connection* handle, void** connection, MHD_RequestTerminationCode code);
  static ssize_t readEvents(void* connection, std::uint64_t position, char* room, std::size_t size);

  MHD_Result start(Connection& connection, const char* path, const char* method, const char* version);
  void addToBody(Connection& connection, std::string_view bytes);
  void discardBody(Connection& connection);
  MHD_Result handOver(Connection& connection);
  MHD_Result respond(Connection& connection);

  // These need the mutex.
  void enter(Connection& connection, State state);
  void makeRoom();
  void endOverdue();
  static void send(Connection& stream, std::string_view event);
  static void resume(Connection& stream);
  static void end(Connection& connection);

  ServerOptions options_;
  std::uint16_t port_ = 0;
  MHD_Daemon* daemon_ = nullptr;
  std::size_t buffered_ = 0;  // bytes of the bodies of requests that are not complete

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  const Handler* handler_ = nullptr;
  bool stops_ = false;
  std::size_t working_ = 0;                // requests that were handed over and whose answer has not been sent
  std::map<int, Connection> connections_;  // by socket
  std::set<Connection*> streams_;
};

}  // namespace tavik::station

#endif
