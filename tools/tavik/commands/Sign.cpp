// `tavik sign`: signs a rule document.

#include <tavik/Platform.h>
#include <tavik/StationPlatform.h>

#include <filesystem>
#include <memory>
#include <system_error>

#include "commands/Command.h"
#include "commands/CommonOptions.h"
#include "io/ArgumentName.h"
#include "io/Bytes.h"
#include "io/Encoding.h"
#include "io/Inputs.h"
#include "io/Output.h"
#include "io/StandardError.h"
#include "rules/HostPlatform.h"

namespace tavik::tool {
namespace {

constexpr Help::Part kDescription[] = {
    paragraph("A property list is signed byte for byte; JSON is converted to an XML property list first. OUT "
              "is written completely or not at all; it cannot be the input file."),
};
constexpr std::string_view kExamples[] = {
    "tavik sign --key station.pem rules.plist -o rules.signed",
};
constexpr ExitMeaning kExitStatuses[] = {
    {ExitStatus::kPassed, "signed"},
    {ExitStatus::kUnusable, "anything else"},
};
constexpr Help kHelp = {"Sign a rule document", kDescription, kExamples, kExitStatuses};

struct SignOptions {
  std::string key;
  std::string input;
  std::string output;
};

/// The document as the property list that is signed.
Data readPayload(const std::string& path) {
  const std::string name = nameOf("", path);
  const std::string bytes = Inputs().bytes("", path, kLargestRuleDocument);
  const Value document = parseValue(name, bytes);
  if (document.ifDictionary() == nullptr) throw Unusable(name + ": is not a dictionary");
  if (isSigned(*document.ifDictionary())) {
    throw Unusable(name + ": is already signed; sign the document that \"tavik verify --raw\" prints");
  }
  return isJson(bytes) ? toPropertyList(name, document) : Data(bytesOf(bytes));
}

/// Refuses to replace the input document: only its signed form would be left.
void requireOtherFile(const SignOptions& options) {
  std::error_code noFile;
  if (options.input != kStandardStream && std::filesystem::equivalent(options.input, options.output, noFile)) {
    throw Unusable(nameOf("-o", options.output) + ": is the document to sign; choose another file");
  }
}

ExitStatus runSign(const SignOptions& options) {
  requireOtherFile(options);
  const Data payload = readPayload(options.input);
  std::string error;
  const std::optional<Dictionary> envelope = signPropertyList(payload, options.key, error);
  if (!envelope) throw Unusable("--key: " + error);
  if (const auto warning = keyFileWarning(options.key, KeyFileUse::kSigning)) printToStandardError("sign", *warning);
  writeOutput("-o", options.output, toPropertyList("-o", Value(*envelope)).bytes());
  return ExitStatus::kPassed;
}

Run define(CLI::App& app) {
  const auto options = std::make_shared<SignOptions>();
  addText(app, "--key", options->key, "KEY.pem", "PEM file of the private key (PKCS #8, not encrypted)")->required();
  addText(app, "IN", options->input, "", "The rule document: a property list or JSON; \"-\" is standard input")
      ->required();
  addText(app, "-o,--output", options->output, "OUT", "The signed document; \"-\" is standard output")->required();
  return [options] { return runSign(*options); };
}

}  // namespace

const Command kSign = {"sign", kHelp, define};

}  // namespace tavik::tool
