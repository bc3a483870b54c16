/// @file
/// What a command of `tavik` is: a row in the table of Commands.cpp and a file that defines it.
#ifndef TAVIK_TOOL_COMMANDS_COMMAND_H
#define TAVIK_TOOL_COMMANDS_COMMAND_H

#include <CLI/CLI.hpp>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "ExitStatus.h"
#include "rules/Documents.h"

namespace tavik::tool {

/// What a command does once its options are parsed.
using Run = std::function<ExitStatus()>;

struct Command {
  std::string_view name;
  std::string_view summary;
  /// Adds the command's options, and as the footer what else there is to say: paragraphs; lists, whose lines begin with
  /// two blanks; headings, which stand alone and end with a colon. "Examples:" and "Exit status: 0 ..., 1 ..." are the
  /// last two. Manual pages are made of the same (manual/CommandHelp.h).
  Run (*define)(CLI::App& app);
};

Run defineBatch(CLI::App& app);
Run defineCheck(CLI::App& app);
Run defineConvert(CLI::App& app);
Run defineDecode(CLI::App& app);
Run defineDescribe(CLI::App& app);
Run defineDiff(CLI::App& app);
Run defineEval(CLI::App& app);
Run defineExplain(CLI::App& app);
Run defineKeygen(CLI::App& app);
Run defineLint(CLI::App& app);
Run defineList(CLI::App& app);
Run defineSign(CLI::App& app);
Run defineTest(CLI::App& app);
Run defineVerify(CLI::App& app);

/// An option that takes one text and may be given once.
template <class Text>  // std::string or std::optional<std::string>
CLI::Option* addText(CLI::App& app, const std::string& name, Text& text, const char* type, const std::string& help) {
  return app.add_option(name, text, help)->type_name(type)->multi_option_policy(CLI::MultiOptionPolicy::Throw);
}

/// Refuses all but these words, and keeps them for `choicesOf`.
CLI::Validator oneOf(const std::vector<std::string>& words);

/// An option that takes one of a few words; they follow `help`.
template <class Text>  // as above
CLI::Option* addChoice(CLI::App& app, const std::string& name, Text& choice, const char* type, const std::string& help,
                       const std::vector<std::string>& words) {
  return addText(app, name, choice, type, help + ": " + CLI::detail::join(words, ", "))->check(oneOf(words));
}

/// The words that an option takes; empty when it takes others too.
std::vector<std::string> choicesOf(CLI::Option& option);

/// "--format", with the first of `formats` as the default.
void addFormat(CLI::App& app, std::string& format, const std::vector<std::string>& formats);

/// "--source NAME=FILE", repeatable.
void addSources(CLI::App& app, std::vector<std::string>& sources);
/// What such arguments name: a dictionary for each source.
Dictionary readSources(Inputs& inputs, const std::vector<std::string>& arguments);

void addPublicKey(CLI::App& app, PlatformOptions& options);
void addLog(CLI::App& app, PlatformOptions& options);
/// "--public-key", "--unsigned" and "--log".
void addPlatform(CLI::App& app, PlatformOptions& options);

}  // namespace tavik::tool

#endif
