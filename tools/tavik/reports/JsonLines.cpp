// One line of JSON per device.

#include "reports/Report.h"

namespace tavik::tool {
namespace {

class JsonLines : public ResultWriter {
 public:
  void add(std::string& out, std::size_t /*line*/, const DeviceResult& result) override {
    if (!appendJsonLine(out, result)) out += objectLine(entriesOf(result));  // which gives the reason
  }
};

}  // namespace

std::unique_ptr<ResultWriter> makeJsonWriter() { return std::make_unique<JsonLines>(); }

}  // namespace tavik::tool
