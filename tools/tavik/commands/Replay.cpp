// `tavik replay`: repeats a captured check run and compares the result.

#include <fmt/format.h>
#include <tavik/Capture.h>
#include <tavik/PropertyList.h>

#include <algorithm>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "check/Outcome.h"
#include "check/Provenance.h"
#include "commands/Command.h"
#include "commands/CommonOptions.h"
#include "io/ArgumentName.h"
#include "io/Inputs.h"
#include "io/Json.h"
#include "io/StandardError.h"
#include "io/StandardOutput.h"
#include "rules/HostPlatform.h"
#include "rules/RuleDocuments.h"
#include "text/Terminal.h"
#include "text/Text.h"

namespace tavik::tool {
namespace {

constexpr Help::Part kDescription[] = {
    paragraph(
        R"(CAPTURE is a file that "tavik check --capture" wrote. The run is repeated with the documents, attributes
and sources in it; the signatures are verified again with the keys or the trust policy given here. The recorded result
is only compared. Expiry is judged at the time at which the documents were accepted for the captured run, and the state
file of a trust policy is not used.)"),
    paragraph("With --library or --rules, the run uses that document instead: the output shows the same device under "
              "other rules. The digests of replaced documents are not compared."),
    heading("Formats"),
    item("table", R"("identical", or every difference: what was recorded and what the new run found)"),
    item("json",
         R"({"identical": boolean, "time": {...}, "differences": [{"what": "verdict", "reason", "error", "fault",
"station", "library", "rules" or "record", "rule": the rule of a record or null, "captured": value or null, "replayed":
value or null}, ...], "result": the object of "check --format json"})"),
};
constexpr std::string_view kExamples[] = {
    "tavik replay run.json --public-key station-pub.pem",
    "tavik replay run.json --trust policy.json --format json",
    "tavik replay run.json --trust policy.json --rules new-rules.signed",
};
constexpr ExitMeaning kExitStatuses[] = {
    {ExitStatus::kPassed, "identical"},
    {ExitStatus::kFailed, "a difference"},
    {ExitStatus::kUnusable, "the command line or an input is invalid, or the capture was changed"},
    {ExitStatus::kNoVerdict, "a document is not trusted, empty or malformed"},
};
constexpr Help kHelp = {"Repeat a captured check run and compare the result", kDescription, kExamples, kExitStatuses};

struct ReplayOptions {
  std::string capture;
  std::optional<std::string> library;
  std::optional<std::string> rules;
  PlatformOptions platform;
  std::string format;
};

struct Difference {
  std::string_view what;
  std::optional<std::string> rule;
  std::optional<Value> captured;
  std::optional<Value> replayed;
};
using Differences = std::vector<Difference>;

std::optional<Value> valueAt(const Dictionary& dictionary, std::string_view key) {
  const Value* const value = dictionary.find(key);
  return value == nullptr ? std::nullopt : std::optional(*value);
}

void compare(std::string_view what, std::optional<std::string> rule, std::optional<Value> captured,
             std::optional<Value> replayed, Differences& differences) {
  if (captured != replayed) {
    differences.push_back({what, std::move(rule), std::move(captured), std::move(replayed)});
  }
}

/// Records by rule, in order of appearance. A rule may have the name of one of the run's own records.
class RecordsByRule {
 public:
  void add(const Dictionary& result, bool isReplayed) {
    const Array* const records = result.findArray("records");
    if (records == nullptr) return;
    std::map<std::string, std::size_t> counts;
    for (const Value& record : *records) {
      const Dictionary* const entries = record.ifDictionary();
      const std::string rule(entries == nullptr ? "" : entries->findString("rule").value_or(""));
      Pair& pair = pairOf(rule, counts[rule]++);
      (isReplayed ? pair.replayed : pair.captured) = record;
    }
  }
  void compareAll(Differences& differences) const {
    for (const Pair& pair : pairs_) compare("record", pair.rule, pair.captured, pair.replayed, differences);
  }

 private:
  struct Pair {
    std::string rule;
    std::optional<Value> captured = {};
    std::optional<Value> replayed = {};
  };
  Pair& pairOf(const std::string& rule, std::size_t occurrence) {
    const auto [place, isNew] = places_.try_emplace({rule, occurrence}, pairs_.size());
    if (isNew) pairs_.push_back({rule});
    return pairs_[place->second];
  }

  std::map<std::pair<std::string, std::size_t>, std::size_t> places_;
  std::vector<Pair> pairs_;
};

/// Version and digest, which identify a document regardless of the keys that are trusted.
std::optional<Value> identityOf(const Dictionary& result, std::string_view document) {
  const Dictionary* const provenance = result.findDictionary("provenance");
  const Dictionary* const known = provenance == nullptr ? nullptr : provenance->findDictionary(document);
  if (known == nullptr) return std::nullopt;
  Dictionary identity;
  for (const std::string_view key : {"version", "sha256"}) identity.setOrRemove(key, known->find(key));
  return identity;
}

Differences differencesOf(const Dictionary& captured, const Dictionary& replayed, const ReplayOptions& options) {
  Differences differences;
  for (const std::string_view what : {"verdict", "reason", "error", "fault", "station"}) {
    compare(what, std::nullopt, valueAt(captured, what), valueAt(replayed, what), differences);
  }
  for (const auto& [what, replacement] : {std::pair("library", &options.library), std::pair("rules", &options.rules)}) {
    if (replacement->has_value()) continue;
    compare(what, std::nullopt, identityOf(captured, what), identityOf(replayed, what), differences);
  }
  RecordsByRule records;
  records.add(captured, false);
  records.add(replayed, true);
  records.compareAll(differences);
  return differences;
}

