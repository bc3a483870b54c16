/// @file
/// What came of one device of a batch.
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

/// What came of a line: a check run, or why there was none.
struct DeviceResult {
  Value id;                     ///< the line's number where the line does not tell
  std::string inputError = {};  ///< why the line cannot be used; empty if it can
  CheckOutcome outcome = {};    ///< of a line that can be used
  Dictionary attributes = {};   ///< likewise
  Dictionary sources = {};      ///< likewise
  /// Of a device with a verdict; null if nobody asked.
  std::shared_ptr<const RuleNotes> notes = nullptr;

  /// Of the device alone.
  [[nodiscard]] ExitStatus status() const { return inputError.empty() ? statusOf(outcome) : ExitStatus::kUnusable; }
  /// What explains several of the device's failures at once.
  [[nodiscard]] std::span<const std::string> aboutDevice() const;
  /// Null if there is nothing to say about the rule with this number in the order of evaluation.
  [[nodiscard]] const RuleNote* noteOn(std::size_t rule) const { return notes ? notes->at(rule) : nullptr; }
  [[nodiscard]] bool passed() const { return outcome.verdict == Verdict::kPassed; }
};

/// The entries of the result's JSON object.
std::vector<JsonEntry> entriesOf(const DeviceResult& result);

}  // namespace tavik::tool

#endif
