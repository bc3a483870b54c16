/// @file
/// Checks the devices of a batch: turns a JSON line into a result.
#ifndef TAVIK_TOOL_CHECK_DEVICE_CHECKER_H
#define TAVIK_TOOL_CHECK_DEVICE_CHECKER_H

#include <tavik/PreparedRules.h>
#include <tavik/RuleOrigins.h>

#include <functional>
#include <memory>
#include <set>
#include <string>

#include "check/DeviceResult.h"
#include "io/LineReader.h"

namespace tavik::tool {

/// Creates notes on devices that failed.
struct NoteMaker {
  RuleOrigins origins;
  std::set<std::string, std::less<>> sources;  ///< that rules of the library use
  bool always;                                 ///< otherwise only for devices that lack one of these sources

  /// always: the results are shown to people.
  NoteMaker(const Dictionary& library, const Dictionary& localRules, bool always);
  /// Null if there is nothing to note.
  [[nodiscard]] std::shared_ptr<const RuleNotes> notesOn(const DeviceResult& result) const;
};

/// Reads a device: its "id", attributes and sources, or why they are unusable.
/// `line` may contain anything; {"id": any, "attributes": {...}, "sources": {"sfc": {...}}} is a device.
DeviceResult readDevice(const Line& line);

/// Checks devices. Thread-safe.
class DeviceChecker {
 public:
  /// notes: null for none.
  explicit DeviceChecker(const PreparedRules& rules, const NoteMaker* notes = nullptr) : rules_(rules), notes_(notes) {}

  /// `line` may contain anything; only a device gets a check run.
  [[nodiscard]] DeviceResult check(const Line& line) const;

 private:
  const PreparedRules& rules_;
  const NoteMaker* notes_;
};

}  // namespace tavik::tool

#endif
