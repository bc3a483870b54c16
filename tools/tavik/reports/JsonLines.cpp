// A line of JSON for each device.

#include "io/Json.h"
#include "reports/Report.h"

namespace tavik::tool {
namespace {

class JsonLines : public ResultWriter {
 public:
  void add(std::string& out, std::size_t line, const DeviceResult& result) override;
};

/// {"id": ..., "records": ..., "station": ..., "error": ...} or {"id": ..., "input_error": "..."}.
void JsonLines::add(std::string& out, std::size_t /*line*/, const DeviceResult& result) {
  out += "{\"id\": ";
  appendJson(out, result.id);
  out += ", ";
  if (result.status == ExitStatus::kUnusable) {
    out += "\"input_error\": ";
    appendJsonString(out, result.inputError);
  } else {
    appendOutcome(out, result.outcome);
  }
  out += "}\n";
}

}  // namespace

std::unique_ptr<ResultWriter> makeJsonWriter() { return std::make_unique<JsonLines>(); }

}  // namespace tavik::tool
