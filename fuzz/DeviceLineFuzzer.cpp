// Lines of a batch. Every line gives exactly one line of JSON with the device's ID, and the same line when repeated.

#include <tavik/TavikKernel.h>

#include <cstdlib>

#include "CheckAgreement.h"

namespace {

using namespace tavik;

void require(bool condition) {
  if (!condition) std::abort();
}

Dictionary rule(std::string_view attribute, std::string_view predicate, Value value) {
  return {{"attribute", attribute}, {"predicate", predicate}, {"value", std::move(value)}};
}

std::unique_ptr<const PreparedRules> preparedRules() {
  const Dictionary library{{"version", "1"},
                           {"Text", rule("a", "hasPrefix", "x")},
                           {"List", rule("SysCfgData.COLR", "valueInList", Array::of("x", 1))},
                           {"Station", rule("a", "sendStaticAttribute", Dictionary{{"OnPass", "x"}})},
                           {"Range", rule("c", "MPN4CCheck", "x")}};
  Dictionary entries;
  for (const auto [name, definition] : library) {
    if (name != "version") entries.set(name, Dictionary());
  }
  const Dictionary rules{{"version", "1"}, {"MPNRules", Dictionary{{"p", Dictionary()}}}, {"GenericRules", entries}};
  const auto platform = std::make_shared<RecordingPlatform>();
  platform->keepsLog = false;
  Reason why;
  return ZRTTavikKernel::init(library, platform, why)->prepare(&rules);
}

std::string jsonOf(const Value& value) {
  std::string error;
  return writeJson(value, error).value();
}

std::string resultOf(const PreparedRules& rules, std::string_view line) {
  const LineResult result = checkLine(rules, line, 1);
  require(result.inputError.empty() || result.outcome.verdict == Verdict::kNone);
  std::string text;
  require(appendJsonLine(text, result));
  require(text.find('\n') == text.size() - 1);
  require(result.inputError.empty() || readJsonMember(text, "input_error") == Value(result.inputError));
  const auto id = readJsonMember(text, "id");
  require(id && jsonOf(*id) == jsonOf(result.id));  // NaN is not equal to itself, but its text is
  return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const auto kRules = preparedRules();
  const std::string line(reinterpret_cast<const char*>(data), size);
  require(resultOf(*kRules, line) == resultOf(*kRules, line));
  return 0;
}
