// Captured check runs.

#include <tavik/Capture.h>
#include <tavik/Json.h>
#include <tavik/StationPlatform.h>

#include <utility>

#include "Entries.h"
#include "OpenSsl.h"
#include "Statement.h"

namespace tavik {
namespace {

constexpr std::string_view kOwner = "the capture";

std::optional<std::string> digestOf(const Value& content, std::string& error) {
  const std::optional<std::string> text = writeJson(content, error);
  if (!text) return std::nullopt;
  return sha256({reinterpret_cast<const std::uint8_t*>(text->data()), text->size()});
}

/// The value of "capture", if the digest matches.
const Dictionary* checkedContent(const Dictionary& file, std::string& error) {
  if (!checkKeys(file, {"capture", "sha256"}, "the file", error)) return nullptr;
  const Value* content = entry(file, "capture", Kind::kDictionary, "the file", error);
  const Value* digest = content != nullptr ? entry(file, "sha256", Kind::kString, "the file", error) : nullptr;
  if (digest == nullptr) return nullptr;
  const std::optional<std::string> actual = digestOf(*content, error);
  if (!actual) return nullptr;
  if (digest->ifString() == *actual) return content->ifDictionary();
  error = "was changed or damaged: its content does not match its digest";
  return nullptr;
}

bool readDictionary(const Dictionary& content, std::string_view key, Dictionary& out, std::string& error) {
  const Value* value = entry(content, key, Kind::kDictionary, kOwner, error);
  if (value != nullptr) out = *value->ifDictionary();
  return value != nullptr;
}

}  // namespace

Dictionary resultDictionary(const CheckOutcome& outcome) {
  Dictionary result = outcome.dictionary();
  if (outcome.provenance) result.set("provenance", outcome.provenance->dictionary());
  return result;
}

Capture Capture::of(const CheckOutcome& outcome, Dictionary attributes, Dictionary sources, Dictionary station) {
  Capture capture;
  capture.time = systemTime();
  capture.validated = capture.time;
  for (const DocumentProvenance* document : {&outcome.provenance->library, &outcome.provenance->rules}) {
    if (document->validated && document->validated->secondsSinceEpoch() < capture.validated.secondsSinceEpoch()) {
      capture.validated = *document->validated;
    }
  }
  capture.attributes = std::move(attributes);
  capture.sources = std::move(sources);
  capture.station = std::move(station);
  capture.result = resultDictionary(outcome);
  const Provenance& provenance = *outcome.provenance;
  capture.kernel = *provenance.dictionary().findString("kernel");
  capture.library = provenance.library.document;
  const bool hasRules = !outcome.reason || outcome.reason->category != Reason::Category::kNoLocalRules;
  if (hasRules) capture.rules = provenance.rules.document;
  return capture;
}

std::optional<std::string> Capture::write(std::string& error) const {
  const ErrorQueueScope errors;
  Dictionary content{{"kernel", kernel}, {"time", time}, {"validated", validated}, {"library", library}};
  if (rules) content.set("rules", *rules);
  content.set("attributes", attributes);
  content.set("sources", sources);
  content.set("station", station);
  content.set("result", result);
  const std::optional<std::string> digest = digestOf(content, error);
  if (!digest) return std::nullopt;
  std::optional<std::string> text =
      writeJson(Dictionary{{"capture", std::move(content)}, {"sha256", *digest}}, error, JsonLayout::kIndented);
  if (text) *text += '\n';
  return text;
}

std::optional<Capture> Capture::read(std::string_view text, std::string& error) {
  const ErrorQueueScope errors;
  const std::optional<Value> file = readJson(text, error);
  if (!file || !checkKind(*file, Kind::kDictionary, "the file", error)) return std::nullopt;
  const Dictionary* content = checkedContent(*file->ifDictionary(), error);
  if (content == nullptr ||
      !checkKeys(*content,
                 {"kernel", "time", "validated", "library", "rules", "attributes", "sources", "station", "result"},
                 kOwner, error)) {
    return std::nullopt;
  }
  Capture capture;
  const Value* version = entry(*content, "kernel", Kind::kString, kOwner, error);
  const Value* date = version != nullptr ? entry(*content, "time", Kind::kDate, kOwner, error) : nullptr;
  const Value* validated = date != nullptr ? entry(*content, "validated", Kind::kDate, kOwner, error) : nullptr;
  const Value* rules = nullptr;
  if (validated == nullptr || !optionalEntry(*content, "rules", Kind::kDictionary, kOwner, rules, error) ||
      !readDictionary(*content, "library", capture.library, error) ||
      !readDictionary(*content, "attributes", capture.attributes, error) ||
      !readDictionary(*content, "sources", capture.sources, error) ||
      !readDictionary(*content, "station", capture.station, error) ||
      !readDictionary(*content, "result", capture.result, error)) {
    return std::nullopt;
  }
  capture.kernel = *version->ifString();
  capture.time = *date->ifDate();
  capture.validated = *validated->ifDate();
  if (rules != nullptr) capture.rules = *rules->ifDictionary();
  return capture;
}

}  // namespace tavik
