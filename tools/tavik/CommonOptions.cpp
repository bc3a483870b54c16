#include "Command.h"

namespace tavik::tool {

void addFormat(CLI::App& app, std::string& format, const std::vector<std::string>& formats) {
  format = formats.front();
  addText(app, "--format", format, "FORMAT", "How to print the answer: " + CLI::detail::join(formats, ", "))
      ->check(CLI::IsMember(formats).description(""))
      ->default_str(format);
}

void addPublicKey(CLI::App& app, PlatformOptions& options) {
  addText(app, "--public-key", options.publicKey, "PUB.pem",
          std::string("PEM file of the trusted public keys, in place of ") + ZRTTavikKernel::kPublicKeyPath);
}

void addLog(CLI::App& app, PlatformOptions& options) {
  addText(app, "--log", options.log, "FILE", "Append the diagnostic log to FILE");
}

void addPlatform(CLI::App& app, PlatformOptions& options) {
  addPublicKey(app, options);
  app.add_flag("--unsigned", options.unsignedDocuments,
               "Take plain, unsigned rule documents; says so on standard error")
      ->multi_option_policy(CLI::MultiOptionPolicy::Throw);
  addLog(app, options);
}

}  // namespace tavik::tool
