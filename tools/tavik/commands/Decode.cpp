// `tavik decode`: the content of a blob of device data. BlobText and DerWalk format each kind of blob.

#include <fmt/format.h>
#include <tavik/DERDecoder.h>
#include <tavik/ManifestParser.h>
#include <tavik/SystemConfig.h>
#include <tavik/ZRTTavikKernel.h>

#include <algorithm>
#include <iterator>
#include <memory>

#include "commands/Command.h"
#include "commands/CommonOptions.h"
#include "decode/BlobText.h"
#include "decode/DerWalk.h"
#include "decode/PackedData.h"
#include "io/ArgumentName.h"
#include "io/Bytes.h"
#include "io/Inputs.h"
#include "io/Json.h"
#include "io/StandardError.h"
#include "io/StandardOutput.h"
#include "text/Terminal.h"
#include "text/Text.h"

namespace tavik::tool {
namespace {

constexpr Help::Part kDescription[] = {
    paragraph(R"(FILE contains the raw bytes as the device provides them; "-" is standard input.)"),
    item("syscfg", "the SysCfg blob: tags with their values"),
    item("control-bits", "the control-bit block: a grid of test states, and the failures"),
    item("root-manifest", "the root manifest of the baseband firmware"),
    item("provisioning-manifest", "its provisioning manifest"),
    item("der", "any DER: each element's offset, header length, content length, class, tag and content"),
    item("attributes", "a device instead of a blob: its attributes as a check sees them, with blobs unpacked"),
};
constexpr std::string_view kExamples[] = {
    "tavik decode syscfg syscfg.bin",
    "tavik decode der manifest.der --format json",
    "tavik decode attributes device.plist",
};
constexpr ExitMeaning kExitStatuses[] = {
    {ExitStatus::kPassed, "decoded"},
    {ExitStatus::kFailed,
     "decoded only in part, or not a manifest (a note on standard error says where and why decoding stopped)"},
    {ExitStatus::kUnusable, "the command line or the file is invalid"},
};
constexpr Help kHelp = {"Decode a blob of device data", kDescription, kExamples, kExitStatuses};

struct DecodeOptions {
  std::string kind;
  std::string input;
  std::string format;

  [[nodiscard]] bool json() const { return format == "json"; }
};

/// Reports where and why decoding stopped, if it did.
ExitStatus statusAfter(const DecodeOptions& options, const std::string& whyStops) {
  if (whyStops.empty()) return ExitStatus::kPassed;
  printToStandardError("decode", nameOf("", options.input) + ": " + whyStops);
  return ExitStatus::kFailed;
}

void printEntries(const DecodeOptions& options, const Dictionary& entries) {
  writeStandardOutput(options.json() ? toJson(Value(entries)) + "\n" : entriesText(entries, Screen::standardOutput()));
}

ExitStatus decodeSysCfg(const DecodeOptions& options, const Data& bytes) {
  std::optional<SystemConfig::Stop> stop;
  printEntries(options, SystemConfig::sysCfgFromData(&bytes, stop));
  return statusAfter(options, textOf(stop));
}

ExitStatus decodeControlBits(const DecodeOptions& options, const Data& bytes) {
  const Array records = SystemConfig::controlBitsFromData(&bytes);
  writeStandardOutput(options.json() ? toJson(Value(records)) + "\n"
                                     : controlBitsText(records, Screen::standardOutput()));
  return statusAfter(options, whyControlBitsStop(bytes));
}

ExitStatus printManifest(const DecodeOptions& options, const std::optional<Dictionary>& manifest,
                         const std::string& whyStops) {
  if (manifest) {
    printEntries(options, *manifest);
    return statusAfter(options, whyStops);
  }
  if (options.json()) writeStandardOutput("null\n");
  return statusAfter(options, "is not a " + options.kind + ": " + whyStops);
}

ExitStatus decodeRootManifestFile(const DecodeOptions& options, const Data& bytes) {
  return printManifest(options, ManifestParser::rootDictFromData({{"RootManifestData", bytes}}),
                       whyManifestStops(bytes, decodeRootManifest));
}

ExitStatus decodeProvisioningManifestFile(const DecodeOptions& options, const Data& bytes) {
  return printManifest(options, ManifestParser::provisioningDictFromData({{"ProvisioningManifestData", bytes}}),
                       whyManifestStops(bytes, decodeProvisioningManifest));
}

/// The attributes of a device, read from a value file, as a check sees them.
ExitStatus decodeAttributes(const DecodeOptions& options) {
  Dictionary attributes = Inputs().dictionary("", options.input);
  std::string troubles;
  for (const PackedTrouble& trouble : packedTroubles(attributes)) {
    troubles += (troubles.empty() ? "" : "; ") + trouble.why;
  }
  ZRTTavikKernel::expandSysConfigData(attributes);
  ZRTTavikKernel::expandBasebandManifestData(attributes);
  printEntries(options, attributes);
  return statusAfter(options, troubles);
}

class DerJson : public DerVisitor {
 public:
  explicit DerJson(BufferedOutput& out) : out_(out) {}

