// Results as JUnit XML for CI servers: one test suite per device, one test case per rule. A failed rule is a failure; a
// fault, a run without a verdict and an unusable line are errors.

#include <fmt/format.h>

#include "check/Provenance.h"
#include "reports/FailureText.h"
#include "reports/JunitSuite.h"
#include "reports/Report.h"

namespace tavik::tool {
namespace {

std::string descriptionOf(const Dictionary* dictionary, std::string_view key, std::string_view otherwise) {
  const Value* const value = dictionary == nullptr ? nullptr : dictionary->find(key);
  return value == nullptr ? std::string(otherwise) : description(value);
}

/// One class per device, in the package of its part number.
std::string classNameOf(const DeviceResult& result) {
  const std::string part = descriptionOf(&result.attributes, "ModelNumber", "device");
  return JunitSuite::classNamePart(part) + "." + JunitSuite::classNamePart(description(&result.id));
}

void addProperties(JunitSuite& suite, const DeviceResult& result, const RuleContents& documents) {
  for (const std::string_view key : {"SerialNumber", "ModelNumber", "RegionInfo"}) {
    if (const Value* const value = result.attributes.find(key)) suite.property(key, description(value));
  }
  for (const Value& record : versionRecords(result.outcome)) {
    suite.property(descriptionOf(record.ifDictionary(), "rule", ""),
                   descriptionOf(record.ifDictionary(), "actual", ""));
  }
  for (const auto [key, value] : result.outcome.station)
    suite.property("station " + std::string(key), description(&value));
  suite.property("signatures", documents.signatures());
  for (const auto& [name, text] : propertiesOf(*documents.provenance)) suite.property(name, text);
  for (const std::string& note : result.aboutDevice()) suite.property("note", note);
}

void addFailure(JunitSuite& suite, std::string_view rule, const Dictionary& record, const RuleNote* note) {
  const Value* const actual = record.find("actual");
  const Value* const expected = record.find("expected");
  std::string details = fmt::format("expected  {}\nactual    {}", description(expected), description(actual));
  for (const std::string& line : noteLines(note, false)) details += "\n" + line;
  suite.fail(rule, "rule", fmt::format("found {}, expected {}", lineOf(actual), lineOf(expected)), details);
}

void addRecords(JunitSuite& suite, const DeviceResult& result) {
  const std::span<const Value> records = result.outcome.ruleRecords();
  for (std::size_t i = 0; i < records.size(); ++i) {
    const std::string rule = descriptionOf(records[i].ifDictionary(), "rule", "");
    if (passed(records[i])) {
      suite.pass(rule, fmt::format("{}", fmt::join(noteLines(result.noteOn(i), true), "\n")));
    } else {
      addFailure(suite, rule, *records[i].ifDictionary(), result.noteOn(i));
    }
  }
}

std::string suiteOf(const DeviceResult& result, const RuleContents& documents) {
  JunitSuite suite(classNameOf(result));
  addProperties(suite, result, documents);
  if (const std::optional<Reason>& reason = result.outcome.reason) {
    suite.error(reason->rule.value_or("check run"), result.outcome.fault ? "fault" : "no verdict", reason->text());
  } else if (!result.inputError.empty()) {
    suite.error("input", "input error", result.inputError);
  }
  addRecords(suite, result);
  return suite.text(description(&result.id));
}

class JunitWriter : public ResultWriter {
 public:
  explicit JunitWriter(const RuleContents& documents) : documents_(documents) {}
  [[nodiscard]] std::string begin() const override { return std::string(kJunitBegin); }
  void add(std::string& out, std::size_t /*line*/, const DeviceResult& result) override {
    out += suiteOf(result, documents_);
  }
  std::string end(const BatchEnd& end) override {
    if (end.whyEarly.empty()) return std::string(kJunitEnd);
    JunitSuite rest("batch");
    rest.error("end of the input", "input error", end.whyEarly);
    return rest.text("batch").append(kJunitEnd);
  }

 private:
  RuleContents documents_;
};

}  // namespace

std::unique_ptr<ResultWriter> makeJunitWriter(const RuleContents& documents) {
  return std::make_unique<JunitWriter>(documents);
}

std::string junitReport(const DeviceResult& result, const RuleContents& documents) {
  return std::string(kJunitBegin).append(suiteOf(result, documents)).append(kJunitEnd);
}

}  // namespace tavik::tool
