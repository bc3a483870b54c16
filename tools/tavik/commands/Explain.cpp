// `tavik explain`: where a device's rules come from, and how they are evaluated.

#include <fmt/format.h>

#include <map>
#include <memory>
#include <set>
#include <utility>

#include "check/DeviceChecker.h"
#include "check/Outcome.h"
#include "commands/Command.h"
#include "commands/CommonOptions.h"
#include "explain/Explanation.h"
#include "io/ArgumentName.h"
#include "io/Inputs.h"
#include "io/LineReader.h"
#include "io/StandardError.h"
#include "io/StandardOutput.h"
#include "io/StopRequest.h"
#include "rules/HostPlatform.h"
#include "rules/KindRules.h"
#include "rules/RuleDocuments.h"
#include "rules/RuleNotes.h"
#include "text/NearestName.h"

namespace tavik::tool {
namespace {

constexpr Help::Part kDescription[] = {
    paragraph("Without RULE: every rule that the device gets, the part of the local rules it comes from, the "
              "expected value and where it is defined, and the predicate as it will be called. Below are "
              "entries that others replaced, references, rule sets, and likely mistakes. With RULE: each named "
              "rule step by step, as a check of this device evaluates it."),
    heading("Formats"),
    item("table", "for the terminal"),
    item("json",
         R"({"device": {"part_number", "region"}, "rules": [{"rule", "entries", "definition", "value", "value_from",
"attribute", "references", "combination", "calls", "record"}, ...], "sets": [...], "not_there": [...], "error":
null}; see docs/reviewing-rules.md)"),
};
constexpr std::string_view kExamples[] = {
    "tavik explain --library rules.signed --rules product.signed --attributes device.plist",
    "tavik explain --library rules.signed --rules product.signed --attributes device.plist --source "
    "sfc=sfc.json Build",
    "tavik explain --library rules.signed --rules product.signed --batch devices.jsonl --id unit-523 Build",
};
constexpr ExitMeaning kExitStatuses[] = {
    {ExitStatus::kPassed, "explained, regardless of the results"},
    {ExitStatus::kFailed, "the device does not get a RULE that was named"},
    {ExitStatus::kUnusable, "the command line or an input is invalid"},
    {ExitStatus::kNoVerdict,
     "a document is not trusted, empty or malformed, or the device's rules could not be assembled"},
};
constexpr Help kHelp = {"Show where a device's rules come from and how they are evaluated", kDescription, kExamples,
                        kExitStatuses};

struct ExplainOptions : RuleOptions {
  std::optional<std::string> attributes;
  std::optional<std::string> batch;
  std::optional<std::string> id;
  std::vector<std::string> sources;
  std::vector<std::string> names;
  std::string format;
};

/// The device to explain.
struct Device {
  std::string name;  ///< for messages
  Dictionary attributes;
  Dictionary sources;
};

/// The device with an "id" in a batch file; the text of the option also matches a number.
Device deviceInBatch(Inputs& inputs, const std::string& path, const std::string& id) {
  const std::string name = nameOf("--batch", path);
  StopRequest stop;
  LineReader input(name, inputs.open("--batch", path), stop);
  for (std::vector<Line> lines = input.next(); !lines.empty(); lines = input.next()) {
    for (const Line& line : lines) {
      const DeviceLine result = readDevice(line);
      if (lineOf(&result.id) != id) continue;
      if (!result.inputError.empty()) throw Unusable(name + ": " + result.inputError);
      return {fmt::format("{}, id {}", name, id), result.attributes, result.sources};
    }
  }
  input.checkEnd();
  throw Unusable(fmt::format("{}: no device has the id \"{}\"", name, id));
}

Device givenDevice(Inputs& inputs, const ExplainOptions& options) {
  if (options.attributes.has_value() == options.batch.has_value()) {
    throw Unusable("give either --attributes or --batch; see tavik explain --help");
  }
  if (options.batch.has_value() != options.id.has_value()) throw Unusable("--batch and --id require each other");
  if (options.batch && !options.sources.empty())
    throw Unusable("--source: with --batch, the sources come from the batch line");
  if (options.batch) return deviceInBatch(inputs, *options.batch, *options.id);
  return {nameOf("--attributes", *options.attributes), inputs.dictionary("--attributes", *options.attributes),
          readSources(inputs, options.sources)};
}

/// If a device has no rules: the part number or region that may have been meant.
std::string nearestSelector(const RuleOrigins& origins, const Value* partNumber, const Value* region) {
  std::set<std::string_view> partNumbers;
  std::set<std::string_view> regions;
  for (const DeviceKind& kind : origins.deviceKinds()) {
    if (kind.partNumber != nullptr) partNumbers.insert(*kind.partNumber->ifString());
    const bool same = kind.partNumber != nullptr && partNumber != nullptr && *kind.partNumber == *partNumber;
    if (same && kind.region != nullptr) regions.insert(*kind.region->ifString());
  }
  const auto wanted = partNumber != nullptr ? partNumber->ifString() : std::nullopt;
  if (!wanted) return "";
  if (!partNumbers.contains(*wanted)) return didYouMean(*wanted, std::vector(partNumbers.begin(), partNumbers.end()));
  const auto given = region != nullptr ? region->ifString() : std::nullopt;
  if (regions.empty() || (given && regions.contains(*given))) return "";
  return fmt::format("; the regions of {} are {}", *wanted, fmt::join(regions, ", "));
}

