// `tavik diff`: what a change to rule documents changes, and for which devices.

#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "check/DeviceChecker.h"
#include "commands/Command.h"
#include "commands/CommonOptions.h"
#include "diff/DiffReport.h"
#include "io/ArgumentName.h"
#include "io/Inputs.h"
#include "io/Json.h"
#include "io/LineReader.h"
#include "io/Progress.h"
#include "io/StandardError.h"
#include "io/StandardOutput.h"
#include "io/StopRequest.h"
#include "rules/HostPlatform.h"
#include "rules/RuleDocuments.h"
#include "text/Text.h"

namespace tavik::tool {
namespace {

constexpr std::size_t kUsualLimit = 20;
constexpr std::size_t kHighestLimit = 1000000000;
constexpr std::size_t kWidestVersion = 60;

constexpr Help::Part kDescription[] = {
    paragraph(
        R"(OLD and NEW are local rules. The command compares what devices get: for each part number and region, rules that
are gained, lost, or have another expected value or definition. Equal changes are printed once, with all
affected devices. A different order or notation, a comment, or a new "version" does not count as a change.)"),
    paragraph(
        R"(Without a library, only the values in the local rules are compared. With a library, its values count where the
local rules define none: give --library once for both, or twice to compare OLD with the first and NEW with the
second. To see a change to the library alone, give the local rules twice. OLD and NEW are both signed or both
unsigned; "tavik verify --raw" prints the signed content.)"),
    paragraph("With --attributes or --batch, devices are checked with both, and those with a different result "
              "are printed, those that no longer pass first: rules that pass or fail, their texts, and what is "
              "sent to the station. Devices with the same changes are listed together. The three version "
              "records do not count."),
    paragraph("A warning says if a document has another content but the same \"version\"."),
    heading("Formats"),
    item("table", "for the terminal"),
    item("html",
         "a page to keep with the release: what changes, the versions and SHA-256 of the documents, and the date; "
         "SOURCE_DATE_EPOCH overrides the date"),
    item(
        "json",
        R"({"versions": {...}, "changes": [{"devices": [{"part_number", "region"}, ...], "changes": [...]}, ...]}, and with
devices "checked": 300, "devices": [{"id", "old", "new", "rules"}, ...]; see docs/reviewing-rules.md)"),
};
constexpr std::string_view kExamples[] = {
    "tavik diff production.signed candidate.signed --library rules.signed",
    "tavik diff --unsigned product.plist new-product.plist --library rules.plist --batch devices.jsonl",
    "tavik diff production.signed candidate.signed --library rules.signed --batch devices.jsonl --format html > "
    "release-13.html",
    "tavik diff --unsigned product.plist product.plist --library rules.plist --library new-rules.plist",
};
constexpr ExitMeaning kExitStatuses[] = {
    {ExitStatus::kPassed, "nothing changes, or with --fail-on verdict, no device's verdict changes"},
    {ExitStatus::kFailed, "something changes"},
    {ExitStatus::kUnusable, "the command line or an input is invalid"},
    {ExitStatus::kNoVerdict, "a document is not trusted, empty or malformed"},
};
constexpr Help kHelp = {"Show what a change to rule documents changes, and for which devices", kDescription, kExamples,
                        kExitStatuses};

struct DiffOptions {
  std::string before;
  std::string after;
  std::vector<std::string> libraries;
  std::vector<std::string> attributes;
  std::vector<std::string> sources;
  std::optional<std::string> batch;
  std::optional<std::size_t> limit;
  std::string failOn = "any";
  PlatformOptions platform;
  std::string format;
};

/// A rule library contains definitions where local rules contain layers.
void refuseLibrary(const std::string& name, const Dictionary& rules) {
  if (hasLayers(rules)) return;
  const bool defines = std::ranges::any_of(rules, [](const Dictionary::Item& item) {
    return item.value.ifDictionary() != nullptr && item.value.ifDictionary()->contains("attribute");
  });
  if (defines) {
    throw Unusable(name +
                   ": is a rule library; to compare two libraries, give the local rules twice and --library twice");
  }
}

/// The local rules and the library, old or new.
struct Side {
  std::shared_ptr<const ZRTTavikKernel> kernel = nullptr;   ///< null without a library
  std::shared_ptr<const PreparedRules> prepared = nullptr;  ///< likewise
  Dictionary rules = {};
  DocumentProvenance provenance = {};  ///< of the local rules

  [[nodiscard]] Dictionary library() const { return kernel ? kernel->library() : Dictionary(); }
};

/// The documents of both versions, and warnings about them.
class Documents {
 public:
  Documents(const DiffOptions& options, const Side& before, const Side& after) {
    add("old", before.rules, before.provenance);
    add("new", after.rules, after.provenance);
    warn(options.after, before.rules, after.rules);
    if (!before.kernel) return;
    add("old_library", before.kernel->library(), before.prepared->provenance()->library);
    add("new_library", after.kernel->library(), after.prepared->provenance()->library);
    warn(options.libraries.back(), before.kernel->library(), after.kernel->library());
  }

  Dictionary versions = {};
  std::vector<std::pair<std::string, DocumentProvenance>> provenances = {};
  std::vector<std::string> warnings = {};

 private:
  void add(const std::string& name, const Dictionary& content, const DocumentProvenance& provenance) {
    versions.set(name, *content.find("version"));
    provenances.emplace_back(name, provenance);
  }

