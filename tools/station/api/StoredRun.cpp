#include "api/StoredRun.h"

#include <fmt/format.h>
#include <tavik/Json.h>
#include <tavik/PropertyList.h>
#include <tavik/RuleOrigins.h>

#include <algorithm>
#include <initializer_list>

#include "ExitStatus.h"
#include "check/DeviceResult.h"
#include "io/Bytes.h"
#include "io/Encoding.h"
#include "io/Json.h"
#include "reports/HtmlRecords.h"
#include "reports/Report.h"
#include "text/Text.h"

namespace tavik::station {
namespace {

constexpr std::size_t kLongestName = 1000;  // of identifiers that are searched for, in bytes

/// A string, or another value as JSON, as it is searched for.
std::string nameOf(const Value* value) {
  if (value == nullptr) return "";
  const auto string = value->ifString();
  std::string text = string ? std::string(*string) : tool::toJson(*value);
  if (text.size() > kLongestName) text.resize(tool::atCharacter(text, kLongestName));
  return text;
}

/// The rules that failed, or the one that ended the run.
std::vector<std::string> rulesOf(const CheckOutcome& outcome) {
  std::vector<std::string> rules;
  if (outcome.reason && outcome.reason->rule) rules.push_back(*outcome.reason->rule);
  for (const Value& record : outcome.ruleRecords()) {
    if (!tool::passed(record)) rules.push_back(nameOf(record.ifDictionary()->find("rule")));
  }
  return rules;
}

/// JSON text on one line: line ends occur only between its tokens.
std::string onOneLine(std::string json) {
  constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";
  if (json.starts_with(kByteOrderMark)) json.erase(0, kByteOrderMark.size());
  for (const char lineEnd : {'\n', '\r'}) {
    for (auto i = json.find(lineEnd); i != std::string::npos; i = json.find(lineEnd, i + 1)) json[i] = ' ';
  }
  return json;
}

/// The category with this word.
template <class Named>
auto categoryOf(std::string_view word, std::initializer_list<decltype(Named::category)> all) {
  return *std::ranges::find_if(all, [&](auto category) { return Named{category, ""}.word() == word; });
}

std::string textIn(const Dictionary& dictionary, std::string_view key) {
  return std::string(dictionary.findString(key).value_or(""));
}

Reason reasonIn(const Dictionary& entries) {
  using enum Reason::Category;
  const auto rule = entries.findString("rule");
  return {categoryOf<Reason>(textIn(entries, "kind"), {kNoLocalRules, kNotTrusted, kEmpty, kNotAssembled, kNoRules,
                                                       kMalformedExpression, kFault, kUnreadable}),
          textIn(entries, "description"), rule ? std::optional<std::string>(*rule) : std::nullopt};
}

/// Reads the stored outcome, whose entries may be null.
CheckOutcome outcomeIn(std::string_view json) {
  Dictionary entries;
  for (const std::string_view key : {"records", "station", "error", "fault", "verdict", "reason"}) {
    if (std::optional<Value> entry = readJsonMember(json, key)) entries.set(key, *std::move(entry));
  }
  CheckOutcome outcome;
  const std::string verdict = textIn(entries, "verdict");
  outcome.verdict = verdict == wordOf(Verdict::kPassed)   ? Verdict::kPassed
                    : verdict == wordOf(Verdict::kFailed) ? Verdict::kFailed
                                                          : Verdict::kNone;
  if (const Array* const records = entries.findArray("records")) outcome.records = *records;
  if (const Dictionary* const station = entries.findDictionary("station")) outcome.station = *station;
  if (const Dictionary* const error = entries.findDictionary("error")) {
    const Value* const code = error->find("code");
    outcome.error = Error(static_cast<std::int32_t>(code->ifInteger().value_or(0)), textIn(*error, "description"));
  }
  if (const Dictionary* const fault = entries.findDictionary("fault")) {
    using enum Fault::Category;
    outcome.fault =
        Fault{categoryOf<Fault>(textIn(*fault, "kind"), {kRange, kInvalidArgument}), textIn(*fault, "message")};
  }
  if (const Dictionary* const reason = entries.findDictionary("reason")) outcome.reason = reasonIn(*reason);
  return outcome;
}

tool::DeviceResult resultOf(const Run& run) {
  tool::DeviceResult result{LineResult{DeviceLine::read(run.device, 1)}};
  identify(result, run.device);
  result.outcome = outcomeIn(run.outcome);
  return result;
}

/// The reverse of `DocumentProvenance::dictionary`, except for the document.
DocumentProvenance provenanceIn(const Dictionary& entries, DocumentRole role) {
  DocumentProvenance provenance;
  if (const auto version = entries.findString("version")) provenance.version = *version;
  provenance.sha256 = textIn(entries, "sha256");
  provenance.warning = textIn(entries, "warning");
  if (const Array* const keys = entries.findArray("keys")) {
    for (const Value& key : *keys) provenance.keys.emplace_back(key.ifString().value_or(""));
  }
  if (const Value* const revision = entries.find("revision")) {
    const Value* const expires = entries.find("expires");
    provenance.statement = Statement{role, textIn(entries, "product"), revision->ifInteger().value_or(1),
                                     expires == nullptr ? std::nullopt : expires->ifDate()};
  }
  return provenance;
}

Dictionary contentOf(const std::string& bytes) {
  return *tool::parseValue("rule document of the run", bytes).ifDictionary();
}

tool::RuleContents contentsOf(const DocumentSet& documents) {
  const Value parsed = tool::parseJson("documents of the run", documents.provenance);
  const Dictionary& entries = *parsed.ifDictionary();
  const auto provenance = std::make_shared<Provenance>();
  provenance->library = provenanceIn(*entries.findDictionary("library"), DocumentRole::kLibrary);
  provenance->rules = provenanceIn(*entries.findDictionary("rules"), DocumentRole::kLocalRules);
  return {contentOf(documents.library), contentOf(documents.rules), provenance->verified(), provenance};
}

/// A run with the notes of its report.
struct NotedRun {
  explicit NotedRun(const Run& run)
      : result(resultOf(run)), documents(contentsOf(*run.documents)), origins(documents.library, documents.rules) {
    if (result.outcome.reason) return;
    result.notes =
        std::make_shared<const tool::RuleNotes>(tool::notesAfterCheck(result.attributes, result.sources, origins));
  }

