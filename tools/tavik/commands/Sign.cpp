// `tavik sign`: signs a rule document.

#include <tavik/Platform.h>
#include <tavik/StationPlatform.h>

#include <cstdint>
#include <filesystem>
#include <limits>
#include <memory>
#include <optional>
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
#include "text/IsoTime.h"

namespace tavik::tool {
namespace {

constexpr Help::Part kDescription[] = {
    paragraph("A property list is signed byte for byte; JSON is converted to an XML property list first. OUT "
              "is written completely or not at all; it cannot be the input file."),
    paragraph(
        "With --role, --product and --revision, the document is signed as a statement: stations accept it only in "
        "that role and before it expires, and a trust policy can require the product and reject older revisions. "
        "The document in a statement is an XML property list, without comments. DATE is 2027-01-31T00:00:00Z, or "
        "2027-01-31 for the beginning of that day in UTC."),
    paragraph("With --add, IN is a signed document, which gets one more signature."),
};
constexpr std::string_view kExamples[] = {
    "tavik sign --key station.pem rules.plist -o rules.signed",
    "tavik sign --key office.pem --role library --product \"Heron line\" --revision 12 rules.plist -o office.signed",
    "tavik sign --key lead.pem --add office.signed -o rules.signed",
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
  std::optional<std::string> role;
  std::optional<std::string> product;
  std::optional<std::int64_t> revision;
  std::optional<std::string> expires;
  bool add = false;

  [[nodiscard]] bool asStatement() const { return role || product || revision || expires; }
};

Date dateFrom(const std::string& text) {
  const std::optional<Date> date = dateFromText(text);
  if (!date) throw Unusable("--expires " + text + ": expected a date such as 2027-01-31 or 2027-01-31T00:00:00Z");
  return *date;
}

Statement statementOf(const SignOptions& options) {
  if (!options.role || !options.product || !options.revision) {
    throw Unusable("a statement needs --role, --product and --revision");
  }
  if (options.product->empty()) throw Unusable("--product: is empty");
  Statement statement{
      options.role == wordOf(DocumentRole::kLibrary) ? DocumentRole::kLibrary : DocumentRole::kLocalRules,
      *options.product, *options.revision, std::nullopt};
  if (options.expires) statement.expires = dateFrom(*options.expires);
  return statement;
}

/// The document as the property list that is signed.
Data readPayload(const std::string& path) {
  const std::string name = nameOf("", path);
  const std::string bytes = Inputs().bytes("", path, kLargestRuleDocument);
  const Value document = parseValue(name, bytes);
  if (document.ifDictionary() == nullptr) throw Unusable(name + ": is not a dictionary");
  if (isSigned(*document.ifDictionary())) {
    throw Unusable(name +
                   ": is already signed; use --add to add a signature, or sign the document that "
                   "\"tavik verify\" prints");
  }
  return isJson(bytes) ? toPropertyList(name, document) : Data(bytesOf(bytes));
}

/// The signed document, or absent with `error` set to what is wrong with the key or the document.
std::optional<Dictionary> signedDocument(const SignOptions& options, std::string& error) {
  if (options.add) {
    if (options.asStatement()) throw Unusable("--add cannot be used with options for a new statement");
    const Dictionary document = Inputs().ruleDocument("", options.input);
    if (!isSigned(document)) throw Unusable(nameOf("", options.input) + ": is not signed; sign it without --add");
    return addSignature(document, options.key, error);
  }
  if (!options.asStatement()) return signPropertyList(readPayload(options.input), options.key, error);
  const Statement statement = statementOf(options);
  return signStatement(readPayload(options.input), statement, options.key, error);
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
  std::string error;
  const std::optional<Dictionary> envelope = signedDocument(options, error);
  if (!envelope) {
    const bool isAboutKey = error.starts_with("private key file ");
    throw Unusable((isAboutKey ? "--key" : nameOf("", options.input)) + ": " + error);
  }
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
  addChoice(app, "--role", options->role, "ROLE", "Sign a statement that the document is for this use",
            {"library", "local-rules"});
  addText(app, "--product", options->product, "TEXT", "The product that the statement names");
  addNumber(app, "--revision", options->revision, "N", "The revision of the document for this role and product, from 1",
            std::int64_t{1}, std::numeric_limits<std::int64_t>::max());
  addText(app, "--expires", options->expires, "DATE", "Reject the document from this date on");
  app.add_flag("--add", options->add, "Add a signature to a signed document")
      ->multi_option_policy(CLI::MultiOptionPolicy::Throw);
  return [options] { return runSign(*options); };
}

}  // namespace

const Command kSign = {"sign", kHelp, define};

}  // namespace tavik::tool
