#include "commands/CommonOptions.h"

#include <fmt/format.h>
#include <tavik/ZRTTavikKernel.h>

#include "ExitStatus.h"

namespace tavik::tool {

CLI::Validator oneOf(const std::vector<std::string>& words) {
  // The words become the name of the check; as its description they would clutter the help.
  return CLI::IsMember(words).description("").name(CLI::detail::join(words, ","));
}

std::vector<std::string> choicesOf(CLI::Option& option) {
  try {
    const std::string words = option.get_validator()->get_name();
    return words.empty() ? std::vector<std::string>() : CLI::detail::split(words, ',');
  } catch (const CLI::OptionNotFound&) {
    return {};
  }
}

CLI::Option* addFormat(CLI::App& app, std::string& format, const std::vector<std::string>& formats) {
  format = formats.front();
  return addChoice(app, "--format", format, "FORMAT", "The output format", formats)->default_str(format);
}

void addRules(CLI::App& app, RuleOptions& options) {
  addText(app, "--library", options.library, "FILE", "The signed rule library")->required();
  addText(app, "--rules", options.rules, "FILE", "The signed local rules of the product")->required();
}

void addAttributes(CLI::App& app, std::string& attributes) {
  addText(app, "--attributes", attributes, "FILE", "The device's attributes, a dictionary")->required();
}

void addSources(CLI::App& app, std::vector<std::string>& sources) {
  app.add_option("--source", sources, "The data of the source NAME for the device, a dictionary; repeatable")
      ->type_name("NAME=FILE")
      ->allow_extra_args(false);
}

Dictionary readSources(Inputs& inputs, const std::vector<std::string>& arguments) {
  Dictionary sources;
  for (const std::string& argument : arguments) {
    const std::size_t equals = argument.find('=');
    if (equals == std::string::npos) throw Unusable("--source " + argument + ": expected NAME=FILE");
    const std::string name = argument.substr(0, equals);
    if (sources.contains(name))
      throw Unusable(fmt::format("--source {}: the source \"{}\" is given twice", argument, name));
    sources.set(name, inputs.dictionary(fmt::format("--source {}=", name), argument.substr(equals + 1)));
  }
  return sources;
}

void addPublicKey(CLI::App& app, PlatformOptions& options) {
  addText(app, "--public-key", options.publicKey, "PUB.pem",
          std::string("PEM file of the trusted public keys, in place of ") + ZRTTavikKernel::kPublicKeyPath);
  addText(
      app, "--trust", options.trust, "POLICY.json",
      "Trust policy, in place of a key file: which keys count, how many must have signed, which revisions are too old");
}

void addLog(CLI::App& app, PlatformOptions& options) {
  addText(app, "--log", options.log, "FILE", "Append the diagnostic log to FILE");
}

void addPlatform(CLI::App& app, PlatformOptions& options) {
  addPublicKey(app, options);
  app.add_flag("--unsigned", options.unsignedDocuments,
               "Accept unsigned rule documents; a note on standard error says so")
      ->multi_option_policy(CLI::MultiOptionPolicy::Throw);
  addLog(app, options);
}

}  // namespace tavik::tool
