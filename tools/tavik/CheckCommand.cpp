// `tavik check`: one check run.

#include <fmt/format.h>
#include <tavik/PropertyList.h>

#include <memory>

#include "CheckRun.h"
#include "CheckTable.h"
#include "Command.h"
#include "Terminal.h"

namespace tavik::tool {
namespace {

constexpr const char* kFooter =
    R"(Every FILE is a property list (XML, binary or old-style text) or JSON, told by its content; "-" is standard input.
A passing rule that hides its result is counted but not listed; JSON lists it.

Examples:
  tavik check --library rules.signed --rules product.signed --attributes device.plist
  tavik check --library rules.signed --rules product.signed --attributes - --source sfc=sfc.json --format json

Exit status: 0 every rule passed, 1 a rule failed, 2 the command or an input is at fault, 3 a fault ended the run,
4 no verdict: a document is not trusted, empty or malformed, or the device's rules could not be assembled.)";

struct CheckOptions {
  std::string library;
  std::string rules;
  std::string attributes;
  std::vector<std::string> sources;
  std::optional<std::string> station;
  PlatformOptions platform;
  std::string format;
};

/// The sources of "NAME=FILE" arguments.
Dictionary readSources(Inputs& inputs, const std::vector<std::string>& arguments) {
  Dictionary sources;
  for (const std::string& argument : arguments) {
    const std::size_t equals = argument.find('=');
    if (equals == std::string::npos) throw Unusable("--source " + argument + ": is not of the form NAME=FILE");
    const std::string name = argument.substr(0, equals);
    if (sources.contains(name))
      throw Unusable(fmt::format("--source {}: the source \"{}\" is given twice", argument, name));
    sources.set(name, inputs.dictionary(fmt::format("--source {}=", name), argument.substr(equals + 1)));
  }
  return sources;
}

void writeStation(const std::string& path, const Dictionary& station) {
  std::string error;
  const std::optional<Data> bytes = writePropertyList(Value(station), PropertyListFormat::kXml, error);
  if (!bytes) throw Unusable(nameOf("--station", path) + ": " + error);
  writeOutput("--station", path, bytes->bytes());
}

std::string outcomeText(const CheckOutcome& outcome, const std::string& format) {
  if (format != "json") return checkTable(outcome, Screen::standardOutput());
  std::string text = "{";
  appendOutcome(text, outcome);
  return text + "}\n";
}

void explain(const CheckOutcome& outcome, const CheckOptions& options, ExitStatus status) {
  if (status != ExitStatus::kFault && status != ExitStatus::kNoVerdict) return;
  // A record that stands for a whole run is about the local rules; what ended at a rule names it.
  const std::string about = outcome.records ? nameOf("--rules", options.rules) + ": " : "";
  printToStandardError("check", about + (outcome.fault ? "fault: " : "") + whyNoVerdict(outcome));
}

ExitStatus runCheckCommand(const CheckOptions& options) {
  if (options.station == "-") throw Unusable("--station: standard output is for the records");
  const auto platform = std::make_shared<const HostPlatform>(options.platform);
  warnWhenUnsigned("check", options.platform);
  Inputs inputs;
  const Dictionary library = inputs.dictionary("--library", options.library);
  const Dictionary rules = inputs.dictionary("--rules", options.rules);
  const Dictionary attributes = inputs.dictionary("--attributes", options.attributes);
  const Dictionary sources = readSources(inputs, options.sources);
  const std::unique_ptr<ZRTTavikKernel> kernel = openKernel(nameOf("--library", options.library), library, platform);

  const CheckOutcome outcome = runCheck(*kernel, attributes, rules, sources);
  platform->checkLog();
  if (options.station) writeStation(*options.station, outcome.station);
  const ExitStatus status = statusOf(outcome);
  explain(outcome, options, status);
  writeStandardOutput(outcomeText(outcome, options.format));
  return status;
}

}  // namespace

Run defineCheck(CLI::App& app) {
  const auto options = std::make_shared<CheckOptions>();
  addText(app, "--library", options->library, "FILE", "The signed rule library")->required();
  addText(app, "--rules", options->rules, "FILE", "The signed local rules of the product")->required();
  addText(app, "--attributes", options->attributes, "FILE", "The device's attributes, a dictionary")->required();
  app.add_option("--source", options->sources, "What the source NAME holds for the device, a dictionary; repeatable")
      ->type_name("NAME=FILE")
      ->allow_extra_args(false);
  addText(app, "--station", options->station, "FILE",
          "Write the station dictionary, as the run leaves it, to FILE (an XML property list)");
  addPlatform(app, options->platform);
  addFormat(app, options->format, {"table", "json"});
  app.footer(kFooter);
  return [options] { return runCheckCommand(*options); };
}

}  // namespace tavik::tool
