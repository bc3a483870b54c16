/// @file
/// Faults of the library, which end a call, as what a command reports.
#ifndef TAVIK_TOOL_CHECK_FAULT_H
#define TAVIK_TOOL_CHECK_FAULT_H

#include <tavik/Error.h>

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace tavik::tool {

struct Fault {
  std::string_view kind;  ///< "range" or "invalid-argument"
  std::string message;
};

/// Calls `call`; returns the fault that ended it.
template <class Call>
std::optional<Fault> faultOf(Call call) {
  try {
    call();
  } catch (const std::out_of_range& fault) {
    return Fault{"range", fault.what()};
  } catch (const std::invalid_argument& fault) {
    return Fault{"invalid-argument", fault.what()};
  }
  return std::nullopt;
}

/// {"kind": "range", "message": "..."}
void appendFault(std::string& out, const Fault& fault);

/// {"domain": "...", "code": -100006, "description": "..."}, or null.
void appendError(std::string& out, const std::optional<Error>& error);

}  // namespace tavik::tool

#endif
