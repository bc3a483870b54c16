// `tavik describe`: the texts that a predicate compares, without a verdict.

#include <fmt/format.h>
#include <tavik/ZRTTavikKernel.h>

#include <algorithm>
#include <memory>

#include "check/Outcome.h"
#include "commands/Command.h"
#include "commands/CommonOptions.h"
#include "io/Inputs.h"
#include "io/Json.h"
#include "io/StandardError.h"
#include "io/StandardOutput.h"
#include "text/Terminal.h"

namespace tavik::tool {
namespace {

constexpr Help::Part kDescription[] = {
    item("value-in-list", "--attribute any value, --value the list"),
    item(
        "nand-size",
        R"(--attribute the device's attributes (only "SerialNumber" and "TotalDiskCapacity" are read), --value a dictionary
from CCC code to size)"),
    item("nvram-white-list", "--attribute the variables, a dictionary, --value the allowed keys"),
    paragraph(
        R"(A V is JSON text, or @FILE (a property list or JSON, "@-" for standard input). In JSON, data is {"$data":
"3q0="} and a date is {"$date": "2026-11-21T01:02:03Z"}.)"),
};
constexpr std::string_view kExamples[] = {
    R"(tavik describe value-in-list --attribute '"B"' --value '["A", "B"]')",
};
constexpr ExitMeaning kExitStatuses[] = {
    {ExitStatus::kPassed, "described"},
    {ExitStatus::kUnusable, "the command line or an input is invalid"},
    {ExitStatus::kFault, "a fault"},
};
constexpr Help kHelp = {"Show the texts that a predicate compares", kDescription, kExamples, kExitStatuses};

Dictionary describeNandSize(const Value* attribute, const Value* expected) {
  const Dictionary* const attributes = attribute->ifDictionary();
  if (attributes == nullptr) throw Unusable("--attribute: is not a dictionary");
  return ZRTTavikKernel::nandSizeCheckDescription(*attributes, expected);
}

struct Builder {
  std::string_view name;
  Dictionary (*describe)(const Value* attribute, const Value* expected);
};

constexpr Builder kBuilders[] = {
    {"value-in-list", ZRTTavikKernel::valueInListDescription},
    {"nand-size", describeNandSize},
    {"nvram-white-list", ZRTTavikKernel::nvramWhiteListDescription},
};

struct DescribeOptions {
  std::string builder;
  std::string attribute;
  std::string value;
  std::string format;
};

std::string descriptionText(const Dictionary& description, const std::string& format) {
  if (format == "json") return toJson(Value(description)) + "\n";
  std::string text;
  for (const auto [key, value] : description) text += fmt::format("{:<12}{}\n", key, lineOf(&value));
  return text;
}

ExitStatus refuse(const DescribeOptions& options, const Fault& fault) {
  printToStandardError("describe", options.builder + ": fault: " + fault.message);
  if (options.format == "json") writeStandardOutput(objectLine({{"fault", valueOf(fault)}}));
  return ExitStatus::kFault;
}

ExitStatus runDescribe(const DescribeOptions& options) {
  const auto* const builder = std::ranges::find(kBuilders, options.builder, &Builder::name);
  Inputs inputs;
  const Value attribute = inputs.inPlace("--attribute", options.attribute);
  const Value value = inputs.inPlace("--value", options.value);
  Dictionary description;
  const std::optional<Fault> fault = faultOf([&] { description = builder->describe(&attribute, &value); });
  if (fault) return refuse(options, *fault);
  writeStandardOutput(descriptionText(description, options.format));
  return ExitStatus::kPassed;
}

Run define(CLI::App& app) {
  const auto options = std::make_shared<DescribeOptions>();
  std::vector<std::string> names;
  for (const Builder& builder : kBuilders) names.emplace_back(builder.name);
  addChoice(app, "KIND", options->builder, "", "The description builder", names)->required();
  addText(app, "--attribute", options->attribute, "V", "The device's value")->required();
  addText(app, "--value", options->value, "V", "The expected value")->required();
  addFormat(app, options->format, {"table", "json"});
  return [options] { return runDescribe(*options); };
}

}  // namespace

const Command kDescribe = {"describe", kHelp, define};

}  // namespace tavik::tool
