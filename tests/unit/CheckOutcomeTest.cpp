// Outcomes of check runs, reasons why a kernel cannot be created, and step-by-step evaluation of rules.

#include "support/Cases.h"
#include "support/TestSupport.h"

namespace tavik {
namespace {

constexpr std::string_view kLibrary = R"({
  version = 7;
  Model = { attribute = m; predicate = hasPrefix; value = MX; };
  Code = { attribute = m; predicate = MPNCCCCheck; value = abc; };
  Broken = { attribute = m; predicate = "a XOR b"; };
  First = { attribute = m; predicate = equal; references = (); };
  Forward = { attribute = m; predicate = sendStaticAttribute; value = { OnPass = bay; }; };
  "Device Rules" = { attribute = m; predicate = "NOT hasPrefix"; value = MX; };
})";

// "none, fault in Code: DESCRIPTION; station", or "passed 2; station": the verdict with the number of rule records.
std::string lineOf(const CheckOutcome& outcome) {
  constexpr const char* kVerdicts[] = {"passed", "failed", "none"};
  std::string line = kVerdicts[static_cast<std::size_t>(outcome.verdict)];
  line += outcome.ruleRecords().empty() ? "" : " " + std::to_string(outcome.ruleRecords().size());
  if (outcome.reason) {
    line += ", " + std::string(outcome.reason->word());
    if (outcome.reason->rule) line += " in " + *outcome.reason->rule;
    line += ": " + outcome.reason->description;
  }
  if (outcome.fault) line += " (" + std::string(outcome.fault->word()) + ")";
  if (outcome.error) line += " (" + std::to_string(outcome.error->code()) + ")";
  for (const auto [key, value] : outcome.station) line += "; " + std::string(key) + "=" + description(&value);
  return line;
}

TEST(CheckOutcomeTest, VerdictsAndReasons) {
  const auto kernel = kernelWith(kLibrary, std::make_shared<TestPlatform>());
  for (const Case& c : casesIn("outcomes.json")) {
    SCOPED_TRACE(c["outcome"]);
    const auto rules = c.has("rules") ? std::optional(parsedDictionary(c["rules"])) : std::nullopt;
    const Dictionary* given = rules ? &*rules : nullptr;
    const Dictionary device = parsedDictionary(c["device"]);
    const Dictionary station{{"before", "x"}};
    const CheckOutcome outcome = kernel->run(device, given, nullptr, station);
    EXPECT_EQ(lineOf(outcome), c["outcome"]);
    const auto prepared = kernel->prepare(given);
    EXPECT_EQ(lineOf(prepared->run(device, nullptr, station)), c["outcome"]);
    EXPECT_EQ(prepared->rejection() != nullptr, outcome.records && outcome.records->size() == 1);
  }
}

TEST(CheckOutcomeTest, ReasonsForNoKernel) {
  struct Case {
    std::string library;
    const char* reason;
    const char* logged;  // if read from a file
  };
  const Case cases[] = {
      {"{ version = 1; }", "", ""},
      {"{ untrusted = \"another key\"; }", "not trusted: another key",
       "!!!ERROR can not validate Rule Library!!!:another key"},
      {"{}", "empty: the document is empty", ""},
      {"( list )", "unreadable: the rule library is not a dictionary", "!!!ERROR no rules at path!!!:"},
      {"{ a = ", "unreadable: line 1, column 7: ", "!!!ERROR no rules at path!!!:"},
      {"{}" + std::string(kLargestRuleDocument, ' '), "unreadable: the rule library is larger than 64 MiB",
       "!!!ERROR no rules at path!!!:"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.library.substr(0, 40));
    const TemporaryFile file(c.library);
    for (const bool fromFile : {true, false}) {
      const auto platform = std::make_shared<TestPlatform>();
      Reason why;
      const auto kernel = fromFile ? ZRTTavikKernel::init(file.path(), platform, why)
                                   : ZRTTavikKernel::init(bytesOf(c.library), platform, why);
      EXPECT_EQ(kernel != nullptr, *c.reason == '\0');
      EXPECT_THAT(kernel ? "" : std::string(why.word()) + ": " + why.text(), testing::StartsWith(c.reason));
      const bool isLogged = *c.logged != '\0' && (fromFile || c.library.starts_with("{ untrusted"));
      ASSERT_EQ(platform->lines.size(), isLogged ? 1 : 0);
      EXPECT_THAT(isLogged ? platform->lines.front() : "", testing::StartsWith(isLogged ? c.logged : ""));
    }
  }
  const auto platform = std::make_shared<TestPlatform>();
  EXPECT_EQ(ZRTTavikKernel::init("/no/such/\xff", platform), nullptr);
  EXPECT_THAT(platform->lines, testing::ElementsAre("!!!ERROR no rules at path!!!:/no/such/\uFFFD"));
  EXPECT_THROW(ZRTTavikKernel::init("/no/such/file", nullptr), std::invalid_argument);
}

