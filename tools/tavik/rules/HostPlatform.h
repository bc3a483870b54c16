/// @file
/// How the rule documents of a command line are verified, and where the log is written.
#ifndef TAVIK_TOOL_RULES_HOST_PLATFORM_H
#define TAVIK_TOOL_RULES_HOST_PLATFORM_H

#include <tavik/Platform.h>
#include <tavik/PredicateKernel.h>
#include <tavik/StationPlatform.h>

#include <atomic>
#include <optional>
#include <string>
#include <string_view>

namespace tavik::tool {

/// The options for verifying documents and for the log.
struct PlatformOptions {
  std::optional<std::string> publicKey;  ///< absent: the fixed path
  bool unsignedDocuments = false;
  std::optional<std::string> log = {};    ///< absent: no log
  std::optional<std::string> trust = {};  ///< a trust policy, in place of a key file
  bool checksDevices = false;             ///< whether accepted revisions are remembered
  std::optional<Date> time = {};          ///< of a run that is repeated: judges expiry at that time, and no revisions
};

/// The platform of the command: verifies signatures like a station, or not at all with --unsigned; writes the log to a
/// file.
class HostPlatform : public Platform {
 public:
  /// Throws `Unusable` if options exclude each other, the log cannot be opened, or the trust policy is not valid.
  explicit HostPlatform(const PlatformOptions& options);
  ~HostPlatform() override;

  /// Throws `Unusable` if the document is not to blame: a key file, the trust policy or its state file cannot be used.
  std::optional<Value> validatedPropertyListFromSignedDictionary(
      const Dictionary& signedDictionary, const std::string& publicKeyPath,
      std::optional<std::string>& errorDescription) const override;
  ValidatedDocument validate(const Dictionary& signedDictionary, const std::string& publicKeyPath,
                             std::optional<DocumentRole> role) const override;
  bool logs() const override { return logFile_ >= 0; }
  void log(std::string_view line) const override;

  /// Throws `Unusable` if a log line could not be written.
  void checkLog() const;

 private:
  PlatformOptions options_;
  StationPlatform station_;
  int logFile_ = -1;
  mutable std::atomic<int> logFailure_ = 0;  // an errno
};

/// Evaluates rules without a log.
const PredicateKernel& silentKernel();

/// A hint to append to a platform's rejection on standard error.
std::string_view hintForUntrusted(std::string_view description);

/// Whether a document has the form of a signed one.
bool isSigned(const Dictionary& document);

/// Throws `Unusable` if more than one option says which documents are trusted.
void requireOneTrustOption(const PlatformOptions& options);

/// Warns on standard error, in the name of a command, that signatures are not verified, or that other users can change
/// the key files or the trust policy.
void warnAboutTrust(std::string_view command, const PlatformOptions& options);

}  // namespace tavik::tool

#endif
