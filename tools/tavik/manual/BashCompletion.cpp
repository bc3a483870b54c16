#include <fmt/format.h>

#include <string_view>

#include "manual/Completion.h"

namespace tavik::tool::manual {
namespace {

constexpr std::string_view kBegin = R"(# bash completion for tavik: commands, options, and their values.

# The options that a command takes and, for one of them or for a positional argument, the kind of value; empty if it
# takes none. $1: the command, $2: the option with its dashes, or the argument's number.
_tavik_command() {
  options= kind= choices=
  case $1 in
)";

// Bash splits words at "=" and "@". Readline completes the part after "=", but "@" together with what follows.
constexpr std::string_view kEnd = R"(  esac
}

_tavik() {
  local words=() word joins= options kind choices option= argument=1 current i
  COMPREPLY=()
  for ((i = 0; i <= COMP_CWORD; i++)); do
    word=${COMP_WORDS[i]}
    if [[ $joins || $word == = ]]; then words[-1]+=$word; else words+=("$word"); fi
    if [[ $word == [=@] ]]; then joins=1; else joins=; fi
  done
  current=${words[-1]}
  if ((${#words[@]} == 2)); then
    mapfile -t COMPREPLY < <(compgen -W "$_tavik_commands" -- "$current")
    return
  fi
  for word in "${words[@]:2:${#words[@]}-3}"; do
    if [[ $option ]]; then
      option=
    elif [[ $word != -?* ]]; then
      ((argument++))
    else
      _tavik_command "${words[1]}" "$word"
      [[ $kind ]] && option=$word
    fi
  done
  if [[ ! $option && $current == --*=* ]]; then
    option=${current%%=*} current=${current#*=}
  fi
  _tavik_command "${words[1]}" "${option:-$argument}"
  if [[ ! $option && $current == -* ]]; then
    kind=choices choices=$options
  fi
  case $kind:$current in
  choices:*) mapfile -t COMPREPLY < <(compgen -W "$choices" -- "$current") ;;
  at-file:@*) mapfile -t COMPREPLY < <(compgen -f -P @ -- "${current#@}") ;;
  file:* | named-file:*=*) compopt -o default ;;
  esac
}

complete -F _tavik tavik
)";

std::string_view kindName(Completes completes) {
  constexpr std::string_view kNames[] = {"text", "choices", "file", "named-file", "at-file"};
  return kNames[static_cast<std::size_t>(completes)];
}

/// The patterns for the option in a shell case; `argument` counts the positional ones.
std::string patternOf(const OptionHelp& option, int& argument) {
  if (!option.positional) return fmt::format("{}", fmt::join(option.names, " | "));
  ++argument;
  return option.repeatable ? "[0-9]*" : std::to_string(argument);
}

std::string valueCase(const OptionHelp& option, int& argument) {
  if (!option.takesValue) return "";
  std::string text = fmt::format("    {}) kind={}", patternOf(option, argument), kindName(completionOf(option)));
  if (!option.choices.empty()) text += fmt::format(" choices='{}'", fmt::join(option.choices, " "));
  return text + " ;;\n";
}

std::string commandCase(const CommandHelp& command) {
  std::string options;
  std::string values;
  int argument = 0;
  for (const OptionHelp& option : command.options) {
    values += valueCase(option, argument);
    if (!option.positional) options += fmt::format("{}{}", options.empty() ? "" : " ", fmt::join(option.names, " "));
  }
  return fmt::format("  {})\n    options='{}'\n    case $2 in\n{}    esac\n    ;;\n", command.name, options, values);
}

}  // namespace

std::string bashCompletion(std::span<const CommandHelp> commands) {
  std::string text(kBegin);
  std::string names;
  for (const CommandHelp& command : commands) {
    text += commandCase(command);
    names += command.name + " ";
  }
  return text.append(kEnd).append(fmt::format("_tavik_commands='{}-h --help --version'\n", names));
}

}  // namespace tavik::tool::manual
