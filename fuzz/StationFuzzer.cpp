// Bytes of a connection to the station service. The requests in them do not depend on how the bytes arrive, and each of
// them gets an answer.

#include <tavik/Json.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "api/Api.h"

namespace {

using namespace tavik;
using namespace tavik::station;

void require(bool condition) {
  if (!condition) std::abort();
}

// A folder in memory, where storing a run waits for no disk.
class Folder {
 public:
  Folder() {
    std::error_code error;
    const bool hasMemory = std::filesystem::is_directory("/dev/shm", error);
    std::string name =
        ((hasMemory ? "/dev/shm" : std::filesystem::temp_directory_path()) / "tavik-fuzz-XXXXXX").string();
    require(mkdtemp(name.data()) != nullptr);
    path_ = name;
    write("library", R"({"version": 1, "Model": {"attribute": "ModelNumber", "predicate": "hasPrefix", "value": "H"},
                         "Code": {"attribute": "SerialNumber", "predicate": "MPNCCCCheck", "value": "KQ2"}})");
    write("rules", R"({"version": 2, "GenericRules": {"Model": {}}, "MPNRules": {"H1": {"Code": {}}, "X": {}}})");
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  ~Folder() { std::filesystem::remove_all(path_); }

  [[nodiscard]] std::string path(const char* name) const { return (path_ / name).string(); }

 private:
  void write(const char* name, std::string_view text) const { std::ofstream(path(name)) << text; }

  std::filesystem::path path_;
};

tool::PlatformOptions unsignedDocuments() {
  tool::PlatformOptions options;
  options.unsignedDocuments = true;
  return options;
}

// Everything of the service except its sockets.
struct Service {
  Folder folder;
  RuleReloader rules{{folder.path("library"), {folder.path("rules")}, unsignedDocuments()}};
  RunReaders readers{folder.path("runs")};
  Metrics metrics;
  Log log{Log::Format::kNone};
  Station station{
      .rules = rules,
      .readers = readers,
      .metrics = metrics,
      .log = log,
      .access = {.token = "0123456789abcdef", .isLoopback = true},
      .databasePath = folder.path("runs"),
      .texts = "{}",
      .publish = [](std::string_view, std::string_view) {},
      .connections = [] { return std::size_t{0}; },
      .store = std::make_unique<RunStore>(folder.path("runs"), Retention{.days = 1, .bytes = std::int64_t{4} << 20})};
};

// The requests in bytes that arrive in pieces of this size.
std::vector<Request> requestsIn(std::string_view bytes, std::size_t size, bool& isRejected) {
  constexpr std::size_t kLargestBody = 4096;
  RequestReader reader(kLargestBody);
  std::vector<Request> requests;
  while (!bytes.empty() && !reader.rejection()) {
    reader.append(bytes.substr(0, size));
    bytes.remove_prefix(std::min(size, bytes.size()));
    while (auto request = reader.next()) requests.push_back(*std::move(request));
  }
  isRejected = reader.rejection().has_value();
  require(!isRejected || reader.rejection()->status >= 400);
  return requests;
}

bool isSame(const Request& left, const Request& right) {
  return left.method == right.method && left.path == right.path && left.parameters == right.parameters &&
         left.headers == right.headers && left.body == right.body && left.keepAlive == right.keepAlive;
}

void requireAnswer(const Service& service, Request request) {
  std::promise<Response> promise;
  answer(service.station, request, [&](Response response) { promise.set_value(std::move(response)); });
  const Response response = promise.get_future().get();
  require(response.status >= 200 && response.status < 600 && response.status != 500);
  require(response.status < 400 || readJsonMember(response.body, "error").has_value());
  const std::string text = response.text(request.method, request.keepAlive);
  require(text.ends_with(request.method == "HEAD" ? "\r\n\r\n" : response.body));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const auto kService = std::make_unique<const Service>();
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  bool isRejected = false;
  bool isRejectedInPieces = false;
  const std::vector<Request> requests = requestsIn(bytes, bytes.size(), isRejected);
  const std::vector<Request> inPieces = requestsIn(bytes, 1 + size % 7, isRejectedInPieces);
  require(isRejected == isRejectedInPieces && std::ranges::equal(requests, inPieces, isSame));
  for (const Request& request : requests) requireAnswer(*kService, request);
  return 0;
}
