#include "check/Fault.h"

#include "io/Json.h"

namespace tavik::tool {

void appendFault(std::string& out, const Fault& fault) {
  appendJson(out, Value(Dictionary{{"kind", fault.kind}, {"message", fault.message}}));
}

void appendError(std::string& out, const std::optional<Error>& error) {
  if (!error) {
    out += "null";
    return;
  }
  appendJson(out, Value(Dictionary{{"domain", error->domain()},
                                   {"code", Value(error->code())},
                                   {"description", error->localizedDescription()}}));
}

}  // namespace tavik::tool
