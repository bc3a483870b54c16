/// @file
/// The result of one device, with notes for people.
#ifndef TAVIK_TOOL_CHECK_DEVICE_RESULT_H
#define TAVIK_TOOL_CHECK_DEVICE_RESULT_H

#include <tavik/DeviceLine.h>

#include <memory>
#include <span>
#include <string>
#include <vector>

#include "ExitStatus.h"
#include "check/Outcome.h"
#include "rules/RuleNotes.h"

namespace tavik::tool {

/// A check run, or why there was none.
struct DeviceResult : LineResult {
  /// For a device with a verdict; null if notes were not requested.
  std::shared_ptr<const RuleNotes> notes = nullptr;

  /// Of the device itself.
  [[nodiscard]] ExitStatus status() const { return inputError.empty() ? statusOf(outcome) : ExitStatus::kUnusable; }
  /// Explanations that several of the device's failures share.
  [[nodiscard]] std::span<const std::string> aboutDevice() const;
  /// The note on the rule with this number in evaluation order; may be null.
  [[nodiscard]] const RuleNote* noteOn(std::size_t rule) const { return notes ? notes->at(rule) : nullptr; }
  [[nodiscard]] bool passed() const { return outcome.verdict == Verdict::kPassed; }
};

/// The entries of the result's JSON object.
std::vector<JsonEntry> entriesOf(const DeviceResult& result);

}  // namespace tavik::tool

#endif
