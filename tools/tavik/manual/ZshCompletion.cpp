#include <fmt/format.h>

#include <string_view>

#include "manual/Completion.h"

namespace tavik::tool::manual {
namespace {

constexpr std::string_view kBegin = R"(#compdef tavik
# zsh completion for tavik: commands, options, and their values.

_tavik() {
  local curcontext=$curcontext state line
  local -a commands=(
)";

constexpr std::string_view kMiddle = R"(  )
  _arguments -C '(- *)'{-h,--help}'[Print the commands and exit]' '(- *)--version[Print the version and exit]' \
    '1:command:->command' '*::argument:->argument'
  case $state in
  command) _describe command commands ;;
  argument)
    case $words[1] in
)";

constexpr std::string_view kEnd = R"(    esac
    ;;
  esac
}

_tavik "$@"
)";

/// Text inside single quotes, with a backslash before each of `special`.
std::string quoted(std::string_view text, std::string_view special) {
  std::string out;
  for (const char character : text) {
    if (special.find(character) != std::string_view::npos) out += '\\';
    if (character == '\'') {
      out += R"('\'')";
    } else {
      out += character;
    }
  }
  return out;
}

/// ":message:action" of a value.
std::string valuePart(const OptionHelp& option) {
  if (!option.takesValue) return "";
  const auto action = [&]() -> std::string {
    switch (completionOf(option)) {
      case Completes::kNothing:
        return "()";
      case Completes::kChoices:
        return fmt::format("({})", fmt::join(option.choices, " "));
      case Completes::kFile:
        return "_files";
      case Completes::kNamedFile:
        return R"({ compset -P "*=" && _files })";
      case Completes::kAtFile:
        return "{ compset -P @ && _files }";
    }
    return "";
  };
  return fmt::format(":{}:{}", quoted(option.valueName(), ":"), action());
}

/// One line per name of an option; once given, each name excludes the others.
std::string linesFor(const OptionHelp& option) {
  if (option.positional) return fmt::format(" \\\n        '{}{}'", option.repeatable ? "*" : "", valuePart(option));
  std::string text;
  for (const std::string& name : option.names) {
    const std::string before = option.repeatable ? "*" : fmt::format("({})", fmt::join(option.names, " "));
    const std::string_view value = !option.takesValue ? "" : name.starts_with("--") ? "=" : "+";
    text += fmt::format(" \\\n        '{}{}{}[{}]{}'", before, name, value, quoted(option.description, "[]\\"),
                        valuePart(option));
  }
  return text;
}

std::string commandCase(const CommandHelp& command) {
  std::string text = fmt::format("    {})\n      _arguments -s", command.name);
  for (const OptionHelp& option : command.options) text += linesFor(option);
  return text + "\n      ;;\n";
}

}  // namespace

std::string zshCompletion(std::span<const CommandHelp> commands) {
  std::string text(kBegin);
  for (const CommandHelp& command : commands)
    text += fmt::format("    '{}:{}'\n", command.name, quoted(command.text.summary, ":\\"));
  text += kMiddle;
  for (const CommandHelp& command : commands) text += commandCase(command);
  return text.append(kEnd);
}

}  // namespace tavik::tool::manual
