// Requests about one device: a check, and the lists of what to collect for it.

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <iterator>
#include <utility>
#include <vector>

#include "api/Api.h"
#include "api/StoredRun.h"
#include "check/Outcome.h"
#include "io/JsonObject.h"
#include "rules/CheckLists.h"
#include "text/Text.h"

namespace tavik::station {
namespace {

/// The product whose rules apply. With one product, the line need not be read for that.
const Product& productFor(const LoadedRules& rules, std::string_view body) {
  if (rules.products().size() == 1) return rules.products().front();
  return rules.productOf(DeviceLine::read(body, 1).attributes);
}

void announce(const Station& station, const Run& run) {
  station.metrics.addRun(run);
  station.publish("run", run.json());
  station.log.write(Log::Level::kInfo, "checked",
                    {{"run", Value(run.number)}, {"id", run.id}, {"verdict", run.verdict}});
}

/// Replies after the run was stored or not. text: the answer without the number of the run.
void finish(const Station& station, const Run& run, const StoreError* failure, std::string text, const Reply& reply) {
  if (failure != nullptr) {
    station.metrics.addStoreFailure();
    station.log.write(Log::Level::kError, "result not stored", {{"id", run.id}, {"reason", failure->what()}});
    if (!station.allowsUnstored) return reply(Response::error(503, failure->what()));
  }
  announce(station, run);
  text.pop_back();
  reply({.body = std::move(text.append(", \"run\": ").append(run.numberJson()).append("}\n"))});
}

}  // namespace

void check(const Station& station, Request& request, const Reply& reply) {
  const std::shared_ptr<const LoadedRules> rules = station.rules.rules();
  if (const auto why = rules->whyUnusable()) return reply(Response::error(503, *why));
  const auto begin = std::chrono::steady_clock::now();
  const Product& product = productFor(*rules, request.body);
  LineResult result = checkLine(*product.rules, request.body, 1);
  if (!result.inputError.empty()) return reply(Response::error(400, result.inputError));
  identify(result, request.body);
  std::string text = answerText(result);
  Run run = runOf(result, std::move(request.body), text, product);
  const auto duration = std::chrono::steady_clock::now() - begin;
  run.microseconds = std::chrono::duration_cast<std::chrono::microseconds>(duration).count();
  station.store->store(
      std::move(run), [&station, text = std::move(text), reply](const Run& stored, const StoreError* failure) mutable {
        replyWith(station, "/v1/check", reply, [&] { finish(station, stored, failure, std::move(text), reply); });
      });
}

Response makeList(const Station& station, const Request& request, std::string_view segment) {
  const auto* const list = std::ranges::find(tool::kCheckLists, segment, &tool::CheckList::name);
  if (list == std::end(tool::kCheckLists)) {
    std::vector<std::string_view> names;
    std::ranges::transform(tool::kCheckLists, std::back_inserter(names), &tool::CheckList::name);
    return Response::error(404, fmt::format("unknown list \"{}\"; use one of {}",
                                            tool::shortened(tool::visible(segment), 40), fmt::join(names, ", ")));
  }
  const std::shared_ptr<const LoadedRules> rules = station.rules.rules();
  if (const auto why = rules->whyUnusable()) return Response::error(503, *why);
  const DeviceLine device = DeviceLine::read(request.body, 1);
  if (!device.inputError.empty()) return Response::error(400, device.inputError);
  const Product& product = rules->productOf(device.attributes);
  std::optional<Dictionary> content;
  std::optional<Error> error;
  const std::optional<Fault> fault = tool::faultOf([&] {
    const Dictionary& signedRules = product.rules->provenance()->rules.document;
    content = (rules->kernel().*list->make)(signedRules, device.attributes, error);
  });
  std::vector<tool::JsonEntry> entries = {{"list", content}, {"error", tool::valueOf(error)}};
  if (fault) entries.push_back({"fault", tool::valueOf(*fault)});
  return {.body = tool::objectLine(entries)};
}

}  // namespace tavik::station
