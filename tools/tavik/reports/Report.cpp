#include "reports/Report.h"

namespace tavik::tool {
namespace {

/// One line of JSON per device.
class JsonLines : public ResultWriter {
 public:
  void add(std::string& out, std::size_t /*line*/, const DeviceResult& result) override {
    if (!appendJsonLine(out, result)) out += objectLine(entriesOf(result));  // which gives the reason
  }
};

}  // namespace

std::unique_ptr<ResultWriter> makeResultWriter(std::string_view format, const RuleContents& documents) {
  if (format == "junit") return makeJunitWriter(documents);
  if (format == "html") return makeHtmlWriter(documents);
  if (format == "plist") return makePlistWriter();
  if (format == "table") return makeTextWriter();
  return std::make_unique<JsonLines>();
}

}  // namespace tavik::tool
