/// @file
/// The outcome of a check run as the commands report it: exit status, records, JSON.
#ifndef TAVIK_TOOL_CHECK_OUTCOME_H
#define TAVIK_TOOL_CHECK_OUTCOME_H

#include <tavik/CheckOutcome.h>
#include <tavik/PreparedRules.h>
#include <tavik/Value.h>

#include <optional>
#include <span>
#include <stdexcept>
#include <vector>

#include "ExitStatus.h"
#include "io/JsonObject.h"

namespace tavik::tool {

/// Runs a check. sources: empty if there are none.
CheckOutcome runCheck(const PreparedRules& rules, const Dictionary& attributes, const Dictionary& sources);

ExitStatus statusOf(const CheckOutcome& outcome);

/// Whether a record passed.
bool passed(const Value& record);

/// The records of rules or, without a verdict, the one that gives the reason.
std::span<const Value> decidingRecords(const CheckOutcome& outcome);
/// The version records, which precede these.
std::span<const Value> versionRecords(const CheckOutcome& outcome);

/// The entries of the outcome's JSON object.
std::vector<JsonEntry> entriesOf(const CheckOutcome& outcome);
/// {"domain": "...", "code": -100006, "description": "..."}
Value valueOf(const Error& error);
std::optional<Value> valueOf(const std::optional<Error>& error);
/// {"kind": "range", "message": "..."}
Value valueOf(const Fault& fault);

/// Calls an operation of the library other than a check run; returns the fault that ended it.
template <class Call>
std::optional<Fault> faultOf(Call call) {
  try {
    call();
  } catch (const std::out_of_range& fault) {
    return Fault{Fault::Category::kRange, fault.what()};
  } catch (const std::invalid_argument& fault) {
    return Fault{Fault::Category::kInvalidArgument, fault.what()};
  }
  return std::nullopt;
}

}  // namespace tavik::tool

#endif
