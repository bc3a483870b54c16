/// @file
/// Adapts a platform written in Python to the library's interface.
#ifndef TAVIK_PYTHON_HOST_PLATFORM_H
#define TAVIK_PYTHON_HOST_PLATFORM_H

#include <pybind11/pybind11.h>
#include <tavik/Platform.h>
#include <tavik/StationPlatform.h>

#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Made.h"

namespace tavik::python {

namespace py = pybind11;

/// Calls an object of the class Platform (tavik/_platform.py), from any thread. The validation of a StationPlatform is
/// called directly, without Python.
///
/// If `validate` raises UntrustedError, the document is rejected; any other exception ends the call into the library.
/// An Exception raised by `log` is reported through sys.unraisablehook and the run continues, so that a log line does
/// not cost a verdict. Any other BaseException, such as KeyboardInterrupt from a signal during `log`, ends the call.
class HostPlatform : public Platform {
 public:
  /// Raises TypeError if `platform` is not a Platform.
  explicit HostPlatform(py::object platform);
  ~HostPlatform() override;

  /// Asks Python whether logging is enabled. Called with the interpreter lock before every call into the library, so
  /// that log lines need the lock only if logging is enabled.
  void askWhetherItLogs();

  std::optional<Value> validatedPropertyListFromSignedDictionary(
      const Dictionary& signedDictionary, const std::string& publicKeyPath,
      std::optional<std::string>& errorDescription) const override;
  /// A platform written in Python accepts documents in any role.
  ValidatedDocument validate(const Dictionary& signedDictionary, const std::string& publicKeyPath,
                             std::optional<DocumentRole> role) const override;
  bool logs() const override { return logs_.load(std::memory_order_relaxed); }
  void log(std::string_view line) const override;

 private:
  py::object platform_;
  std::shared_ptr<const StationPlatform> station_;  // null: validates in Python
  std::atomic<bool> logs_ = false;
};

/// The part of a StationPlatform that checks signatures.
struct StationValidation {
  using MadeByInit = StationValidation;

  std::shared_ptr<const StationPlatform> platform;
};

}  // namespace tavik::python

#endif
