// Results as an XML property list: the output of "--format json" with the same names; null values are left out.

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <tavik/PropertyList.h>

#include <set>

#include "io/Bytes.h"
#include "reports/Report.h"
#include "text/Text.h"

namespace tavik::tool {
namespace {

constexpr std::string_view kArrayBegin = "<array>\n";
constexpr std::string_view kArrayEnd = "</array>\n";

/// The value with every character that XML cannot represent written as an escape.
Value representable(const Value& value, std::set<std::string>& used) {
  if (const auto text = value.ifString()) return Value(inXmlCharacters(*text, &used));
  if (const Array* array = value.ifArray()) {
    Array result;
    for (const Value& element : *array) result.append(representable(element, used));
    return result;
  }
  const Dictionary* const dictionary = value.ifDictionary();
  if (dictionary == nullptr) return value;
  Dictionary result;
  for (const auto [key, entry] : *dictionary) result.set(inXmlCharacters(key, &used), representable(entry, used));
  return result;
}

/// The entries for a report; a note lists the characters that XML cannot represent.
Dictionary reported(const std::vector<JsonEntry>& entries) {
  std::set<std::string> replaced;
  const Value value = representable(Value(presentEntries(entries)), replaced);
  Dictionary result = *value.ifDictionary();
  if (!replaced.empty()) {
    result.set("report_note", fmt::format("characters that XML cannot represent are written as escapes: {}",
                                          fmt::join(replaced, ", ")));
  }
  return result;
}

/// The lines of one array element, as the library writes them; absent with `error` set if it fails.
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
    std::optional<std::string> text = elementText(reported(entriesOf(result)), error);
    if (!text) text = elementText(refusal(result, error), error);
    out += text.value();
  }

  std::string end(const BatchEnd& end) override {
    std::string error;
    const std::string early =
        end.whyEarly.empty() ? "" : *elementText(reported({{"input_error", Value(end.whyEarly)}}), error);
    return early + end_;
  }

 private:
  /// One device's values must not prevent the report about the others.
  static Dictionary refusal(const DeviceResult& result, const std::string& error) {
    const bool idIsPlain = result.id.ifArray() == nullptr && result.id.ifDictionary() == nullptr;
    return reported({{"id", idIsPlain ? result.id : Value(lineOf(&result.id))}, {"report_error", Value(error)}});
  }

  std::string begin_;
  std::string end_;
};

}  // namespace

std::unique_ptr<ResultWriter> makePlistWriter() { return std::make_unique<PlistWriter>(); }

std::string plistReport(const std::vector<JsonEntry>& entries) {
  std::string error;
  const std::optional<Data> bytes = writePropertyList(reported(entries), PropertyListFormat::kXml, error);
  if (!bytes) throw Unusable("--format plist: " + error);
  return std::string(textOf(bytes->bytes()));
}

}  // namespace tavik::tool
