#include "api/Api.h"

#include <fmt/format.h>

#include <exception>
#include <new>
#include <optional>

#include "page/Assets.h"
#include "text/Text.h"

namespace tavik::station {
namespace {

/// The page may fetch and show only what this service gives it.
constexpr std::string_view kPagePolicy =
    "default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; img-src data:; base-uri 'none'; "
    "form-action 'none'; frame-ancestors 'none'";

template <Asset kAsset>
Response showAsset(const Station& /*station*/, const Request& /*request*/, std::string_view /*segment*/) {
  Response response;
  response.body = contentOf(kAsset);
  response.contentType = mediaTypeOf(kAsset);
  response.contentSecurityPolicy = kPagePolicy;
  return response;
}

Response showTexts(const Station& station, const Request& /*request*/, std::string_view /*segment*/) {
  return {.body = station.texts};
}

Response openEvents(const Station& /*station*/, const Request& /*request*/, std::string_view /*segment*/) {
  Response response;
  response.contentType = "text/event-stream";
  response.isEventStream = true;
  response.body = "retry: 1000\n\n";
  return response;
}

constexpr Route kRoutes[] = {
    {.method = "POST", .path = "/v1/check", .answer = nullptr, .isCheck = true, .answerLater = check},
    {.method = "POST", .path = "/v1/lists/{}", .answer = makeList, .isCheck = true},
    {.method = "GET", .path = "/v1/runs", .answer = listRuns},
    {.method = "GET", .path = "/v1/runs/{}", .answer = showRun},
    {.method = "GET", .path = "/runs/{}", .answer = showReport},
    {.method = "GET", .path = "/v1/summary", .answer = showSummary},
    {.method = "GET", .path = "/v1/rules", .answer = showRules},
    {.method = "GET", .path = "/v1/events", .answer = openEvents},
    {.method = "GET", .path = "/v1/openapi.json", .answer = showAsset<Asset::kOpenApi>, .isPublic = true},
    {.method = "GET", .path = "/metrics", .answer = showMetrics},
    {.method = "GET", .path = "/healthz", .answer = showHealth, .isPublic = true},
    {.method = "GET", .path = "/readyz", .answer = showReadiness, .isPublic = true},
    {.method = "GET", .path = "/", .answer = showAsset<Asset::kPage>},
    {.method = "GET", .path = "/page.css", .answer = showAsset<Asset::kStyle>, .isPublic = true},
    {.method = "GET", .path = "/page.js", .answer = showAsset<Asset::kScript>, .isPublic = true},
    {.method = "GET", .path = "/texts.json", .answer = showTexts, .isPublic = true},
};

/// The segment that "{}" matches, empty if the pattern has none; absent if the path does not match.
std::optional<std::string_view> matched(std::string_view pattern, std::string_view path) {
  if (!pattern.ends_with("{}")) return pattern == path ? std::optional<std::string_view>("") : std::nullopt;
  pattern.remove_suffix(2);
  if (!path.starts_with(pattern)) return std::nullopt;
  path.remove_prefix(pattern.size());
  return path.empty() || path.find('/') != std::string_view::npos ? std::nullopt : std::optional(path);
}

bool isMethodOf(const Route& route, const Request& request) {
  return request.method == route.method || (request.method == "HEAD" && route.method == "GET");
}

Response answerUnknown(const Request& request) {
  const std::string shown = tool::shortened(tool::visible(request.path), 80);
  for (const Route& route : kRoutes) {
    if (!matched(route.path, request.path)) continue;
    Response response =
        Response::error(405, fmt::format("\"{}\" does not accept this method; use {}", shown, route.method));
    response.headers.emplace_back("Allow", route.method == "GET" ? "GET, HEAD" : route.method);
    return response;
  }
  return Response::error(404, fmt::format("unknown path \"{}\"; GET /v1/openapi.json lists the requests", shown));
}

void dispatch(const Station& station, Request& request, const Reply& reply) {
  for (const Route& route : kRoutes) {
    const auto segment = matched(route.path, request.path);
    if (!segment || !isMethodOf(route, request)) continue;
    if (std::optional<Response> refused = refusal(request, station.access, route.isPublic)) return reply(*refused);
    if (route.answerLater != nullptr) return route.answerLater(station, request, reply);
    return reply(route.answer(station, request, *segment));
  }
  reply(refusal(request, station.access, false).value_or(answerUnknown(request)));
}

}  // namespace

void answer(const Station& station, Request& request, const Reply& reply) {
  const Reply finish = [&station, reply, isHead = request.method == "HEAD"](Response response) {
    if (isHead) response.isEventStream = false;
    if (response.status == 503) response.headers.emplace_back("Retry-After", "1");
    station.metrics.addAnswer(response.status);
    reply(std::move(response));
  };
  replyWith(station, request.path, finish, [&] { dispatch(station, request, finish); });
}

void replyWith(const Station& station, const std::string& path, const Reply& reply, const std::function<void()>& work) {
  try {
    work();
  } catch (const StoreError& error) {
    reply(Response::error(503, error.what()));
  } catch (const std::bad_alloc&) {
    reply(Response::error(503, "the service is out of memory; try again later"));
  } catch (const std::exception& error) {
    station.log.write(Log::Level::kError, "request failed", {{"path", tool::visible(path)}, {"reason", error.what()}});
    reply(Response::error(500, fmt::format("{}; see the log of the service", error.what())));
  }
}

bool isCheck(const Request& request) {
  for (const Route& route : kRoutes) {
    if (route.isCheck && matched(route.path, request.path)) return true;
  }
  return false;
}

}  // namespace tavik::station
