// `tavik list`: what a station must collect for one device before a check.

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <memory>

#include "check/Outcome.h"
#include "commands/Command.h"
#include "commands/CommonOptions.h"
#include "io/ArgumentName.h"
#include "io/Inputs.h"
#include "io/StandardError.h"
#include "io/StandardOutput.h"
#include "rules/CheckLists.h"
#include "rules/DeviceKinds.h"
#include "rules/HostPlatform.h"
#include "rules/RuleDocuments.h"
#include "text/Terminal.h"
#include "text/Text.h"

namespace tavik::tool {
namespace {

constexpr Help::Part kDescription[] = {
    item("sfc", "what to request from the shop-floor system: attribute and description"),
    item("gui", "what to ask the operator: attribute and description"),
    item("sim", "the rules about the SIM card's identity: name and definition"),
    item("domain", "the domain entries of the device's rules, numbered"),
    item("polling", "their polling entries, numbered"),
};
constexpr std::string_view kExamples[] = {
    "tavik list sfc --library rules.signed --rules product.signed --attributes device.plist",
};
constexpr ExitMeaning kExitStatuses[] = {
    {ExitStatus::kPassed, "listed"},
    {ExitStatus::kUnusable, "the command line or an input is invalid"},
    {ExitStatus::kFault, "a fault"},
    {ExitStatus::kNoVerdict,
     "a document is not trusted, empty or malformed, or the device's rules could not be assembled"},
};
constexpr Help kHelp = {"List what a station must collect for one device", kDescription, kExamples, kExitStatuses};

struct ListOptions : RuleOptions {
  std::string name;
  std::string attributes;
  std::string format;
};

std::string listTable(const CheckList& list, const Dictionary& content, const Screen& screen) {
  Table table;
  table.add(Style::kHeading, {std::string(list.keyHeading), std::string(list.valueHeading)});
  for (const auto [key, value] : content) table.add(Style::kPlain, {visible(key), lineOf(&value)});
  return table.text(screen);
}

ExitStatus runList(const ListOptions& options) {
  const auto* const list = std::ranges::find(kCheckLists, options.name, &CheckList::name);
  const auto platform = std::make_shared<const HostPlatform>(options.platform);
  warnAboutTrust("list", options.platform);
  Inputs inputs;
  const Dictionary library = inputs.ruleDocument("--library", options.library);
  const Dictionary rules = inputs.ruleDocument("--rules", options.rules);
  const Dictionary attributes = inputs.dictionary("--attributes", options.attributes);
  const std::unique_ptr<ZRTTavikKernel> kernel = openKernel(nameOf("--library", options.library), library, platform);

  std::optional<Dictionary> content;
  std::optional<Error> error;
  const std::optional<Fault> fault = faultOf([&] { content = ((*kernel).*list->make)(rules, attributes, error); });
  if (fault) throw Failure(ExitStatus::kFault, "fault: " + fault->message);
  platform->checkLog();
  if (!content) {
    printToStandardError("list", blamed(*error, attributes, nameOf("--attributes", options.attributes),
                                        nameOf("--rules", options.rules)));
  }
  if (options.format == "json") {
    writeStandardOutput(objectLine({{"list", content}, {"error", valueOf(error)}}));
  } else if (content) {
    writeStandardOutput(listTable(*list, *content, Screen::standardOutput()));
  }
  return content ? ExitStatus::kPassed : ExitStatus::kNoVerdict;
}

Run define(CLI::App& app) {
  const auto options = std::make_shared<ListOptions>();
  std::vector<std::string> names;
  for (const CheckList& list : kCheckLists) names.emplace_back(list.name);
  addChoice(app, "KIND", options->name, "", "The kind of list", names)->required();
  addRules(app, *options);
  addAttributes(app, options->attributes);
  addPlatform(app, options->platform);
  addFormat(app, options->format, {"table", "json"});
  return [options] { return runList(*options); };
}

}  // namespace

const Command kList = {"list", kHelp, define};

}  // namespace tavik::tool
