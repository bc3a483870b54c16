// `tavik keygen`: generates a key pair.

#include <tavik/StationPlatform.h>

#include <memory>
#include <utility>

#include "commands/Command.h"
#include "commands/CommonOptions.h"
#include "io/ArgumentName.h"
#include "io/Bytes.h"
#include "io/PendingFile.h"

namespace tavik::tool {
namespace {

constexpr Help::Part kDescription[] = {
    paragraph("Existing files are never overwritten. Only the owner can read the private key: keep it off the "
              "stations."),
};
constexpr std::string_view kExamples[] = {
    "tavik keygen --private station.pem --public station-pub.pem",
};
constexpr ExitMeaning kExitStatuses[] = {
    {ExitStatus::kPassed, "both files were written"},
    {ExitStatus::kUnusable, "neither was written"},
};
constexpr Help kHelp = {"Generate a key pair", kDescription, kExamples, kExitStatuses};

constexpr std::pair<std::string_view, KeyAlgorithm> kAlgorithms[] = {
    {"ed25519", KeyAlgorithm::kEd25519},
    {"p256", KeyAlgorithm::kP256},
    {"rsa3072", KeyAlgorithm::kRsa3072},
};

struct KeygenOptions {
  std::string privateKey;
  std::string publicKey;
  std::string algorithm;
};

KeyAlgorithm algorithmNamed(std::string_view name) {
  for (const auto& [word, algorithm] : kAlgorithms) {
    if (word == name) return algorithm;
  }
  throw Unusable("--algorithm: unknown");
}

KeyPair makeKeys(const KeygenOptions& options) {
  std::string error;
  std::optional<KeyPair> keys = generateKeyPair(algorithmNamed(options.algorithm), error);
  if (!keys) throw Unusable(error);
  return *std::move(keys);
}

/// The prefix of messages. "-" is rejected: a stream has no owner who could keep a private key.
std::string placeNamed(std::string_view argument, const std::string& path) {
  if (path == "-") throw Unusable(std::string(argument) + " -: a key must be written to a file");
  return nameOf(argument, path);
}

ExitStatus runKeygen(const KeygenOptions& options) {
  constexpr mode_t kOwnerOnly = 0600;
  constexpr mode_t kWritableByOwner = 0644;
  const KeyPair keys = makeKeys(options);
  PendingFile privateFile(placeNamed("--private", options.privateKey), options.privateKey, kOwnerOnly);
  PendingFile publicFile(placeNamed("--public", options.publicKey), options.publicKey,
                         ordinaryPermissions() & kWritableByOwner);
  privateFile.write(bytesOf(keys.privateKey));
  publicFile.write(bytesOf(keys.publicKey));
  privateFile.commit(PendingFile::Existing::kKeep);
  try {
    publicFile.commit(PendingFile::Existing::kKeep);
  } catch (const Unusable&) {
    privateFile.withdraw();
    throw;
  }
  return ExitStatus::kPassed;
}

Run define(CLI::App& app) {
  const auto options = std::make_shared<KeygenOptions>();
  addText(app, "--private", options->privateKey, "KEY.pem", "The file for the private key")->required();
  addText(app, "--public", options->publicKey, "PUB.pem", "The file for the public key")->required();
  std::vector<std::string> names;
  for (const auto& [word, algorithm] : kAlgorithms) names.emplace_back(word);
  options->algorithm = names.front();
  addChoice(app, "--algorithm", options->algorithm, "NAME", "The kind of key", names)->default_str(options->algorithm);
  return [options] { return runKeygen(*options); };
}

}  // namespace

const Command kKeygen = {"keygen", kHelp, define};

}  // namespace tavik::tool
