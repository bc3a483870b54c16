#include "test/GeneratedCaseFile.h"

#include <fmt/format.h>

#include "ExitStatus.h"
#include "check/Outcome.h"
#include "commands/CommonOptions.h"
#include "io/ArgumentName.h"
#include "io/Json.h"
#include "rules/HostPlatform.h"
#include "test/Generation.h"
#include "text/Terminal.h"
#include "text/Text.h"

namespace tavik::tool {
namespace {

/// The rules that fail, with what they found and expected.
std::string failuresOf(const CheckOutcome& outcome) {
  constexpr std::size_t kMost = 5;
  std::string text;
  std::size_t failed = 0;
  for (const Value& value : outcome.ruleRecords()) {
    if (passed(value) || ++failed > kMost) continue;
    const Dictionary& record = *value.ifDictionary();
    const auto entry = [&](std::string_view key) { return shortened(lineOf(record.find(key)), 60); };
    text += fmt::format("{}\"{}\" (actual {}, expected {})", failed == 1 ? "" : ", ", entry("rule"), entry("actual"),
                        entry("expected"));
  }
  return failed <= kMost ? text : fmt::format("{} and {} more", text, failed - kMost);
}

CheckOutcome checkGoodDevice(const ReadyRules& rules, const std::string& name, const Dictionary& attributes,
                             const Dictionary& sources) {
  CheckOutcome outcome = runCheck(rules.prepared(), attributes, sources);
  if (outcome.verdict == Verdict::kNone)
    throw Failure(statusOf(outcome), fmt::format("{}: the device cannot be checked: {}", name, outcome.reason->text()));
  if (outcome.verdict == Verdict::kFailed)
    throw Failure(statusOf(outcome),
                  fmt::format("{}: the device must pass, but these rules fail: {}", name, failuresOf(outcome)));
  return outcome;
}

}  // namespace

std::string generatedCaseFile(const TestOptions& options) {
  Inputs inputs;
  warnAboutTrust("test", options.platform);
  ReadyRules rules({*options.library, *options.rules, options.platform.unsignedDocuments, options.platform.publicKey,
                    options.platform.trust},
                   options.platform.log, inputs);
  const Dictionary attributes = inputs.dictionary("--generate", *options.generate);
  const Dictionary sources = readSources(inputs, options.sources);
  const CheckOutcome outcome = checkGoodDevice(rules, nameOf("--generate", *options.generate), attributes, sources);
  rules.checkLog();
  const Generation generation(rules.origins(), attributes, sources, outcome.station);
  Dictionary file{{"comment", generation.comments()}, {"library", *options.library}, {"rules", *options.rules}};
  if (options.platform.unsignedDocuments) file.set("unsigned", Value(true));
  if (options.platform.publicKey) file.set("publicKey", Value(*options.platform.publicKey));
  file.set("attributes", attributes);
  if (!sources.empty()) file.set("sources", sources);
  file.set("cases", generation.cases());
  return toJson(file, JsonLayout::kIndented) + "\n";
}

}  // namespace tavik::tool
