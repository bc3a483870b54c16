#include "io/Json.h"

#include "ExitStatus.h"

namespace tavik::tool {

void appendJson(std::string& out, const Value& value, JsonLayout layout) {
  std::string error;
  if (!tavik::appendJson(out, value, error, layout)) throw Unusable("cannot write JSON: " + error);
}

std::string toJson(const Value& value, JsonLayout layout) {
  std::string text;
  appendJson(text, value, layout);
  return text;
}

}  // namespace tavik::tool
