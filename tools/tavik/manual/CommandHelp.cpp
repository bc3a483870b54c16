#include "manual/CommandHelp.h"

#include "commands/Commands.h"
#include "commands/CommonOptions.h"

namespace tavik::tool::manual {
namespace {

OptionHelp helpOf(CLI::Option& option) {
  OptionHelp help;
  help.positional = option.get_positional();
  if (help.positional) help.names.push_back(option.get_name(true));
  for (const std::string& name : option.get_snames()) help.names.push_back("-" + name);
  for (const std::string& name : option.get_lnames()) help.names.push_back("--" + name);
  help.takesValue = option.get_items_expected_max() != 0;
  help.type = help.takesValue ? option.get_type_name() : "";
  help.description = option.get_description();
  help.defaultValue = option.get_default_str();
  help.choices = choicesOf(option);
  help.required = option.get_required();
  help.repeatable = option.get_items_expected_max() > 1;
  return help;
}

}  // namespace

CommandHelp helpOf(const Command& command) {
  const DefinedCommand defined = makeCommand(command);
  CommandHelp help{std::string(command.name), command.help, {}};
  for (CLI::Option* const option : defined.app->get_options({})) help.options.push_back(helpOf(*option));
  return help;
}

}  // namespace tavik::tool::manual