Capture readCapture(Inputs& inputs, const std::string& path) {
  std::string error;
  std::optional<Capture> capture = Capture::read(inputs.bytes("", path), error);
  if (!capture) throw Unusable(nameOf("", path) + ": " + error);
  return *std::move(capture);
}

/// The result of the captured run, or of one with other documents.
CheckOutcome repeat(const Capture& capture, const ReplayOptions& options, Inputs& inputs) {
  PlatformOptions platformOptions = options.platform;
  platformOptions.time = capture.validated;
  const auto platform = std::make_shared<const HostPlatform>(platformOptions);
  warnAboutTrust("replay", options.platform);
  const std::string name = nameOf("", options.capture);
  const std::unique_ptr<ZRTTavikKernel> kernel = options.library
                                                     ? readLibrary(inputs, "--library", *options.library, platform)
                                                     : openKernel(name + ": library", capture.library, platform);
  std::optional<Dictionary> rules = capture.rules;
  if (options.rules) rules = inputs.ruleDocument("--rules", *options.rules);
  const std::unique_ptr<const PreparedRules> prepared = kernel->prepare(rules ? &*rules : nullptr);
  CheckOutcome outcome =
      prepared->run(capture.attributes, capture.sources.empty() ? nullptr : &capture.sources, capture.station);
  platform->checkLog();
  const Dictionary* const recorded = capture.result.findDictionary("reason");
  const bool wasRejected = recorded != nullptr && recorded->findString("kind") == "not trusted";
  if (const Reason* const why = prepared->rejection();
      why != nullptr && why->category == Reason::Category::kNotTrusted && !wasRejected) {
    const std::string which = options.rules ? nameOf("--rules", *options.rules) : name + ": rules";
    throw Failure(ExitStatus::kNoVerdict,
                  which + ": " + why->description + std::string(hintForUntrusted(why->description)));
  }
  return outcome;
}

std::string textOf(const std::optional<Value>& value) { return value ? visible(toJson(*value)) : "nothing"; }

std::string table(const Capture& capture, const Differences& differences, const CheckOutcome& outcome,
                  const Screen& screen) {
  const std::string when =
      fmt::format("captured on {} with kernel {}", dateToIsoText(capture.time).value_or("?"), visible(capture.kernel));
  if (differences.empty()) {
    return fmt::format("identical: {}, {}\n", counted(outcome.records ? outcome.records->size() : 0, "record"), when);
  }
  std::string text = fmt::format("{}, {}\n", counted(differences.size(), "difference"), when);
  for (const Difference& difference : differences) {
    const std::string rule = difference.rule ? fmt::format(" of \"{}\"", visible(*difference.rule)) : "";
    text += styled(fmt::format("  {}{}", difference.what, rule), Style::kBad, screen) + "\n";
    text += fmt::format("      captured  {}\n      replayed  {}\n", textOf(difference.captured),
                        textOf(difference.replayed));
  }
  return text;
}

std::string json(const Capture& capture, const Differences& differences, const CheckOutcome& outcome) {
  std::string list;
  for (const Difference& each : differences) {
    list += list.empty() ? "{" : ", {";
    appendEntries(list, {{"what", Value(each.what)},
                         {"rule", each.rule ? std::optional<Value>(*each.rule) : std::nullopt},
                         {"captured", each.captured},
                         {"replayed", each.replayed}});
    list += '}';
  }
  std::vector<JsonEntry> result = entriesOf(outcome);
  result.push_back({"signatures", Value(outcome.provenance->verified() ? "verified" : "not verified")});
  for (JsonEntry& entry : entriesOf(*outcome.provenance)) result.push_back(std::move(entry));
  std::string text = "{";
  appendEntries(text, {{"identical", Value(differences.empty())}, {"time", Value(capture.time)}});
  text += ", \"differences\": [" + list + "], \"result\": {";
  appendEntries(text, result);
  return text + "}}\n";
}

ExitStatus runReplay(const ReplayOptions& options) {
  Inputs inputs;
  const Capture capture = readCapture(inputs, options.capture);
  const CheckOutcome outcome = repeat(capture, options, inputs);
  const Differences differences = differencesOf(capture.result, resultDictionary(outcome), options);
  writeStandardOutput(options.format == "json" ? json(capture, differences, outcome)
                                               : table(capture, differences, outcome, Screen::standardOutput()));
  return differences.empty() ? ExitStatus::kPassed : ExitStatus::kFailed;
}

Run define(CLI::App& app) {
  const auto options = std::make_shared<ReplayOptions>();
  addText(app, "CAPTURE", options->capture, "", "The captured run; \"-\" is standard input")->required();
  addText(app, "--library", options->library, "FILE", "A signed rule library to use instead of the captured one");
  addText(app, "--rules", options->rules, "FILE", "Signed local rules to use instead of the captured ones");
  addPlatform(app, options->platform);
  addFormat(app, options->format, {"table", "json"});
  return [options] { return runReplay(*options); };
}

}  // namespace

const Command kReplay = {"replay", kHelp, define};

}  // namespace tavik::tool