  void enter(const DerElement& element, std::size_t) override {
    std::string text = first_ ? "" : ", ";
    fmt::format_to(std::back_inserter(text),
                   R"({{"offset": {}, "headerLength": {}, "length": {}, "class": {}, "tag": {}, "constructed": {}, )",
                   element.offset, element.headerLength, element.content.size(), element.tagClass, element.tag,
                   element.constructed);
    if (element.constructed) {
      text += "\"items\": [";
    } else {
      text += "\"data\": ";
      appendJson(text, Data(element.content));
      text += '}';
    }
    first_ = element.constructed;
    out_.append(text);
  }

  void leave() override {
    out_.append("]}");
    first_ = false;
  }

 private:
  BufferedOutput& out_;
  bool first_ = true;  // the next element is the first of its list
};

class DerOutline : public DerVisitor {
 public:
  DerOutline(BufferedOutput& out, const Screen& screen) : out_(out), screen_(screen) {
    out_.append(styled("  offset  header    length  element", Style::kHeading, screen_) + "\n");
  }

  void enter(const DerElement& element, std::size_t depth) override {
    // Indentation that grew with every level would make the output quadratic in the file size.
    constexpr std::size_t kDeepestIndentation = 24;
    std::string line = fmt::format("{:>8}  {:>6}  {:>8}  {:{}}", element.offset, element.headerLength,
                                   element.content.size(), "", 2 * std::min(depth, kDeepestIndentation));
    if (depth > kDeepestIndentation) line += fmt::format("(level {}) ", depth);
    line += derTagText(element);
    if (!element.constructed && !element.content.empty()) line += "  " + derContentText(element);
    out_.append((screen_.width ? shortened(line, *screen_.width) : line) + "\n");
  }

  void leave() override {}

 private:
  BufferedOutput& out_;
  Screen screen_;
};

DerEnd printDer(const DecodeOptions& options, std::span<const std::uint8_t> bytes) {
  BufferedOutput out;
  DerEnd end{};
  if (options.json()) {
    DerJson json(out);
    out.append("{\"items\": [");
    end = walkDer(bytes, json);
    out.append(fmt::format("], \"status\": {}}}\n", end.status));
  } else {
    DerOutline outline(out, Screen::standardOutput());
    end = walkDer(bytes, outline);
  }
  out.flush();
  return end;
}

ExitStatus decodeDer(const DecodeOptions& options, const Data& bytes) {
  if (textOf(bytes.bytes()).starts_with("-----BEGIN ")) {
    throw Unusable(nameOf("", options.input) + ": is PEM text, not DER; decode the Base64 between its lines first");
  }
  const DerEnd end = printDer(options, bytes.bytes());
  if (end.status == kDERDecoderErrorNone) return ExitStatus::kPassed;
  printToStandardError("decode",
                       fmt::format("{}: byte {}: the element cannot be read: {} (status {})", nameOf("", options.input),
                                   end.offset, derTrouble(end.status), end.status));
  return ExitStatus::kFailed;
}

struct BlobKind {
  std::string_view name;
  ExitStatus (*decode)(const DecodeOptions& options, const Data& bytes);
};

/// A device with blobs instead of a single blob.
constexpr std::string_view kAttributes = "attributes";

constexpr BlobKind kKinds[] = {
    {"syscfg", decodeSysCfg},
    {"control-bits", decodeControlBits},
    {"root-manifest", decodeRootManifestFile},
    {"provisioning-manifest", decodeProvisioningManifestFile},
    {"der", decodeDer},
};

ExitStatus runDecode(const DecodeOptions& options) {
  if (options.kind == kAttributes) return decodeAttributes(options);
  const auto* const kind = std::ranges::find(kKinds, options.kind, &BlobKind::name);
  return kind->decode(options, Data(bytesOf(Inputs().bytes("", options.input))));
}

Run define(CLI::App& app) {
  const auto options = std::make_shared<DecodeOptions>();
  std::vector<std::string> names;
  for (const BlobKind& kind : kKinds) names.emplace_back(kind.name);
  names.emplace_back(kAttributes);
  addChoice(app, "KIND", options->kind, "", "The kind of data", names)->required();
  addText(app, "FILE", options->input, "", "The raw bytes")->required();
  addFormat(app, options->format, {"table", "json"});
  return [options] { return runDecode(*options); };
}

}  // namespace

const Command kDecode = {"decode", kHelp, define};

}  // namespace tavik::tool