  tool::DeviceResult result;
  tool::RuleContents documents;
  RuleOrigins origins;  // which the notes refer to
};

Dictionary toDoAbout(const Dictionary& record, const tool::RuleNote* note) {
  Dictionary entry;
  for (const std::string_view key : {"rule", "expected", "actual"}) entry.setOrRemove(key, record.find(key));
  Array remarks;
  for (const std::string& remark : note == nullptr ? std::vector<std::string>() : note->remarks(false)) {
    remarks.append(remark);
  }
  entry.set("remarks", std::move(remarks));
  if (note != nullptr && !note->advice().empty()) entry.set("advice", note->advice());
  return entry;
}

/// What failed and what to do about it, in the terms of the report.
Array toDoOf(const tool::DeviceResult& result) {
  Array list;
  if (const std::optional<Reason>& reason = result.outcome.reason) {
    Dictionary entry{{"remarks", Array()}, {"advice", tool::adviceFor(result)}};
    if (reason->rule) entry.set("rule", *reason->rule);
    list.append(std::move(entry));
    return list;
  }
  for (const std::string& note : result.aboutDevice()) list.append(Dictionary{{"remarks", Array::of(note)}});
  const std::span<const Value> records = result.outcome.ruleRecords();
  for (std::size_t i = 0; i < records.size(); ++i) {
    if (!tool::passed(records[i])) list.append(toDoAbout(*records[i].ifDictionary(), result.noteOn(i)));
  }
  return list;
}

}  // namespace

void identify(DeviceLine& device, std::string_view body) {
  constexpr std::int64_t kDefault = 1;  // the number of the line
  if (device.id != Value(kDefault) || readJsonMember(body, "id")) return;
  const Value* const serialNumber = device.attributes.find("SerialNumber");
  device.id = serialNumber == nullptr ? Value("") : *serialNumber;
}

Run runOf(const LineResult& result, std::string body, const std::string& answer, const Product& product) {
  Run run;
  run.time = now();
  run.id = nameOf(&result.id);
  run.partNumber = nameOf(result.attributes.find("ModelNumber"));
  run.verdict = wordOf(result.outcome.verdict);
  run.rules = rulesOf(result.outcome);
  run.device = onOneLine(std::move(body));
  run.outcome = result.outcome.reason ? tool::toJson(Value(result.outcome.dictionary())) : answer;
  run.documents = product.documents;
  return run;
}

std::string answerText(const LineResult& result) {
  std::string text;
  if (!appendJsonLine(text, result)) throw tool::Unusable("the result is nested too deeply for JSON");
  text.pop_back();
  return text;
}

std::string detailsText(const Run& run) {
  const Value parsed = tool::parseJson("documents of the run", run.documents->provenance);
  const Dictionary& documents = *parsed.ifDictionary();
  const NotedRun noted(run);
  std::string text = answerText(noted.result);
  text.pop_back();
  const auto json = [&](std::string_view key) { return tool::toJson(*documents.find(key)); };
  return text +
         fmt::format(
             R"(, "run": {}, "time": "{}", "milliseconds": {}.{:03}, "device": {}, "to_do": {}, "signatures": {}, )"
             R"("documents": {{"library": {}, "rules": {}}}, "kernel": {}}})",
             run.number, isoText(run.time), run.microseconds / 1000, run.microseconds % 1000, run.device,
             tool::toJson(Value(toDoOf(noted.result))), json("signatures"), json("library"), json("rules"),
             json("kernel"));
}

std::string reportPage(const Run& run) {
  const NotedRun noted(run);
  return tool::htmlReport(noted.result, noted.documents);
}

}  // namespace tavik::station