  void warn(const std::string& path, const Dictionary& before, const Dictionary& after) {
    const Value& version = *after.find("version");
    if (before == after || *before.find("version") != version) return;
    warnings.push_back(fmt::format("{}: the content differs from the old one, but \"version\" is still {}; change it",
                                   nameOf("", path), shortened(toJson(version), kWidestVersion)));
  }
};

bool checksDevices(const DiffOptions& options) { return !options.attributes.empty() || options.batch; }

class DiffRun {
 public:
  explicit DiffRun(const DiffOptions& options)
      : options_(options), platform_(std::make_shared<const HostPlatform>(options.platform)) {}

  ExitStatus run() {
    warnAboutTrust("diff", options_.platform);
    const Side before = readSide(options_.before, 0);
    const Side after = readSide(options_.after, 1);
    Documents documents(options_, before, after);
    for (const std::string& warning : documents.warnings) printToStandardError("diff", warning);
    RulesDifference difference{.versions = std::move(documents.versions),
                               .documents = std::move(documents.provenances),
                               .verified = !options_.platform.unsignedDocuments,
                               .warnings = std::move(documents.warnings),
                               .rules = {before.library(), before.rules, after.library(), after.rules},
                               .devices = {}};
    if (checksDevices(options_)) checkDevices(before, after, difference.devices);
    platform_->checkLog();
    write(difference);
    const bool fails = options_.failOn == "verdict" ? difference.devices->changesVerdicts() : !difference.empty();
    return fails ? ExitStatus::kFailed : ExitStatus::kPassed;
  }

 private:
  void write(const RulesDifference& difference) const {
    BufferedOutput output;
    if (options_.format == "json") {
      writeDifferenceJson(difference, output);
    } else if (options_.format == "html") {
      writeDifferenceHtml(difference, output);
    } else {
      writeDifferenceText(difference, Screen::standardOutput(), output);
    }
    output.flush();
  }

  Side readSide(const std::string& path, std::size_t number) {
    const std::string name = nameOf("", path);
    Side side;
    if (options_.libraries.empty()) {
      side.rules = validatedContent(name, inputs_.ruleDocument("", path), *platform_, DocumentRole::kLocalRules,
                                    &side.provenance);
      requireVersion(name, side.rules);
    } else {
      if (number < options_.libraries.size()) {
        kernel_ = readLibrary(inputs_, "--library", options_.libraries[number], platform_);
      }
      side.kernel = kernel_;
      side.prepared = readLocalRules(inputs_, "", path, *kernel_);
      side.rules = side.prepared->localRules();
      side.provenance = side.prepared->provenance()->rules;
    }
    refuseLibrary(name, side.rules);
    return side;
  }

  void checkDevices(const Side& before, const Side& after, std::optional<DeviceChanges>& devices) {
    const bool asJson = options_.format == "json";
    devices.emplace(before.prepared, after.prepared, options_.limit.value_or(asJson ? 0 : kUsualLimit),
                    asJson ? appendDeviceJson : DeviceChanges::Render());
    const Dictionary sources = readSources(inputs_, options_.sources);
    for (const std::string& path : options_.attributes) {
      devices->check(path, inputs_.dictionary("--attributes", path), sources);
    }
    if (options_.batch) checkBatch(*devices, *options_.batch);
  }

  void checkBatch(DeviceChanges& devices, const std::string& path) {
    const std::string name = nameOf("--batch", path);
    StopRequest stop;
    LineReader input(name, inputs_.open("--batch", path), stop);
    Progress progress(input.size(), "have a different result");
    for (std::vector<Line> lines = input.next(); !lines.empty(); lines = input.next()) {
      for (const Line& line : lines) {
        const DeviceLine device = readDevice(line);
        if (!device.inputError.empty()) throw Unusable(name + ": " + device.inputError);
        devices.check(device.id, device.attributes, device.sources);
        progress.show({devices.devices(), devices.changed(), input.position()});
      }
    }
    input.checkEnd();
  }

  const DiffOptions& options_;
  std::shared_ptr<const HostPlatform> platform_;
  Inputs inputs_;
  std::shared_ptr<const ZRTTavikKernel> kernel_;  // of the last library that was read
};

ExitStatus runDiff(const DiffOptions& options) {
  if (options.libraries.size() > 2) throw Unusable("--library is given more than twice");
  if (checksDevices(options) && options.libraries.empty())
    throw Unusable("--library is missing: checking devices requires a rule library");
  if (options.failOn == "verdict" && !checksDevices(options))
    throw Unusable("--fail-on verdict requires --attributes or --batch");
  if (options.attributes.empty() && !options.sources.empty()) {
    throw Unusable("--source requires --attributes");
  }
  return DiffRun(options).run();
}

Run define(CLI::App& app) {
  const auto options = std::make_shared<DiffOptions>();
  addText(app, "OLD", options->before, "", "The old local rules")->required();
  addText(app, "NEW", options->after, "", "The new local rules")->required();
  app.add_option("--library", options->libraries,
                 "The rule library; give it twice if it changes too, the old one first")
      ->type_name("FILE")
      ->allow_extra_args(false);
  app.add_option("--attributes", options->attributes, "Check this device with both; repeatable")->type_name("FILE");
  addSources(app, options->sources);
  addText(app, "--batch", options->batch, "FILE", "Check these devices with both: the input format of \"tavik batch\"");
  addNumber(app, "--limit", options->limit, "N",
            "List at most N devices that change in the same way, and N ways; 0 lists all. The default is 20, and 0 for "
            "--format json",
            std::size_t{0}, kHighestLimit);
  addChoice(app, "--fail-on", options->failOn, "CHANGE", "The changes that make the exit status 1", {"any", "verdict"})
      ->default_str(options->failOn);
  addPlatform(app, options->platform);
  addFormat(app, options->format, {"table", "json", "html"});
  return [options] { return runDiff(*options); };
}

}  // namespace

const Command kDiff = {"diff", kHelp, define};

}  // namespace tavik::tool
