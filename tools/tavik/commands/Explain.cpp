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
Device deviceInBatch(Inputs& inputs, const PreparedRules& rules, const std::string& path, const std::string& id) {
  const std::string name = nameOf("--batch", path);
  StopRequest stop;
  LineReader input(name, inputs.open("--batch", path), stop);
  const DeviceChecker checker(rules);
  for (std::vector<Line> lines = input.next(); !lines.empty(); lines = input.next()) {
    for (const Line& line : lines) {
      const DeviceResult result = checker.check(line);
      if (lineOf(&result.id) != id) continue;
      if (!result.inputError.empty()) throw Unusable(name + ": " + result.inputError);
      return {fmt::format("{}, id {}", name, id), result.attributes, result.sources};
    }
  }
  input.checkEnd();
  throw Unusable(fmt::format("{}: no device has the id \"{}\"", name, id));
}

Device readDevice(Inputs& inputs, const PreparedRules& rules, const ExplainOptions& options) {
  if (options.attributes.has_value() == options.batch.has_value()) {
    throw Unusable("give either --attributes or --batch; see tavik explain --help");
  }
  if (options.batch.has_value() != options.id.has_value()) throw Unusable("--batch and --id require each other");
  if (options.batch && !options.sources.empty())
    throw Unusable("--source: with --batch, the sources come from the batch line");
  if (options.batch) return deviceInBatch(inputs, rules, *options.batch, *options.id);
  return {nameOf("--attributes", *options.attributes), inputs.dictionary("--attributes", *options.attributes),
          readSources(inputs, options.sources)};
}

std::optional<Value> selector(const Dictionary& attributes, std::string_view name) {
  const Value* const value = attributes.find(name);
  return value == nullptr ? std::nullopt : std::optional(*value);
}

/// If a device has no rules: the part number or region that may have been meant.
std::string nearestSelector(const RuleOrigins& origins, const Explanation& device) {
  std::set<std::string_view> partNumbers;
  std::set<std::string_view> regions;
  for (const DeviceKind& kind : origins.deviceKinds()) {
    if (kind.partNumber != nullptr) partNumbers.insert(*kind.partNumber->ifString());
    const bool same = kind.partNumber != nullptr && device.partNumber && *kind.partNumber == *device.partNumber;
    if (same && kind.region != nullptr) regions.insert(*kind.region->ifString());
  }
  const auto wanted = device.partNumber ? device.partNumber->ifString() : std::nullopt;
  if (!wanted) return "";
  if (!partNumbers.contains(*wanted)) return didYouMean(*wanted, std::vector(partNumbers.begin(), partNumbers.end()));
  const auto region = device.region ? device.region->ifString() : std::nullopt;
  if (regions.empty() || (region && regions.contains(*region))) return "";
  return fmt::format("; the regions of {} are {}", *wanted, fmt::join(regions, ", "));
}

ExitStatus refuse(const ExplainOptions& options, const Explanation& device, const Device& given, const Error& error,
                  const std::string& hint) {
  printToStandardError("explain", blamed(error, given.attributes, given.name, nameOf("--rules", options.rules)) + hint);
  if (options.format == "json") {
    writeStandardOutput(objectLine({{"device", deviceValue(device.partNumber, device.region)},
                                    {"rules", std::nullopt},
                                    {"error", valueOf(error)}}));
  }
  return ExitStatus::kNoVerdict;
}

/// For a rule that the device does not get: which devices get it, and which rule may have been meant.
class Elsewhere {
 public:
  Elsewhere(const RuleOrigins& origins, const Dictionary& library, const RuleOrigins::Device& device)
      : library_(library) {
    for (const RuleOrigin& rule : device.rules) own_.push_back(rule.name);
    const std::vector<DeviceKind> kinds = origins.deviceKinds();
    for (std::size_t i = 0; i < kinds.size(); ++i) {
      std::optional<Error> ignored;
      const auto other = origins.of(kinds[i].partNumber, kinds[i].region, ignored);
      if (!other) continue;
      for (const RuleOrigin& rule : other->rules) devices_[rule.name].push_back(i);
    }
    for (const auto& [name, kindsThatGetIt] : devices_) others_.push_back(name);
  }

  [[nodiscard]] RuleNotThere find(const std::string& name) const {
    RuleNotThere rule{.name = name, .defined = library_.findDictionary(name) != nullptr, .devices = {}, .nearest = {}};
    const auto devices = devices_.find(name);
    if (devices != devices_.end()) rule.devices = devices->second;
    if (rule.defined || !rule.devices.empty()) return rule;
    const auto nearest = nearestName(name, own_);
    rule.nearest = nearest ? nearest : nearestName(name, others_);
    return rule;
  }

 private:
  const Dictionary& library_;
  std::vector<std::string_view> own_;
  std::map<std::string_view, std::vector<std::size_t>> devices_;
  std::vector<std::string_view> others_;
};

void addNotThere(Explanation& all, const std::vector<std::string>& names, const Elsewhere& elsewhere) {
  std::set<std::string_view> known;
  for (const RuleOrigin& rule : all.device.rules) known.insert(rule.name);
  for (const std::string& name : names) {
    if (known.insert(name).second) all.notThere.push_back(elsewhere.find(name));
  }
}

Explanation beginOf(const RuleOrigins& origins, const Dictionary& attributes) {
  return {.partNumber = selector(attributes, "ModelNumber"),
          .region = selector(attributes, "RegionInfo"),
          .kinds = DeviceKinds(origins),
          .device = {},
          .rules = {},
          .notThere = {}};
}

void addRules(Explanation& all, const std::vector<std::string>& names, const RuleEvaluator& evaluator) {
  const std::set<std::string_view> named(names.begin(), names.end());
  for (const RuleOrigin& rule : all.device.rules) {
    if (named.empty() || named.contains(rule.name)) all.rules.push_back({&rule, evaluator.evaluate(rule)});
  }
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
  const Device given = readDevice(inputs, *rules, options);
  const RuleEvaluator evaluator(*kernel, given.attributes, given.sources);

  Explanation all = beginOf(origins, evaluator.attributes());
  std::optional<Error> error;
  auto device = origins.of(all.partNumber ? &*all.partNumber : nullptr, all.region ? &*all.region : nullptr, error);
  if (!device) return refuse(options, all, given, *error, nearestSelector(origins, all));
  all.device = *std::move(device);
  addRules(all, options.names, evaluator);
  all.aboutDevice = RuleNotes(given.attributes, given.sources, origins).aboutDevice();
  if (all.rules.size() < options.names.size()) {
    addNotThere(all, options.names, Elsewhere(origins, kernel->library(), all.device));
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
