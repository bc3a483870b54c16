// The HTTP server of the station service with an empty handler, for comparison with checks: it has the same threads,
// and its answers are as large as those of checks of the example product. It serves until it is killed.

#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>
#include <utility>

#include "http/Server.h"
#include "http/Workers.h"

int main() {
  using namespace tavik::station;
  const std::string body(6000, ' ');
  Server server({.port = 0});
  Workers workers(Workers::perProcessor());
  std::puts(server.address().c_str());
  std::fflush(stdout);
  server.run([&](Request request, Server::ConnectionId connection) {
    const std::size_t size = request.body.size() + 1;
    const auto shared = std::make_shared<Request>(std::move(request));
    workers.add(size, [&, shared, connection] { server.answer(connection, {.body = body}); });
  });
}
