// Requests to the station service, separated by lines of "===", each as "METHOD PATH", "?NAME=VALUE" and "Name: value",
// an empty line, and the body. Each of them gets an answer.

#include <tavik/Json.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "api/Api.h"
#include "text/Text.h"

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

std::string_view takeUntil(std::string_view& rest, std::string_view separator) {
  const std::size_t end = rest.find(separator);
  const std::string_view part = rest.substr(0, end);
  rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + separator.size());
  return part;
}

Request requestIn(std::string_view text) {
  Request request;
  std::string_view line = takeUntil(text, "\n");
  request.method = takeUntil(line, " ");
  request.path = line;
  while (!(line = takeUntil(text, "\n")).empty()) {
    const bool isParameter = line.starts_with('?');
    const std::string_view name = takeUntil(line, isParameter ? "=" : ": ");
    if (isParameter) request.parameters.emplace_back(name.substr(1), line);
    if (!isParameter) request.headers.emplace_back(tool::lowerCase(name), line);
  }
  request.body = text;
  return request;
}

Response answered(const Service& service, Request request) {
  std::promise<Response> promise;
  answer(service.station, request, [&](Response response) { promise.set_value(std::move(response)); });
  return promise.get_future().get();
}

void requireAnswer(const Service& service, Request request) {
  constexpr std::size_t kLargestBody = 4096;
  isTarget(request.path);
  const std::optional<Response> rejection = rejectionOf(request, kLargestBody);
  const Response response = rejection ? *rejection : answered(service, std::move(request));
  require(response.status >= (rejection ? 400 : 200) && response.status < 600 && response.status != 500);
  require(response.status < 400 || readJsonMember(response.body, "error").has_value());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const auto kService = std::make_unique<const Service>();
  std::string_view rest(reinterpret_cast<const char*>(data), size);
  while (!rest.empty()) requireAnswer(*kService, requestIn(takeUntil(rest, "\n===\n")));
  return 0;
}
