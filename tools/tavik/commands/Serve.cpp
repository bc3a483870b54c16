// `tavik serve`: executes the program of the station service, which is a package of its own.

#include "commands/Serve.h"

#include <fmt/format.h>
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <system_error>
#include <vector>

#include "ExitStatus.h"
#include "commands/Command.h"
#include "commands/CommonOptions.h"
#include "io/FileDescriptor.h"

namespace tavik::tool {
namespace {

namespace fs = std::filesystem;

/// The program of the service, in the folder of `tavik` or in libexec.
constexpr const char* kStationProgram = "tavik-station";

constexpr Help::Part kDescription[] = {
    paragraph(
        R"(Checks devices over HTTP, stores every result in a database before it answers, and serves a page for
operators. The address is printed when the service is ready. The package tavik-station contains the service.)"),
    paragraph(
        R"(POST /v1/check takes the object of a line of "tavik batch", {"id": any, "attributes": {...}, "sources":
{...}}, and answers 200 with the object of "check --format json" without "signatures" and what follows it, with "id"
first and "run", the number of the run, last, whether the device passed or not. Errors are {"error": "..."}: 400 for a
body that is not such an object, 413 for one that is larger than 16 MiB, 429 and 503 if the service cannot check now.)"),
    literal(R"(curl --json '{"attributes": {"ModelNumber": "HN10"}}' http://127.0.0.1:8080/v1/check)"),
    paragraph(
        R"(Documents are read again when a file changes, and on SIGHUP. Documents that are rejected leave the old ones in
use; GET /v1/rules, /metrics and the page show the rejection. With several --rules, the part number of the device
selects the one that lists it. SIGTERM and Ctrl-C end the service when the requests in progress are answered.)"),
    heading("Requests"),
    item("POST /v1/check", "checks a device"),
    item("POST /v1/lists/KIND", R"(what to collect for a device, as "tavik list" prints it)"),
    item("GET /v1/runs",
         "stored runs, newest first; parameters: id, part_number, verdict, rule, from, to, limit, before"),
    item("GET /v1/runs/N", "one run with its device and its documents"),
    item("GET /runs/N", "its report as a page"),
    item("GET /v1/summary",
         "failures by rule and part number, and verdicts by hour; parameters: part_number, from, to"),
    item("GET /v1/rules", "the documents in use, who signed them, and why new ones were rejected"),
    item("GET /v1/events", "new runs and documents as server-sent events"),
    item("GET /metrics", "counters for Prometheus"),
    item("GET /healthz, /readyz", "whether the service runs, and whether it can check devices"),
    item("GET /v1/openapi.json", "the description of all requests and answers"),
};
constexpr std::string_view kExamples[] = {
    "tavik serve --library rules.signed --rules product.signed --database runs.db",
    "tavik serve --library rules.signed --rules product.signed --host 0.0.0.0 --token-file token",
    "tavik serve --database runs.db --export > runs.jsonl",
};
constexpr ExitMeaning kExitStatuses[] = {
    {ExitStatus::kPassed, "the service was ended by a signal, or the runs are written"},
    {ExitStatus::kUnusable,
     "the command line is wrong, the address or the database cannot be used, or the package is missing"},
    {ExitStatus::kNoVerdict, "a document is not trusted, empty or malformed"},
};
constexpr Help kHelp = {"Check devices over HTTP and store the results", kDescription, kExamples, kExitStatuses};

/// The candidates for the program, the first one beside `tavik`.
std::vector<fs::path> programPaths() {
  std::error_code error;
  const fs::path folder = fs::read_symlink("/proc/self/exe", error).parent_path();
  std::vector<fs::path> paths = {fs::path(TAVIK_LIBEXEC_DIR) / kStationProgram};
  if (!error)
    paths.insert(paths.begin(), {folder / kStationProgram, folder / ".." / "libexec" / "tavik" / kStationProgram});
  return paths;
}

/// The options as arguments of the program.
std::vector<std::string> argumentsOf(const CLI::App& app) {
  std::vector<std::string> arguments = {kStationProgram};
  for (const CLI::Option* option : app.get_options()) {
    for (const std::string& value : option->results()) arguments.push_back(option->get_name() + "=" + value);
  }
  return arguments;
}

ExitStatus execute(const CLI::App& app) {
  std::vector<std::string> arguments = argumentsOf(app);
  std::vector<char*> pointers;
  for (std::string& argument : arguments) pointers.push_back(argument.data());
  pointers.push_back(nullptr);
  for (const fs::path& path : programPaths()) {
    std::error_code error;
    if (!fs::exists(path, error)) continue;
    execv(path.c_str(), pointers.data());
    throw Unusable(path.string() + ": " + systemReason());
  }
  throw Unusable("the station service is not installed; install the package tavik-station");
}

Run define(CLI::App& app) {
  const auto options = std::make_shared<ServeOptions>();
  addServeOptions(app, *options);
  return [&app, options] { return execute(app); };
}

}  // namespace

void addServeOptions(CLI::App& app, ServeOptions& options) {
  constexpr std::int64_t kMostDays = 36500;
  constexpr std::int64_t kMostMebibytes = std::int64_t{1} << 24;
  addText(app, "--library", options.library, "FILE", "The signed rule library");
  app.add_option("--rules", options.rules, "The signed local rules of a product; repeatable")
      ->type_name("FILE")
      ->allow_extra_args(false);
  addText(app, "--host", options.host, "ADDRESS",
          "The address to listen on; any but a loopback address requires --token-file, and uses TLS")
      ->default_str(options.host);
  addNumber(app, "--port", options.port, "N", "The port; 0 for any free one", std::uint16_t{0}, std::uint16_t{65535})
      ->default_str(std::to_string(options.port));
  addText(app, "--database", options.database, "FILE", "The database of the results, created if it does not exist")
      ->default_str(options.database);
  addText(app, "--token-file", options.tokenFile, "FILE",
          "A file with the token that clients must send, of at least 16 characters");
  addText(app, "--tls-certificate", options.tlsCertificate, "FILE",
          "The certificate and its chain (PEM); by default a self-signed one is made beside the database");
  addText(app, "--tls-key", options.tlsKey, "FILE", "The private key of the certificate (PEM)");
  addNumber(app, "--keep-days", options.keepDays, "DAYS", "Delete older runs", std::int64_t{1}, kMostDays)
      ->default_str(std::to_string(options.keepDays));
  addNumber(app, "--keep-mib", options.keepMebibytes, "MIB", "Delete the oldest runs if the database is larger",
            std::int64_t{1}, kMostMebibytes)
      ->default_str(std::to_string(options.keepMebibytes));
  addNumber(app, "--max-connections", options.mostConnections, "N",
            "If more clients connect, the connection that has been idle the longest is closed", std::size_t{8},
            std::size_t{100000})
      ->default_str(std::to_string(options.mostConnections));
  app.add_flag("--allow-unstored", options.allowUnstored,
               "Answer with a verdict and \"run\": null if the result cannot be stored")
      ->multi_option_policy(CLI::MultiOptionPolicy::Throw);
  app.add_flag("--export", options.exportsRuns, "Write the stored runs as JSON lines, and exit")
      ->multi_option_policy(CLI::MultiOptionPolicy::Throw);
  options.logFormat = "text";
  addChoice(app, "--log-format", options.logFormat, "FORMAT", "The format of the messages on standard error",
            {"text", "json"})
      ->default_str(options.logFormat);
  addText(app, "--texts", options.texts, "FILE", "Translations of the texts of the page (JSON)");
  addPlatform(app, options.platform);
}

const Command kServe = {"serve", kHelp, define};

}  // namespace tavik::tool
