// `tavik eval`: evaluates a predicate expression on given values.

#include <fmt/format.h>
#include <tavik/AbstractTree.h>
#include <tavik/PredicateFacts.h>

#include <memory>

#include "check/Outcome.h"
#include "commands/Command.h"
#include "commands/CommonOptions.h"
#include "explain/Explanation.h"
#include "io/Inputs.h"
#include "io/Json.h"
#include "io/StandardError.h"
#include "io/StandardOutput.h"
#include "rules/HostPlatform.h"
#include "rules/RuleNotes.h"
#include "text/Terminal.h"
#include "text/Text.h"

namespace tavik::tool {
namespace {

constexpr Help::Part kDescription[] = {
    paragraph(
        R"(A V is JSON text, or @FILE (a property list or JSON, "@-" for standard input). In JSON, data is {"$data":
"3q0="} and a date is {"$date": "2026-11-21T01:02:03Z"}. The predicate gets exactly the given values: with
--references it is called in its form with references, and no reference replaces a missing --value.)"),
};
constexpr std::string_view kExamples[] = {
    R"(tavik eval hasSuffix --attribute '"ABC123"' --value '"123"')",
    "tavik eval 'NOT equal' --attribute 5 --value 7 --format json",
};
constexpr ExitMeaning kExitStatuses[] = {
    {ExitStatus::kPassed, "the record passes"},
    {ExitStatus::kFailed, "it fails"},
    {ExitStatus::kUnusable, "the command line or an input is invalid"},
    {ExitStatus::kFault, "a fault"},
    {ExitStatus::kNoVerdict, "a malformed expression"},
};
constexpr Help kHelp = {"Evaluate a predicate expression on given values", kDescription, kExamples, kExitStatuses};

struct EvalOptions {
  std::string expression;
  std::string attribute;
  std::optional<std::string> value;
  std::optional<std::string> references;
  PlatformOptions platform;
  std::string format;
};

struct EvalInputs {
  Value attribute;
  std::optional<Value> value;
  std::optional<Value> references;
};

EvalInputs readInputs(const EvalOptions& options) {
  Inputs inputs;
  EvalInputs read{.attribute = inputs.inPlace("--attribute", options.attribute), .value = {}, .references = {}};
  if (options.value) read.value = inputs.inPlace("--value", *options.value);
  if (options.references) read.references = inputs.inPlace("--references", *options.references);
  if (read.references && read.references->ifDictionary() == nullptr)
    throw Unusable("--references: is not a dictionary");
  return read;
}

/// Writes one line to standard error and, as JSON, the object to standard output.
ExitStatus refuse(const EvalOptions& options, ExitStatus status, const std::string& message, const JsonEntry& entry) {
  printToStandardError("eval", message);
  if (options.format == "json") writeStandardOutput(objectLine({entry}));
  return status;
}

std::string recordTable(const Dictionary& record, bool pass, const Screen& screen) {
  std::string text;
  for (const auto [key, value] : record) {
    const bool isResult = key == "result";
    const std::string shown =
        isResult ? styled(pass ? "pass" : "FAIL", pass ? Style::kGood : Style::kBad, screen) : lineOf(&value);
    text += std::string(key) + std::string(key.size() < 12 ? 12 - key.size() : 1, ' ') + shown + "\n";
  }
  return text;
}

/// Remarks that the record itself does not contain.
std::string remarksText(const EvalOptions& options, const EvalInputs& inputs, const Dictionary& record) {
  RuleEvaluation evaluation;
  evaluation.attribute.value = inputs.attribute;
  evaluation.value = inputs.value;
  if (inputs.references) {
    for (const auto [name, value] : *inputs.references->ifDictionary()) {
      evaluation.references.push_back({std::string(name), std::nullopt, value});
    }
  }
  const bool pass = passed(Value(record));
  const auto expression = PredicateExpression::parse(options.expression);
  for (const std::string_view word : expression.predicates()) {
    const PredicateFacts* const facts = PredicateFacts::find(word);
    const bool withReferences = inputs.references.has_value();
    evaluation.calls.push_back({std::string(word), withReferences,
                                facts != nullptr && facts->takesReferences == withReferences, Value(record)});
  }
  std::string text;
  for (const RuleEvaluation::Call& call : evaluation.calls) {
    if (!call.isKnown) text += fmt::format("note        {}: {}\n", visible(call.word), visible(troubleOf(call)));
  }
  for (const std::string& remark : remarksOn(evaluation, pass)) text += "note        " + visible(remark) + "\n";
  return text;
}

ExitStatus runEval(const EvalOptions& options) {
  const EvalInputs inputs = readInputs(options);
  const auto platform = std::make_shared<const HostPlatform>(options.platform);
  const PredicateKernel kernel(platform);
  std::optional<Error> error;
  const auto tree = AbstractTreeNode::parsePredicateString(options.expression, kernel, error);
  if (!tree) {
    return refuse(options, ExitStatus::kNoVerdict, std::string(error->localizedDescription()),
                  {"error", valueOf(*error)});
  }

  std::optional<Dictionary> record;
  const std::optional<Fault> fault = faultOf([&] {
    record = tree->process(&inputs.attribute, inputs.value ? &*inputs.value : nullptr,
                           inputs.references ? inputs.references->ifDictionary() : nullptr);
  });
  platform->checkLog();
  if (fault) {
    return refuse(options, ExitStatus::kFault, options.expression + ": fault: " + fault->message,
                  {"fault", valueOf(*fault)});
  }
  const bool pass = passed(Value(*record));
  const bool asJson = options.format == "json";
  writeStandardOutput(asJson ? toJson(Value(*record)) + "\n"
                             : recordTable(*record, pass, Screen::standardOutput()) +
                                   remarksText(options, inputs, *record));
  return pass ? ExitStatus::kPassed : ExitStatus::kFailed;
}

Run define(CLI::App& app) {
  const auto options = std::make_shared<EvalOptions>();
  app.add_option("EXPRESSION", options->expression, "NAME, 'NOT NAME', 'NAME AND NAME' or 'NAME OR NAME'")->required();
  addText(app, "--attribute", options->attribute, "V", "The device's value")->required();
  addText(app, "--value", options->value, "V", "The expected value");
  addText(app, "--references", options->references, "V", "The reference values, a dictionary");
  addLog(app, options->platform);
  addFormat(app, options->format, {"table", "json"});
  return [options] { return runEval(*options); };
}

}  // namespace

const Command kEval = {"eval", kHelp, define};

}  // namespace tavik::tool
