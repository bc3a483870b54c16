// `tavik convert`: rewrites a value file in another encoding.

#include <unistd.h>

#include <memory>

#include "commands/Command.h"
#include "commands/CommonOptions.h"
#include "io/ArgumentName.h"
#include "io/Bytes.h"
#include "io/Encoding.h"
#include "io/Inputs.h"
#include "io/Json.h"
#include "io/Output.h"

namespace tavik::tool {
namespace {

constexpr Help::Part kDescription[] = {
    paragraph("The output reads back as an equal value of the same kinds. OUT is written completely or not at all."),
};
constexpr std::string_view kExamples[] = {
    "tavik convert --to json device.plist",
    "tavik convert --to binary device.json -o device.plist",
};
constexpr ExitMeaning kExitStatuses[] = {
    {ExitStatus::kPassed, "converted"},
    {ExitStatus::kUnusable, "anything else"},
};
constexpr Help kHelp = {"Rewrite a value file as XML or binary property list, or as JSON", kDescription, kExamples,
                        kExitStatuses};

struct ConvertOptions {
  std::string encoding;
  std::string input;
  std::string output = "-";
};

Data encoded(const ConvertOptions& options, const Value& value) {
  if (options.encoding == "json") return Data(bytesOf(toJson(value, JsonLayout::kIndented) + "\n"));
  const auto format = options.encoding == "xml" ? PropertyListFormat::kXml : PropertyListFormat::kBinary;
  return toPropertyList(nameOf("", options.input), value, format);
}

ExitStatus runConvert(const ConvertOptions& options) {
  if (options.encoding == "binary" && options.output == "-" && isatty(STDOUT_FILENO) != 0) {
    throw Unusable("standard output is a terminal, which cannot show a binary property list; use -o OUT");
  }
  const Value value = Inputs().value("", options.input);
  writeOutput("-o", options.output, encoded(options, value).bytes());
  return ExitStatus::kPassed;
}

Run define(CLI::App& app) {
  const auto options = std::make_shared<ConvertOptions>();
  addChoice(app, "--to", options->encoding, "ENCODING", "The encoding to write", {"xml", "binary", "json"})->required();
  addText(app, "IN", options->input, "", "A property list or JSON; \"-\" is standard input")->required();
  addText(app, "-o,--output", options->output, "OUT", "The output file, by default standard output");
  return [options] { return runConvert(*options); };
}

}  // namespace

const Command kConvert = {"convert", kHelp, define};

}  // namespace tavik::tool
