/// @file
/// How the command ends: the exit statuses that scripts depend on, and the failure that carries a status and a message.
#ifndef TAVIK_TOOL_EXIT_STATUS_H
#define TAVIK_TOOL_EXIT_STATUS_H

#include <stdexcept>
#include <string>

namespace tavik::tool {

enum class ExitStatus : int {
  kPassed = 0,     ///< everything passed
  kFailed = 1,     ///< the device failed
  kUnusable = 2,   ///< the command line is wrong, an input could not be read, or an output could not be written
  kFault = 3,      ///< a fault ended the run
  kNoVerdict = 4,  ///< a document or an expression is invalid: the device was not checked
};

/// Ends the command with a status and one line on standard error, which gives the argument or file, the location in it
/// and the reason.
class Failure : public std::runtime_error {
 public:
  Failure(ExitStatus status, const std::string& message) : std::runtime_error(message), status_(status) {}
  [[nodiscard]] ExitStatus status() const noexcept { return status_; }

 private:
  ExitStatus status_;
};

/// A problem with the command line or an input: status 2.
class Unusable : public Failure {
 public:
  explicit Unusable(const std::string& message) : Failure(ExitStatus::kUnusable, message) {}
};

/// The reader of standard output is gone: the command ends silently.
class ReaderGone : public Failure {
 public:
  ReaderGone() : Failure(ExitStatus::kUnusable, "") {}
};

}  // namespace tavik::tool

#endif