ExitStatus refuse(const ExplainOptions& options, const Device& given, const Value& device, const Error& error,
                  const std::string& hint) {
  printToStandardError("explain", blamed(error, given.attributes, given.name, nameOf("--rules", options.rules)) + hint);
  if (options.format == "json") {
    writeStandardOutput(objectLine({{"device", device}, {"rules", std::nullopt}, {"error", valueOf(error)}}));
  }
  return ExitStatus::kNoVerdict;
}

/// For a rule that the device does not get: which devices get it, and which rule may have been meant.
RuleNotThere elsewhere(const std::string& name, const KindRules& all, const RuleNotes& notes) {
  RuleNotThere rule{.name = name,
                    .defined = all.library().findDictionary(name) != nullptr,
                    .devices = all.kindsWith(name),
                    .nearest = {}};
  if (rule.defined || !rule.devices.empty()) return rule;
  std::vector<std::string_view> own;
  for (const RuleNote& note : notes.all()) own.push_back(note.rule->name);
  std::set<std::string_view> others;
  for (const RulePart& part : all.parts()) {
    if (part.kinds().empty()) continue;
    for (const KindRule& other : part.rules()) others.insert(other.name);
  }
  const auto nearest = nearestName(name, own);
  rule.nearest = nearest ? nearest : nearestName(name, std::vector(others.begin(), others.end()));
  return rule;
}

std::vector<RuleNotThere> rulesNotThere(const std::vector<std::string>& names, const KindRules& all,
                                        const RuleNotes& notes) {
  std::set<std::string_view> known;
  for (const RuleNote& note : notes.all()) known.insert(note.rule->name);
  std::vector<RuleNotThere> rules;
  for (const std::string& name : names) {
    if (known.insert(name).second) rules.push_back(elsewhere(name, all, notes));
  }
  return rules;
}

/// The rules with these names, or all of them if there are no names.
std::vector<const RuleNote*> selected(const std::vector<std::string>& names, const RuleNotes& notes) {
  const std::set<std::string_view> named(names.begin(), names.end());
  std::vector<const RuleNote*> rules;
  for (const RuleNote& note : notes.all()) {
    if (named.empty() || named.contains(note.rule->name)) rules.push_back(&note);
  }
  return rules;
}

std::string textOf(const Explanation& all, const ExplainOptions& options) {
  if (options.format == "json") return explanationJson(all);
  const Screen screen = Screen::standardOutput();
  return options.names.empty() ? overviewText(all, screen) : stepsText(all, screen);
}

ExitStatus runExplain(const ExplainOptions& options) {
  const auto platform = std::make_shared<const HostPlatform>(options.platform);
  warnAboutTrust("explain", options.platform);
  Inputs inputs;
  const auto kernel = readLibrary(inputs, "--library", options.library, platform);
  const auto rules = readLocalRules(inputs, "--rules", options.rules, *kernel);
  const RuleOrigins origins(kernel->library(), rules->localRules());
  const Device given = givenDevice(inputs, options);
  const RuleEvaluator evaluator(*kernel, given.attributes, given.sources);

  const Value* const partNumber = evaluator.attributes().find("ModelNumber");
  const Value* const region = evaluator.attributes().find("RegionInfo");
  std::optional<Error> error;
  auto device = origins.of(partNumber, region, error);
  if (!device) {
    return refuse(options, given, deviceValue(partNumber, region), *error,
                  nearestSelector(origins, partNumber, region));
  }
  const RuleNotes notes(evaluator, given.attributes, given.sources, *std::move(device));
  Explanation all{.partNumber = partNumber,
                  .region = region,
                  .kinds = DeviceKinds(origins),
                  .notes = notes,
                  .rules = selected(options.names, notes)};
  if (all.rules.size() < options.names.size()) {
    all.notThere = rulesNotThere(options.names, KindRules(kernel->library(), rules->localRules()), notes);
  }
  platform->checkLog();
  writeStandardOutput(textOf(all, options));
  return all.notThere.empty() ? ExitStatus::kPassed : ExitStatus::kFailed;
}

Run define(CLI::App& app) {
  const auto options = std::make_shared<ExplainOptions>();
  addRules(app, *options);
  addText(app, "--attributes", options->attributes, "FILE", "The device's attributes, a dictionary");
  addText(app, "--batch", options->batch, "FILE",
          "Take the device from this file, in the input format of \"tavik batch\"");
  addText(app, "--id", options->id, "TEXT", "The \"id\" of the device in --batch, or its line number");
  app.add_option("RULE", options->names, "The rules to explain step by step; by default, an overview of all rules")
      ->type_name("");
  addSources(app, options->sources);
  addPlatform(app, options->platform);
  addFormat(app, options->format, {"table", "json"});
  return [options] { return runExplain(*options); };
}

}  // namespace

const Command kExplain = {"explain", kHelp, define};

}  // namespace tavik::tool
