#include "Service.h"

#include <fmt/format.h>
#include <pthread.h>
#include <sys/resource.h>

#include <csignal>
#include <ctime>
#include <memory>
#include <stop_token>
#include <thread>
#include <utility>

#include "Log.h"
#include "Metrics.h"
#include "ServiceManager.h"
#include "api/Api.h"
#include "api/StoredRun.h"
#include "http/Server.h"
#include "http/Workers.h"
#include "io/StandardOutput.h"
#include "page/Texts.h"
#include "rules/RuleReloader.h"
#include "store/RunReader.h"
#include "store/RunStore.h"
#include "store/Schema.h"

namespace tavik::station {
namespace {

using tool::ExitStatus;
using tool::ServeOptions;
using tool::Unusable;

constexpr std::size_t kQueryThreads = 4;

/// The signals that `Signals` handles.
sigset_t handledSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&signals, signal);
  return signals;
}

/// Handles signals in a thread of its own: SIGHUP reads the documents again, the others stop the server.
std::jthread signalThread(Server& server, RuleReloader& rules) {
  return std::jthread([&](const std::stop_token& stop) {
    const sigset_t signals = handledSignals();
    constexpr timespec kInterval = {.tv_sec = 0, .tv_nsec = 200'000'000};
    while (!stop.stop_requested()) {
      const int signal = sigtimedwait(&signals, nullptr, &kInterval);
      if (signal == SIGHUP) rules.reload();
      if (signal == SIGINT || signal == SIGTERM) server.stop();
    }
  });
}

void requireOptions(const ServeOptions& options) {
  if (options.library.empty()) throw Unusable("--library is required; see tavik serve --help");
  if (options.rules.empty()) throw Unusable("--rules is required; see tavik serve --help");
  if (options.tlsCertificate.has_value() != options.tlsKey.has_value()) {
    throw Unusable("--tls-certificate and --tls-key must be given together");
  }
  if (!isLoopback(options.host) && !options.tokenFile) {
    throw Unusable(
        fmt::format("--host {}: other machines can connect to this address; --token-file is required", options.host));
  }
}

/// Allows as many connections as the system does.
void raiseDescriptorLimit() {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
}

std::shared_ptr<Certificate> certificateFor(const ServeOptions& options, const Log& log) {
  if (isLoopback(options.host) && !options.tlsCertificate) return nullptr;
  const auto report = [&](const std::string& problem) {
    if (problem.empty()) {
      log.write(Log::Level::kInfo, "certificate loaded");
    } else {
      log.write(Log::Level::kWarning, "certificate rejected; the old one remains in use", {{"reason", problem}});
    }
  };
  if (options.tlsCertificate) {
    return std::make_shared<Certificate>(CertificateFiles{*options.tlsCertificate, *options.tlsKey}, report);
  }
  const CertificateFiles files = {options.database + ".certificate.pem", options.database + ".key.pem"};
  makeSelfSignedCertificate(files, options.host);
  auto certificate = std::make_shared<Certificate>(files, report);
  log.write(Log::Level::kInfo, "self-signed certificate",
            {{"file", files.certificate}, {"sha256", certificate->fingerprint()}});
  return certificate;
}

std::unique_ptr<RunStore> openStore(const ServeOptions& options) {
  try {
    return std::make_unique<RunStore>(options.database, Retention{options.keepDays, options.keepMebibytes << 20U});
  } catch (const StoreError& error) {
    throw Unusable(fmt::format("--database {}: {}", options.database, error.what()));
  }
}

void reportRules(const Log& log, const RuleReloader::Status& status) {
  if (status.rejection) {
    log.write(Log::Level::kWarning, "rule documents rejected; the old ones remain in use",
              {{"reason", status.rejection->reason}});
    notifyServiceManager("STATUS=New rule documents were rejected; the old ones remain in use");
  } else {
    log.write(Log::Level::kInfo, "rule documents loaded");
    notifyServiceManager("STATUS=New rule documents are in use");
  }
}

}  // namespace

ExitStatus serve(const ServeOptions& options) {
  requireOptions(options);
  raiseDescriptorLimit();
  const sigset_t signals = handledSignals();
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);  // before the threads, which inherit it

  const Log log(options.logFormat == "json" ? Log::Format::kJson : Log::Format::kText);
  const std::optional<std::string> token =
      options.tokenFile ? std::optional(readToken(*options.tokenFile)) : std::nullopt;
  tool::PlatformOptions platform = options.platform;
  platform.checksDevices = true;
  tool::warnAboutTrust("serve", platform);
  RuleReloader rules({options.library, options.rules, platform});
  RunReaders readers(options.database);
  Metrics metrics;
  Server server({.host = options.host,
                 .port = options.port,
                 .mostConnections = options.mostConnections,
                 .certificate = certificateFor(options, log)});
  const Station station{
      .rules = rules,
      .readers = readers,
      .metrics = metrics,
      .log = log,
      .access = {.token = token, .isLoopback = isLoopback(options.host)},
      .databasePath = options.database,
      .allowsUnstored = options.allowUnstored,
      .texts = pageTexts(options.texts),
      .publish = [&](std::string_view name,
                     std::string_view data) { server.publish(fmt::format("event: {}\ndata: {}\n\n", name, data)); },
      .connections = [&] { return server.connections(); },
      .store = openStore(options)};
  Workers checks(Workers::perProcessor());
  Workers queries(kQueryThreads);
  const std::jthread watcher = rules.watch([&](const RuleReloader::Status& status) {
    reportRules(log, status);
    std::string data = rulesJson(status, rules.files());
    data.pop_back();  // the line end
    station.publish("rules", data);
  });
  const std::jthread signalHandler = signalThread(server, rules);

  tool::writeStandardOutput(server.address() + "\n");
  log.write(Log::Level::kInfo, "ready", {{"address", server.address()}});
  notifyServiceManager("READY=1\nSTATUS=Serving " + server.address());
  server.run([&](Request request, Server::ConnectionId connection) {
    const std::size_t size = request.body.size() + 1;
    Workers& workers = isCheck(request) ? checks : queries;
    const auto shared = std::make_shared<Request>(std::move(request));
    const bool isAccepted = workers.add(size, [&, shared, connection] {
      answer(station, *shared, [&, connection](Response response) { server.answer(connection, std::move(response)); });
    });
    if (!isAccepted) server.answer(connection, Response::error(503, "too many requests are waiting; try again later"));
  });
  log.write(Log::Level::kInfo, "stopped");
  return ExitStatus::kPassed;
}

ExitStatus exportRuns(const ServeOptions& options) {
  try {
    Database database(options.database, Database::Use::kReading);
    requireUsable(database);
    RunReader reader(options.database);
    reader.forEach([](const Run& run) { tool::writeStandardOutput(detailsText(run) + "\n"); });
  } catch (const StoreError& error) {
    throw Unusable(fmt::format("--database {}: {}", options.database, error.what()));
  }
  return ExitStatus::kPassed;
}

}  // namespace tavik::station
