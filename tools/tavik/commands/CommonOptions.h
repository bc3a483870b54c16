/// @file
/// Options that several commands share, and helpers that add text and choice options.
#ifndef TAVIK_TOOL_COMMANDS_COMMON_OPTIONS_H
#define TAVIK_TOOL_COMMANDS_COMMON_OPTIONS_H

#include <tavik/Value.h>

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "io/Inputs.h"
#include "rules/HostPlatform.h"

namespace tavik::tool {

/// An option that takes one text and may be given once.
template <class Text>  // std::string, a number, or an optional one
CLI::Option* addText(CLI::App& app, const std::string& name, Text& text, const char* type, const std::string& help) {
  return app.add_option(name, text, help)->type_name(type)->multi_option_policy(CLI::MultiOptionPolicy::Throw);
}

/// An option that takes one number of a range and may be given once.
template <class Number, class Limit>  // Limit or std::optional<Limit>
CLI::Option* addNumber(CLI::App& app, const std::string& name, Number& number, const char* type,
                       const std::string& help, Limit smallest, Limit largest) {
  return addText(app, name, number, type, help)->check(CLI::Range(smallest, largest).description(""));
}

/// Rejects all other words, and keeps the list for `choicesOf`.
CLI::Validator oneOf(const std::vector<std::string>& words);

/// An option that takes one of a few words; the help text lists them.
template <class Text>  // as above
CLI::Option* addChoice(CLI::App& app, const std::string& name, Text& choice, const char* type, const std::string& help,
                       const std::vector<std::string>& words) {
  return addText(app, name, choice, type, help + ": " + CLI::detail::join(words, ", "))->check(oneOf(words));
}

/// The words that an option accepts; empty if it is not limited to a list.
std::vector<std::string> choicesOf(CLI::Option& option);

/// "--format", with the first of `formats` as the default.
CLI::Option* addFormat(CLI::App& app, std::string& format, const std::vector<std::string>& formats);

/// The signed rule documents of a command, and how they are verified.
struct RuleOptions {
  std::string library;
  std::string rules;
  PlatformOptions platform;
};
/// "--library" and "--rules", both required.
void addRules(CLI::App& app, RuleOptions& options);

/// "--attributes", required.
void addAttributes(CLI::App& app, std::string& attributes);

/// "--source NAME=FILE", repeatable.
void addSources(CLI::App& app, std::vector<std::string>& sources);
/// The contents of these arguments: one dictionary per source.
Dictionary readSources(Inputs& inputs, const std::vector<std::string>& arguments);

/// "--public-key" and "--trust".
void addPublicKey(CLI::App& app, PlatformOptions& options);
void addLog(CLI::App& app, PlatformOptions& options);
/// "--public-key", "--trust", "--unsigned" and "--log".
void addPlatform(CLI::App& app, PlatformOptions& options);

}  // namespace tavik::tool

#endif
