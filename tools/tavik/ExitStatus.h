/// @file
/// How the command ends: the exit statuses that scripts depend on, and the failure that carries one of them with its
/// line for standard error.
#ifndef TAVIK_TOOL_EXIT_STATUS_H
#define TAVIK_TOOL_EXIT_STATUS_H

#include <stdexcept>
#include <string>

namespace tavik::tool {

enum class ExitStatus : int {
  kPassed = 0,     ///< everything passed
  kFailed = 1,     ///< the device failed
  kUnusable = 2,   ///< the command could not be understood, an input could not be read, an output could not be written
  kFault = 3,      ///< a fault ended the run
  kNoVerdict = 4,  ///< a document or an expression is at fault: nothing was found out about the device
};

/// Ends the command with a status and one line on standard error, which says which argument or file, where in it, and
/// why.
class Failure : public std::runtime_error {
 public:
  Failure(ExitStatus status, const std::string& message) : std::runtime_error(message), status_(status) {}
  [[nodiscard]] ExitStatus status() const noexcept { return status_; }

 private:
  ExitStatus status_;
};

/// Something about the command line or an input: status 2.
class Unusable : public Failure {
 public:
  explicit Unusable(const std::string& message) : Failure(ExitStatus::kUnusable, message) {}
};

/// Whoever read standard output has gone: the command ends without a word.
class ReaderGone : public Failure {
 public:
  ReaderGone() : Failure(ExitStatus::kUnusable, "") {}
};

}  // namespace tavik::tool

#endif