// "m=MX1 | gui:x=- | value 5 | AND hasPrefix:pass isUppercase:? | RECORD".
std::string lineOf(const RuleEvaluation& evaluation) {
  const auto shown = [](const RuleEvaluation::Operand& operand) {
    return (operand.source ? *operand.source + ":" : "") + operand.name.value_or("?") + "=" +
           (operand.value ? description(&*operand.value) : "-");
  };
  std::string line = (evaluation.wantsAbsence ? "absent " : "") + shown(evaluation.attribute);
  for (const auto& reference : evaluation.references) line += " | " + shown(reference);
  if (evaluation.value) line += " | value " + description(&*evaluation.value);
  line += evaluation.firstReferenceIsValue ? " (first reference) |" : " |";
  line += PredicateExpression::word(evaluation.combination);
  for (const auto& call : evaluation.calls) {
    const Dictionary* record = call.record ? call.record->ifDictionary() : nullptr;
    line += " " + call.operation() + (call.isKnown ? "" : "?");
    if (record != nullptr) line += booleanValue(record->find("result")) ? " pass" : " FAIL";
  }
  if (evaluation.record) line += " | " + lineOf(*evaluation.record->ifDictionary());
  if (evaluation.error) line += " | error " + std::to_string(evaluation.error->code());
  if (evaluation.fault) line += " | " + evaluation.fault->message;
  return line;
}

TEST(RuleEvaluationTest, OperandsCallsAndRecord) {
  const auto platform = std::make_shared<TestPlatform>();
  const Dictionary device = parsedDictionary("{ m = MX1; }");
  const Dictionary sources = parsedDictionary("{ sfc = { p = MX; }; }");
  for (const Case& c : casesIn("evaluations.json")) {
    SCOPED_TRACE(c["steps"]);
    const Dictionary library{{"version", "1"}, {c["name"], parsed(c["definition"])}};
    const Dictionary local{{"version", "1"}, {"GenericRules", Dictionary{{c["name"], Dictionary()}}}};
    Reason why;
    const auto kernel = ZRTTavikKernel::init(library, platform, why);
    const RuleOrigins origins(library, local);
    std::optional<Error> error;
    const auto rules = origins.of(nullptr, nullptr, error)->rules;
    const RuleEvaluation evaluation = RuleEvaluator(*kernel, device, sources).evaluate(rules.front());
    EXPECT_EQ(lineOf(evaluation), c["steps"]);
  }
}

TEST(PredicateExpressionTest, EquivalentExpressionsHaveTheSameText) {
  constexpr std::pair<const char*, const char*> kTexts[] = {
      {"equal", "equal"},
      {"not equal", "NOT equal"},
      {"a aNd b", "a AND b"},
      {"a or b", "a OR b"},
      {"", ""},
      {"not ", "NOT "},
      {"a b", ""},
      {"a  b", ""},
  };
  for (const auto& [text, canonical] : kTexts) EXPECT_EQ(PredicateExpression::parse(text).text(), canonical) << text;
}

}  // namespace
}  // namespace tavik
