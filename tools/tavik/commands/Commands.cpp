#include "commands/Commands.h"

#include <fmt/format.h>
#include <tavik/TavikKernelVersion.h>

#include <algorithm>
#include <utility>

namespace tavik::tool {
namespace {

constexpr Command kCommands[] = {
    {"check", "Check one device and print its records", defineCheck},
    {"batch", "Check a stream of devices, one JSON object a line", defineBatch},
    {"list", "Show what a station has to gather for one device", defineList},
    {"eval", "Evaluate a predicate expression on values given in place", defineEval},
    {"describe", "Show what a predicate is about to compare", defineDescribe},
    {"decode", "Show what a blob of device data holds", defineDecode},
    {"lint", "Find what is wrong in rule documents", defineLint},
    {"explain", "Show where a device's rules come from and how they are judged", defineExplain},
    {"diff", "Show what a change of rule documents changes, for whom", defineDiff},
    {"test", "Run test cases for rules", defineTest},
    {"keygen", "Make a key pair", defineKeygen},
    {"sign", "Sign a rule document", defineSign},
    {"verify", "Check a signed rule document and print its content", defineVerify},
    {"convert", "Rewrite a value file as XML or binary property list, or as JSON", defineConvert},
};

constexpr ExitMeaning kExitMeanings[] = {
    {ExitStatus::kPassed, "everything passed"},
    {ExitStatus::kFailed, "the device failed"},
    {ExitStatus::kUnusable, "the command could not be understood, or an input could not be read"},
    {ExitStatus::kFault, "a fault ended the run"},
    {ExitStatus::kNoVerdict, "no verdict about the device: a document is not trusted, empty or malformed"},
};

}  // namespace

std::span<const Command> commands() { return kCommands; }

const Command* findCommand(std::string_view name) {
  const auto* const command = std::ranges::find(kCommands, name, &Command::name);
  return command == std::end(kCommands) ? nullptr : command;
}

DefinedCommand makeCommand(const Command& command) {
  auto app = std::make_unique<CLI::App>(std::string(command.summary) + ".", "tavik " + std::string(command.name));
  app->set_help_flag("-h,--help", "Print this help and exit");
  app->set_version_flag("--version", versionText(), "Print the version and exit");
  Run run = command.define(*app);
  return {std::move(app), std::move(run)};
}

std::string versionText() { return fmt::format("tavik {:.2f}", TavikKernelVersionNumber); }

std::string overviewText() {
  std::string text = fmt::format("{}\n\nUsage: tavik COMMAND [OPTIONS]\n\nCommands:\n", kPurpose);
  for (const Command& command : kCommands) text += fmt::format("  {:<10}{}\n", command.name, command.summary);
  text += "\n\"tavik help COMMAND\" tells more about a command, \"tavik --version\" the version.\n\nExit status:\n";
  for (const auto& [status, meaning] : kExitMeanings)
    text += fmt::format("  {}  {}\n", static_cast<int>(status), meaning);
  return text;
}

std::span<const ExitMeaning> exitMeanings() { return kExitMeanings; }

}  // namespace tavik::tool
