#include "commands/Commands.h"

#include <fmt/format.h>
#include <tavik/TavikKernelVersion.h>

#include <algorithm>
#include <utility>

namespace tavik::tool {
namespace {

constexpr const Command* kCommands[] = {&kCheck, &kBatch,   &kList, &kEval,   &kDescribe, &kDecode,
                                        &kLint,  &kExplain, &kDiff, &kMatrix, &kTest,     &kReplay,
                                        &kLsp,   &kKeygen,  &kSign, &kVerify, &kConvert,  &kServe};

constexpr ExitMeaning kExitMeanings[] = {
    {ExitStatus::kPassed, "everything passed"},
    {ExitStatus::kFailed, "the device failed"},
    {ExitStatus::kUnusable, "the command line is wrong, or an input could not be read"},
    {ExitStatus::kFault, "a fault ended the run"},
    {ExitStatus::kNoVerdict, "no verdict: a document is not trusted, empty or malformed"},
};

}  // namespace

std::span<const Command* const> commands() { return kCommands; }

const Command* findCommand(std::string_view name) {
  const auto* const command = std::ranges::find(kCommands, name, &Command::name);
  return command == std::end(kCommands) ? nullptr : *command;
}

DefinedCommand makeCommand(const Command& command) {
  auto app = std::make_unique<CLI::App>(std::string(command.help.summary) + ".", "tavik " + std::string(command.name));
  app->set_help_flag("-h,--help", "Print this help and exit");
  app->set_version_flag("--version", versionText(), "Print the version and exit");
  app->footer(footerOf(command.help));
  Run run = command.define(*app);
  return {std::move(app), std::move(run)};
}

std::string versionText() { return fmt::format("tavik {:.2f}", TavikKernelVersionNumber); }

std::string overviewText() {
  std::string text = fmt::format("{}\n\nUsage: tavik COMMAND [OPTIONS]\n\nCommands:\n", kPurpose);
  for (const Command* command : kCommands) {
    text += fmt::format("  {:<10}{}\n", command->name, command->help.summary);
  }
  text += "\n\"tavik help COMMAND\" describes a command; \"tavik --version\" prints the version.\n\nExit status:\n";
  for (const auto& [status, meaning] : kExitMeanings)
    text += fmt::format("  {}  {}\n", static_cast<int>(status), meaning);
  return text;
}

std::span<const ExitMeaning> exitMeanings() { return kExitMeanings; }

}  // namespace tavik::tool
