// Requests about stored runs.

#include <fmt/format.h>
#include <tavik/Json.h>

#include <algorithm>
#include <charconv>
#include <initializer_list>
#include <iterator>
#include <string>

#include "api/Api.h"
#include "api/StoredRun.h"
#include "reports/ReportAssets.h"
#include "text/NearestName.h"
#include "text/Text.h"

namespace tavik::station {
namespace {

/// The parameters of a request are wrong: status 400.
class WrongParameter : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

std::optional<std::int64_t> positiveInteger(std::string_view text) {
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size() || number < 1) return std::nullopt;
  return number;
}

/// The parameters of a query.
class Parameters {
 public:
  /// Rejects unknown names, and names that are given twice.
  Parameters(const Request& request, std::initializer_list<std::string_view> known) : request_(request) {
    for (const auto& [name, value] : request.parameters) {
      if (std::ranges::find(known, name) == known.end()) {
        const std::string suggestion = tool::didYouMean(name, std::vector<std::string_view>(known));
        throw WrongParameter(fmt::format(
            "unknown parameter \"{}\"{}", tool::shortened(tool::visible(name), 40),
            suggestion.empty() ? fmt::format("; the parameters are {}", fmt::join(known, ", ")) : suggestion));
      }
      if (std::ranges::count(request.parameters, name, &std::pair<std::string, std::string>::first) > 1) {
        throw WrongParameter(fmt::format("the parameter \"{}\" is given twice; give it once", name));
      }
    }
  }

  /// An empty parameter counts as absent.
  [[nodiscard]] std::optional<std::string> text(std::string_view name) const {
    for (const auto& [given, value] : request_.parameters) {
      if (given == name && !value.empty()) return value;
    }
    return std::nullopt;
  }
  [[nodiscard]] std::optional<Milliseconds> time(std::string_view name) const {
    const std::optional<std::string> given = text(name);
    if (!given) return std::nullopt;
    const std::optional<Date> date = tool::dateFromText(*given);
    if (!date) {
      throw WrongParameter(fmt::format("\"{}\" must be a UTC time such as 2026-11-22T08:00:00Z or 2026-11-22", name));
    }
    return millisecondsOf(*date);
  }
  [[nodiscard]] std::optional<std::int64_t> integer(std::string_view name) const {
    const std::optional<std::string> given = text(name);
    const std::optional<std::int64_t> number = given ? positiveInteger(*given) : std::nullopt;
    if (given && !number) throw WrongParameter(fmt::format("\"{}\" must be a positive integer", name));
    return number;
  }

 private:
  const Request& request_;
};

RunFilter filterIn(const Parameters& parameters) {
  RunFilter filter{.id = parameters.text("id"),
                   .partNumber = parameters.text("part_number"),
                   .verdict = parameters.text("verdict"),
                   .rule = parameters.text("rule"),
                   .from = parameters.time("from"),
                   .to = parameters.time("to")};
  constexpr std::string_view kVerdicts[] = {"passed", "failed", "none"};
  if (filter.verdict && std::ranges::find(kVerdicts, *filter.verdict) == std::end(kVerdicts)) {
    throw WrongParameter("\"verdict\" must be passed, failed or none");
  }
  return filter;
}

/// Calls a function that reads parameters.
template <class Answer>
Response withParameters(Answer answer) {
  try {
    return answer();
  } catch (const WrongParameter& error) {
    return Response::error(400, error.what());
  }
}

/// A run by the number in the path.
std::optional<Run> findRun(const Station& station, std::string_view segment) {
  const std::optional<std::int64_t> number = positiveInteger(segment);
  if (!number) return std::nullopt;
  return station.readers.with([&](RunReader& reader) { return reader.find(*number); });
}

Response noSuchRun(std::string_view segment) {
  return Response::error(404, fmt::format("run {} does not exist or was deleted; GET /v1/runs lists the stored runs",
                                          tool::shortened(tool::visible(segment), 40)));
}

/// "[...]" of the rows, each made by `json`.
template <class Rows, class Json>
std::string arrayOf(const Rows& rows, Json json) {
  std::string text = "[";
  for (const auto& row : rows) text.append(text.size() == 1 ? "" : ", ").append(json(row));
  return text + "]";
}

std::string quoted(std::string_view text) {
  std::string json;
  appendJsonString(json, text);
  return json;
}

}  // namespace

Response listRuns(const Station& station, const Request& request, std::string_view /*segment*/) {
  return withParameters([&]() -> Response {
    const Parameters parameters(request, {"id", "part_number", "verdict", "rule", "from", "to", "limit", "before"});
    const RunFilter filter = filterIn(parameters);
    const std::int64_t limit = std::min<std::int64_t>(parameters.integer("limit").value_or(100), 1000);
    const std::optional<std::int64_t> before = parameters.integer("before");
    return station.readers.with([&](RunReader& reader) -> Response {
      const std::int64_t total = reader.count(filter);
      const std::vector<RunSummary> runs = reader.list(filter, before, static_cast<std::size_t>(limit));
      return {.body = fmt::format("{{\"total\": {}, \"runs\": {}}}\n", total,
                                  arrayOf(runs, [](const RunSummary& run) { return run.json(); }))};
    });
  });
}

Response showSummary(const Station& station, const Request& request, std::string_view /*segment*/) {
  return withParameters([&] {
    const Parameters parameters(request, {"part_number", "from", "to"});
    const RunFilter filter = filterIn(parameters);
    return station.readers.with([&](RunReader& reader) -> Response {
      const std::string failures = arrayOf(reader.failures(filter), [](const RuleFailures& row) {
        return fmt::format(R"({{"rule": {}, "part_number": {}, "runs": {}}})", quoted(row.rule), quoted(row.partNumber),
                           row.runs);
      });
      const std::string hours = arrayOf(reader.hours(filter), [](const HourCount& row) {
        return fmt::format(R"({{"hour": "{}", "part_number": {}, "verdict": "{}", "runs": {}}})", isoText(row.hour),
                           quoted(row.partNumber), row.verdict, row.runs);
      });
      return {.body = fmt::format("{{\"failures\": {}, \"hours\": {}}}\n", failures, hours)};
    });
  });
}

Response showRun(const Station& station, const Request& /*request*/, std::string_view segment) {
  const std::optional<Run> run = findRun(station, segment);
  return run ? Response{.body = detailsText(*run) + "\n"} : noSuchRun(segment);
}

Response showReport(const Station& station, const Request& /*request*/, std::string_view segment) {
  const std::optional<Run> run = findRun(station, segment);
  if (!run) return noSuchRun(segment);
  Response response{.body = reportPage(*run), .contentType = "text/html; charset=utf-8"};
  response.contentSecurityPolicy = fmt::format(
      "default-src 'none'; style-src 'unsafe-inline'; script-src 'sha256-{}'; base-uri 'none'; form-action 'none'; "
      "frame-ancestors 'none'",
      tool::reportScriptHash());
  return response;
}

}  // namespace tavik::station
