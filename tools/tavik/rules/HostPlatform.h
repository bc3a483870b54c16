/// @file
/// What the rule documents of a command line are trusted by, and where the log goes.
#ifndef TAVIK_TOOL_RULES_HOST_PLATFORM_H
#define TAVIK_TOOL_RULES_HOST_PLATFORM_H

#include <tavik/Platform.h>
#include <tavik/StationPlatform.h>

#include <atomic>
#include <optional>
#include <string>
#include <string_view>

namespace tavik::tool {

/// The options that say what documents are trusted by, and where the log goes.
struct PlatformOptions {
  std::optional<std::string> publicKey;  ///< absent: the fixed path
  bool unsignedDocuments = false;
  std::optional<std::string> log = {};  ///< absent: no log
};

/// The platform of the command: signatures as a station checks them or, when so told, none; the log in a file.
class HostPlatform : public Platform {
 public:
  /// Raises `Unusable` when the log cannot be opened.
  explicit HostPlatform(const PlatformOptions& options);
  ~HostPlatform() override;

  /// Raises `Unusable` when the public key cannot be read: then it is not the document that is at fault.
  std::optional<Value> validatedPropertyListFromSignedDictionary(
      const Dictionary& signedDictionary, const std::string& publicKeyPath,
      std::optional<std::string>& errorDescription) const override;
  bool logs() const override { return logFile_ >= 0; }
  void log(std::string_view line) const override;

  /// Raises `Unusable` when a line of the log could not be written.
  void checkLog() const;

 private:
  StationPlatform station_;
  PlatformOptions options_;
  int logFile_ = -1;
  mutable std::atomic<int> logFailure_ = 0;  // an errno
};

/// What to append to a platform's refusal on standard error.
std::string_view hintForUntrusted(std::string_view description);

/// Whether a document has the form of a signed one.
bool isSigned(const Dictionary& document);

/// Says on standard error, in the name of a command, that signatures are not checked, or that other users can change
/// the keys that they are checked with.
void warnAboutTrust(std::string_view command, const PlatformOptions& options);

}  // namespace tavik::tool

#endif
