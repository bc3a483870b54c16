// Results as JUnit XML, as CI servers read it: a test suite for each device, a test case for each rule. A rule that
// failed is a failure; a fault, a run without a verdict and a line that cannot be used are errors.

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

#include "Report.h"
#include "Text.h"

namespace tavik::tool {
namespace {

constexpr std::string_view kBegin = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites>\n";
constexpr std::string_view kEnd = "</testsuites>\n";
constexpr std::size_t kMessageWidth = 300;

/// XML has no form for these, not even a numeric reference.
bool isOutsideXml(char32_t character) {
  return (character < 0x20 && character != '\t' && character != '\n' && character != '\r') || character == 0xFFFE ||
         character == 0xFFFF;
}

/// Appends one character of a text or an attribute. References keep line ends and tabs from being normalised.
void appendCharacter(std::string& out, char32_t character, std::string_view bytes) {
  switch (character) {
    case '<':
      out += "&lt;";
      return;
    case '>':
      out += "&gt;";
      return;
    case '&':
      out += "&amp;";
      return;
    case '"':
      out += "&quot;";
      return;
    case '\t':
    case '\n':
    case '\r':
      fmt::format_to(std::back_inserter(out), "&#{};", static_cast<std::uint32_t>(character));
      return;
    default:
      out += bytes;
  }
}

/// The text as XML. A character that XML has no form for is written as "\x1b" or "\ufffe".
std::string xml(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  while (!text.empty()) {
    const std::string_view before = text;
    const std::optional<char32_t> character = takeCharacter(text);
    if (!character) {
      fmt::format_to(std::back_inserter(out), "\\x{:02x}", static_cast<unsigned char>(before.front()));
    } else if (isOutsideXml(*character)) {
      fmt::format_to(std::back_inserter(out), fmt::runtime(*character < 0x80 ? "\\x{:02x}" : "\\u{:04x}"),
                     static_cast<std::uint32_t>(*character));
    } else {
      appendCharacter(out, *character, before.substr(0, before.size() - text.size()));
    }
  }
  return out;
}

std::string descriptionOf(const Dictionary* dictionary, std::string_view key, std::string_view otherwise) {
  const Value* const value = dictionary == nullptr ? nullptr : dictionary->find(key);
  return value == nullptr ? std::string(otherwise) : description(value);
}

struct Suite {
  std::string className;
  std::string cases;
  std::string properties;
  std::size_t tests = 0;
  std::size_t failures = 0;
  std::size_t errors = 0;

  void open(std::string_view name) {
    ++tests;
    cases += fmt::format(R"(    <testcase classname="{}" name="{}" time="0")", className, xml(name));
  }

  void pass(std::string_view name) {
    open(name);
    cases += "/>\n";
  }

  void fail(std::string_view name, const Dictionary& record) {
    open(name);
    ++failures;
    const std::string actual = description(record.find("actual"));
    const std::string expected = description(record.find("expected"));
    const std::string summary =
        fmt::format("found {}, expected {}", lineOf(record.find("actual")), lineOf(record.find("expected")));
    cases += fmt::format(R"(><failure type="rule" message="{}">expected  {}&#10;actual    {}</failure></testcase>)",
                         xml(shortened(summary, kMessageWidth)), xml(expected), xml(actual));
    cases += '\n';
  }

  void error(std::string_view name, std::string_view type, std::string_view why) {
    open(name);
    ++errors;
    cases += fmt::format(R"(><error type="{}" message="{}">{}</error></testcase>)", type,
                         xml(shortened(visible(why), kMessageWidth)), xml(why));
    cases += '\n';
  }

  void property(std::string_view name, std::string_view value) {
    properties += fmt::format("      <property name=\"{}\" value=\"{}\"/>\n", xml(name), xml(value));
  }

  [[nodiscard]] std::string text(std::string_view name) const {
    std::string text =
        fmt::format("  <testsuite name=\"{}\" tests=\"{}\" failures=\"{}\" errors=\"{}\" skipped=\"0\" time=\"0\">\n",
                    xml(name), tests, failures, errors);
    if (!properties.empty()) text += "    <properties>\n" + properties + "    </properties>\n";
    return text + cases + "  </testsuite>\n";
  }
};

/// Servers group by part number and device: a class is "package.name", cut at full stops.
std::string classNameOf(const DeviceResult& result) {
  std::string part = descriptionOf(&result.attributes, "ModelNumber", "device");
  std::string device = description(&result.id);
  std::ranges::replace(part, '.', '_');
  std::ranges::replace(device, '.', '_');
  return xml(part) + "." + xml(device);
}

void addProperties(Suite& suite, const DeviceResult& result) {
  for (const std::string_view key : {"SerialNumber", "ModelNumber", "RegionInfo"}) {
    if (const Value* const value = result.attributes.find(key)) suite.property(key, description(value));
  }
  const std::size_t versions = versionRecords(result.outcome);
  for (std::size_t i = 0; i < versions; ++i) {
    const Dictionary* const record = result.outcome.records->at(i).ifDictionary();
    suite.property(descriptionOf(record, "rule", ""), descriptionOf(record, "actual", ""));
  }
  for (const auto [key, value] : result.outcome.station)
    suite.property("station " + std::string(key), description(&value));
}

void addRecords(Suite& suite, const DeviceResult& result) {
  const Array& records = *result.outcome.records;
  for (std::size_t i = versionRecords(result.outcome); i < records.size(); ++i) {
    const Dictionary* const record = records.at(i).ifDictionary();
    const std::string rule = descriptionOf(record, "rule", "");
    if (passed(records.at(i))) {
      suite.pass(rule);
    } else {
      suite.fail(rule, *record);
    }
  }
}

std::string suiteOf(const DeviceResult& result) {
  Suite suite;
  suite.className = classNameOf(result);
  addProperties(suite, result);
  switch (result.status) {
    case ExitStatus::kUnusable:
      suite.error("input", "input error", result.inputError);
      break;
    case ExitStatus::kFault:
      suite.error(result.outcome.rule.value_or("check run"), "fault", whyNoVerdict(result.outcome));
      break;
    case ExitStatus::kNoVerdict:
      suite.error(result.outcome.rule.value_or("check run"), "no verdict", whyNoVerdict(result.outcome));
      break;
    default:
      addRecords(suite, result);
  }
  return suite.text(description(&result.id));
}

class JunitWriter : public ResultWriter {
 public:
  [[nodiscard]] std::string begin() const override { return std::string(kBegin); }
  void add(std::string& out, std::size_t /*line*/, const DeviceResult& result) override { out += suiteOf(result); }
  std::string end(const BatchEnd& end) override {
    if (end.whyEarly.empty()) return std::string(kEnd);
    Suite rest;
    rest.className = "batch";
    rest.error("end of the input", "input error", end.whyEarly);
    return rest.text("batch").append(kEnd);
  }
};

}  // namespace

std::unique_ptr<ResultWriter> makeJunitWriter() { return std::make_unique<JunitWriter>(); }

std::string junitReport(const DeviceResult& result) { return std::string(kBegin).append(suiteOf(result)).append(kEnd); }

}  // namespace tavik::tool
