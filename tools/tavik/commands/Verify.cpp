// `tavik verify`: verifies a signed rule document and prints its content.

#include <tavik/ZRTTavikKernel.h>

#include <memory>

#include "commands/Command.h"
#include "commands/CommonOptions.h"
#include "io/ArgumentName.h"
#include "io/Bytes.h"
#include "io/Encoding.h"
#include "io/Inputs.h"
#include "io/Json.h"
#include "io/StandardOutput.h"
#include "rules/HostPlatform.h"

namespace tavik::tool {
namespace {

constexpr Help::Part kDescription[] = {
    paragraph("Prints the content of the signed document if a signature is valid: as an XML property list, or "
              "as JSON. With --raw, prints the signed bytes unchanged, including comments."),
};
constexpr std::string_view kExamples[] = {
    "tavik verify --public-key station-pub.pem rules.signed",
    "tavik verify --public-key station-pub.pem rules.signed --format json",
    "tavik verify --public-key station-pub.pem rules.signed --raw > rules.plist",
};
constexpr ExitMeaning kExitStatuses[] = {
    {ExitStatus::kPassed, "trusted"},
    {ExitStatus::kUnusable, "the command line, the file or the key is invalid"},
    {ExitStatus::kNoVerdict, "not trusted"},
};
constexpr Help kHelp = {"Verify a signed rule document and print its content", kDescription, kExamples, kExitStatuses};

struct VerifyOptions {
  PlatformOptions platform;
  std::string input;
  std::string format;
  bool raw = false;
};

std::string contentText(const VerifyOptions& options, const Value& content) {
  if (options.format == "json") return toJson(content) + "\n";
  return std::string(textOf(toPropertyList(nameOf("", options.input), content).bytes()));
}

ExitStatus runVerify(const VerifyOptions& options) {
  warnAboutTrust("verify", options.platform);
  const Dictionary document = Inputs().ruleDocument("", options.input);
  std::optional<std::string> refusal;
  const std::optional<Value> content =
      HostPlatform(options.platform)
          .validatedPropertyListFromSignedDictionary(document, ZRTTavikKernel::kPublicKeyPath, refusal);
  if (refusal) throw Failure(ExitStatus::kNoVerdict, nameOf("", options.input) + ": " + *refusal);
  writeStandardOutput(options.raw ? std::string(textOf(document.findData("payload")->bytes()))
                                  : contentText(options, *content));
  return ExitStatus::kPassed;
}

Run define(CLI::App& app) {
  const auto options = std::make_shared<VerifyOptions>();
  addText(app, "IN", options->input, "", "The signed document; \"-\" is standard input")->required();
  addPublicKey(app, options->platform);
  CLI::Option* const format = addFormat(app, options->format, {"table", "plist", "json"});
  app.add_flag("--raw", options->raw, "Print the signed bytes unchanged")
      ->multi_option_policy(CLI::MultiOptionPolicy::Throw);
  return [options, format] {
    if (options->raw && format->count() != 0) throw Unusable("--raw and --format exclude each other");
    return runVerify(*options);
  };
}

}  // namespace

const Command kVerify = {"verify", kHelp, define};

}  // namespace tavik::tool
