/// @file
/// The requests of the service as functions from a request to its response. They know nothing about sockets.
#ifndef TAVIK_STATION_API_API_H
#define TAVIK_STATION_API_API_H

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

#include "Log.h"
#include "Metrics.h"
#include "api/Access.h"
#include "http/Message.h"
#include "rules/RuleReloader.h"
#include "store/RunReader.h"
#include "store/RunStore.h"

namespace tavik::station {

/// What the requests work with.
struct Station {
  RuleReloader& rules;
  RunStore& store;
  RunReaders& readers;
  Metrics& metrics;
  const Log& log;
  AccessRules access;
  std::string databasePath;
  bool allowsUnstored = false;
  std::string texts;                                                          ///< of the page, as JSON
  std::function<void(std::string_view name, std::string_view data)> publish;  ///< sends an event
  std::function<std::size_t()> connections;                                   ///< that are open
};

/// A request: its method and path, and what answers it. "{}" in the path is one segment, which `answer` gets.
struct Route {
  std::string_view method;
  std::string_view path;
  Response (*answer)(const Station& station, const Request& request, std::string_view segment);
  bool isPublic = false;  ///< needs no token
  bool isCheck = false;   ///< has threads of its own
};

/// Answers a request; never throws. Thread-safe.
Response answer(const Station& station, const Request& request);

/// Whether the request belongs to the checks, which are not delayed by other requests.
bool isCheck(const Request& request);

/// @name What the routes answer
/// @{
Response listRuns(const Station& station, const Request& request, std::string_view segment);
Response showRun(const Station& station, const Request& request, std::string_view segment);
Response showReport(const Station& station, const Request& request, std::string_view segment);
Response showSummary(const Station& station, const Request& request, std::string_view segment);
Response showRules(const Station& station, const Request& request, std::string_view segment);
Response showMetrics(const Station& station, const Request& request, std::string_view segment);
Response showHealth(const Station& station, const Request& request, std::string_view segment);
Response showReadiness(const Station& station, const Request& request, std::string_view segment);
Response check(const Station& station, const Request& request, std::string_view segment);
Response makeList(const Station& station, const Request& request, std::string_view segment);
/// @}

/// The data of the event about the documents, and the answer of /v1/rules.
std::string rulesJson(const RuleReloader::Status& status, const RuleFiles& files);

}  // namespace tavik::station

#endif
