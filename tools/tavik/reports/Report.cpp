#include "reports/Report.h"

namespace tavik::tool {
namespace {

class JsonLines : public ResultWriter {
 public:
  void add(std::string& out, std::size_t /*line*/, const DeviceResult& result) override { appendJson(out, result); }
};

class TextLines : public ResultWriter {
 public:
  void add(std::string& out, std::size_t /*line*/, const DeviceResult& result) override {
    appendText(out, result, screen_);
  }

 private:
  Screen screen_ = Screen::standardOutput();
};

}  // namespace

std::unique_ptr<ResultWriter> makeResultWriter(std::string_view format, const ReportDocuments& documents) {
  if (format == "junit") return makeJunitWriter();
  if (format == "html") return makeHtmlWriter(documents);
  if (format == "plist") return makePlistWriter();
  if (format == "table") return std::make_unique<TextLines>();
  return std::make_unique<JsonLines>();
}

std::size_t versionRecords(const CheckOutcome& outcome) {
  return outcome.records && outcome.records->size() > kVersionRecords ? kVersionRecords : 0;
}

}  // namespace tavik::tool
