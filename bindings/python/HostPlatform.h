/// @file
/// A platform given in Python, as the library sees it.
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
/// called without a way through Python.
///
/// What `validate` raises ends the call into the library, save UntrustedError, which is its refusal. What `log` raises
/// is reported through sys.unraisablehook and the run goes on: a verdict is not lost for a line of a log. But what is
/// no Exception, such as KeyboardInterrupt, ends the call as well: a signal that comes while `log` runs is raised
/// there.
class HostPlatform : public Platform {
 public:
  /// Raises TypeError when `platform` is no Platform.
  explicit HostPlatform(py::object platform);
  ~HostPlatform() override;

  /// Has Python say whether it reads the log. Every call into the library begins with it, while the interpreter lock is
  /// held, so that no line asks for the lock when nobody reads it.
  void askWhetherItLogs();

  std::optional<Value> validatedPropertyListFromSignedDictionary(
      const Dictionary& signedDictionary, const std::string& publicKeyPath,
      std::optional<std::string>& errorDescription) const override;
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
