/// @file
/// The requests of the service as functions from a request to its response. They know nothing about sockets.
#ifndef TAVIK_STATION_API_API_H
#define TAVIK_STATION_API_API_H

#include <cstddef>
#include <functional>
#include <memory>
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
  RunReaders& readers;
  Metrics& metrics;
  const Log& log;
  AccessRules access;
  std::string databasePath;
  bool allowsUnstored = false;
  std::string texts;                                                          ///< of the page, as JSON
  std::function<void(std::string_view name, std::string_view data)> publish;  ///< sends an event
  std::function<std::size_t()> connections;                                   ///< that are open
  std::unique_ptr<RunStore> store;  ///< destroyed first: answers the runs that wait
};

/// Gets the response to a request, once, in any thread.
using Reply = std::function<void(Response response)>;

/// A request: its method and path, and what answers it. "{}" in the path is one segment, which `answer` gets.
struct Route {
  std::string_view method;
  std::string_view path;
  Response (*answer)(const Station& station, const Request& request, std::string_view segment);
  bool isPublic = false;  ///< needs no token
  bool isCheck = false;   ///< has threads of its own
  void (*answerLater)(const Station& station, Request& request, const Reply& reply) = nullptr;  ///< instead of `answer`
};

/// Answers a request, whose body may be moved from; never throws. Thread-safe.
void answer(const Station& station, Request& request, const Reply& reply);

/// Calls a function that replies; if it throws, replies with the reason. path: of the request.
void replyWith(const Station& station, const std::string& path, const Reply& reply, const std::function<void()>& work);

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
Response makeList(const Station& station, const Request& request, std::string_view segment);
/// Replies when the result is stored.
void check(const Station& station, Request& request, const Reply& reply);
/// @}

/// The data of the event about the documents, and the answer of /v1/rules.
std::string rulesJson(const RuleReloader::Status& status, const RuleFiles& files);

}  // namespace tavik::station

#endif
