// Requests about the service itself: its documents, its state, its counters.

#include <sys/stat.h>

#include "api/Api.h"
#include "io/JsonObject.h"

namespace tavik::station {
namespace {

/// When a file was changed last; absent if it is missing.
std::optional<Milliseconds> modified(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return std::nullopt;
  return static_cast<Milliseconds>(status.st_mtim.tv_sec) * 1000 + status.st_mtim.tv_nsec / 1000000;
}

double sizeOf(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 ? static_cast<double>(status.st_size) : 0;
}

Dictionary documentValue(const std::string& path, const DocumentProvenance& document) {
  Dictionary value{{"path", path}};
  for (const auto [key, entry] : document.dictionary()) {
    const auto date = entry.ifDate();
    value.set(key, date ? Value(isoText(millisecondsOf(*date))) : entry);
  }
  return value;
}

Dictionary productValue(const Product& product) {
  Dictionary value = documentValue(product.path, product.rules->provenance()->rules);
  Array partNumbers;
  if (const Dictionary* const listed = product.rules->localRules().findDictionary("MPNRules")) {
    for (const auto [partNumber, entries] : *listed) partNumbers.append(partNumber);
  }
  value.set("part_numbers", std::move(partNumbers));
  return value;
}

/// One sample per document that has a value.
template <class ValueOf>
void writeDocuments(MetricsText& text, const LoadedRules& rules, const RuleFiles& files, ValueOf valueOf) {
  const auto write = [&](std::string_view role, const std::string& path, const DocumentProvenance& document) {
    const std::optional<double> value = valueOf(path, document);
    if (!value) return;
    text.sample(MetricsText::labelOf("document", role) + "," + MetricsText::labelOf("path", path), *value);
  };
  write("library", files.library, rules.products().front().rules->provenance()->library);
  for (const Product& product : rules.products()) write("rules", product.path, product.rules->provenance()->rules);
}

void writeRules(MetricsText& text, const RuleReloader::Status& status, const RuleFiles& files) {
  text.begin("tavik_document_age_seconds", "gauge", "Time since the file of a rule document was changed.");
  writeDocuments(text, *status.rules, files, [](const std::string& path, const DocumentProvenance& /*document*/) {
    const std::optional<Milliseconds> time = modified(path);
    return time ? std::optional(static_cast<double>(now() - *time) / 1000) : std::nullopt;
  });
  text.begin("tavik_document_expiry_timestamp_seconds", "gauge", "When a rule document expires.");
  writeDocuments(text, *status.rules, files, [](const std::string& /*path*/, const DocumentProvenance& document) {
    const bool expires = document.statement && document.statement->expires;
    return expires ? std::optional(document.statement->expires->secondsSinceEpoch()) : std::nullopt;
  });
  text.begin("tavik_documents_rejected", "gauge", "1 if the files of the rule documents are not in use.");
  text.sample("", status.rejection ? 1 : 0);
  text.begin("tavik_documents_rejected_total", "counter", "Rejections of changed rule documents.");
  text.sample("", static_cast<double>(status.rejections));
}

}  // namespace

std::string rulesJson(const RuleReloader::Status& status, const RuleFiles& files) {
  const LoadedRules& rules = *status.rules;
  const Provenance& provenance = *rules.products().front().rules->provenance();
  const Dictionary all = provenance.dictionary();
  Array products;
  for (const Product& product : rules.products()) products.append(productValue(product));
  std::optional<Value> rejected;
  if (status.rejection) {
    rejected = Dictionary{{"time", isoText(status.rejection->time)}, {"error", status.rejection->reason}};
  }
  return tool::objectLine({{"kernel", *all.find("kernel")},
                           {"signatures", *all.find("signatures")},
                           {"loaded", Value(isoText(rules.loaded()))},
                           {"library", documentValue(files.library, provenance.library)},
                           {"rules", products},
                           {"rejected", rejected}});
}

Response showRules(const Station& station, const Request& /*request*/, std::string_view /*segment*/) {
  return {.body = rulesJson(station.rules.status(), station.rules.files())};
}

Response showMetrics(const Station& station, const Request& /*request*/, std::string_view /*segment*/) {
  MetricsText text;
  station.metrics.write(text);
  writeRules(text, station.rules.status(), station.rules.files());
  text.begin("tavik_database_bytes", "gauge", "Size of the files of the database.");
  text.sample("", sizeOf(station.databasePath) + sizeOf(station.databasePath + "-wal"));
  text.begin("tavik_connections", "gauge", "Open connections.");
  text.sample("", static_cast<double>(station.connections()));
  return {.body = text.text(), .contentType = "text/plain; version=0.0.4; charset=utf-8"};
}

Response showHealth(const Station& /*station*/, const Request& /*request*/, std::string_view /*segment*/) {
  return {.body = "{\"status\": \"ok\"}\n"};
}

Response showReadiness(const Station& station, const Request& /*request*/, std::string_view /*segment*/) {
  const RuleReloader::Status status = station.rules.status();
  if (const auto why = status.rules->whyUnusable()) return Response::error(503, *why);
  const std::optional<Value> rejected =
      status.rejection ? std::optional<Value>(status.rejection->reason) : std::nullopt;
  return {.body = tool::objectLine({{"status", Value("ready")}, {"rejected_documents", rejected}})};
}

}  // namespace tavik::station
