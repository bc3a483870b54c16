// Results as an XML property list: what "--format json" prints, with the same names; where that has null, there is no
// entry.

#include <tavik/PropertyList.h>

#include "io/Bytes.h"
#include "reports/Report.h"

namespace tavik::tool {
namespace {

constexpr std::string_view kArrayBegin = "<array>\n";
constexpr std::string_view kArrayEnd = "</array>\n";

/// The lines of one element of an array, as the library writes them; absent with `error` set when it does not.
std::optional<std::string> elementText(const Dictionary& entries, std::string& error) {
  const std::optional<Data> list = writePropertyList(Array::of(entries), PropertyListFormat::kXml, error);
  if (!list) return std::nullopt;
  const std::string_view text = textOf(list->bytes());
  const std::size_t begin = text.find(kArrayBegin) + kArrayBegin.size();
  return std::string(text.substr(begin, text.rfind(kArrayEnd) - begin));
}

class PlistWriter : public ResultWriter {
 public:
  PlistWriter() {
    std::string error;
    const Data frame = writePropertyList(Array::of(0), PropertyListFormat::kXml, error).value();
    const std::string_view text = textOf(frame.bytes());
    begin_ = text.substr(0, text.find(kArrayBegin) + kArrayBegin.size());
    end_ = text.substr(text.rfind(kArrayEnd));
  }

  [[nodiscard]] std::string begin() const override { return begin_; }

  void add(std::string& out, std::size_t /*line*/, const DeviceResult& result) override {
    std::string error;
    std::optional<std::string> text = elementText(presentEntries(entriesOf(result)), error);
    if (!text) text = elementText(refusal(result, error), error);
    out += text.value();
  }

  std::string end(const BatchEnd& end) override {
    std::string error;
    const std::string early = end.whyEarly.empty() ? "" : *elementText({{"input_error", end.whyEarly}}, error);
    return early + end_;
  }

 private:
  /// One device's values shall not cost the others their report.
  static Dictionary refusal(const DeviceResult& result, const std::string& error) {
    const bool idIsPlain = result.id.ifArray() == nullptr && result.id.ifDictionary() == nullptr;
    return {{"id", idIsPlain ? result.id : Value(lineOf(&result.id))}, {"report_error", error}};
  }

  std::string begin_;
  std::string end_;
};

}  // namespace

std::unique_ptr<ResultWriter> makePlistWriter() { return std::make_unique<PlistWriter>(); }

std::string plistReport(const std::vector<JsonEntry>& entries) {
  std::string error;
  const std::optional<Data> bytes = writePropertyList(presentEntries(entries), PropertyListFormat::kXml, error);
  if (!bytes) throw Unusable("--format plist: " + error);
  return std::string(textOf(bytes->bytes()));
}

}  // namespace tavik::tool
