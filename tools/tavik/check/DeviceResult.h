/// @file
/// The result of one device of a batch.
#ifndef TAVIK_TOOL_CHECK_DEVICE_RESULT_H
#define TAVIK_TOOL_CHECK_DEVICE_RESULT_H

#include <tavik/CheckOutcome.h>
#include <tavik/Value.h>

#include <memory>
#include <span>
#include <string>
#include <vector>

#include "ExitStatus.h"
#include "check/Outcome.h"
#include "rules/RuleNotes.h"

namespace tavik::tool {

/// The result of a line: a check run, or why there was none.
struct DeviceResult {
  Value id;                     ///< by default the line number
  std::string inputError = {};  ///< why the line cannot be used; empty if it can
  CheckOutcome outcome = {};    ///< of a usable line
  Dictionary attributes = {};   ///< of a usable line
  Dictionary sources = {};      ///< of a usable line
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
