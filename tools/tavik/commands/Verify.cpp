// `tavik verify`: verifies a signed rule document and prints its content.

#include <tavik/ZRTTavikKernel.h>

#include <memory>

#include "check/Provenance.h"
#include "commands/Command.h"
#include "commands/CommonOptions.h"
#include "io/ArgumentName.h"
#include "io/Bytes.h"
#include "io/Encoding.h"
#include "io/Inputs.h"
#include "io/Json.h"
#include "io/StandardError.h"
#include "io/StandardOutput.h"
#include "rules/HostPlatform.h"

namespace tavik::tool {
namespace {

constexpr Help::Part kDescription[] = {
    paragraph(
        "Prints the content of the signed document if a signature is valid: as an XML property list, or "
        "as JSON. With --raw, prints the signed bytes unchanged, including comments. For a statement, the content is "
        "the document in it; --raw prints the whole statement."),
    paragraph("With a trust policy and for statements, a note on standard error gives the names of the keys with valid "
              "signatures and what the statement says. Verifying does not change the state file of a policy."),
};
constexpr std::string_view kExamples[] = {
    "tavik verify --public-key station-pub.pem rules.signed",
    "tavik verify --public-key station-pub.pem rules.signed --format json",
    "tavik verify --public-key station-pub.pem rules.signed --raw > rules.plist",
    "tavik verify --trust policy.json rules.signed > rules.plist",
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
  const ValidatedDocument validated =
      HostPlatform(options.platform).validate(document, ZRTTavikKernel::kPublicKeyPath, std::nullopt);
  if (validated.errorDescription) {
    throw Failure(ExitStatus::kNoVerdict, nameOf("", options.input) + ": " + *validated.errorDescription);
  }
  if (options.platform.trust || validated.provenance.statement) {
    printToStandardError("verify", nameOf("", options.input) + ": " + signersText(validated.provenance));
  }
  writeStandardOutput(options.raw ? std::string(textOf(document.findData("payload")->bytes()))
                                  : contentText(options, *validated.content));
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
