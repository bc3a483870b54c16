// The kernel: errors, records, predicate trees, assembly of device rules, logging.

#include "support/Cases.h"
#include "support/TestSupport.h"

namespace tavik {
namespace {

using testing::ElementsAre;

TEST(KernelTest, VersionData) {
  EXPECT_STREQ(TavikKernelVersionString, "@(#)PROGRAM:TavikKernel  PROJECT:KWMX-3.19\n");
  EXPECT_EQ(TavikKernelVersionNumber, 3.19);
}

TEST(KernelTest, PublicHelpers) {
  const Value imei("IMEI");
  const Value code("DE67");
  EXPECT_EQ(lineOf(ZRTTavikKernel::buildResult(true, &code, &imei)), "(null): pass, DE67, IMEI");
  EXPECT_EQ(lineOf(ZRTTavikKernel::checkNotExist({{"IMEI", "1"}}, &imei)),
            "(null): FAIL, attribute IMEI exists, no attribute IMEI");
  const Array list = Array::of(1, "x", Data{0xAB});
  EXPECT_EQ(ZRTTavikKernel::arrayToString(&list, ", or "), "1, or x, or <ab>");
  EXPECT_EQ(ZRTTavikKernel::arrayToString(nullptr, ","), "");
  const Value info("card 4330 vendor=0x02d0");
  const Value vendors(Dictionary{{"0x02d0", Array::of("BCD", "DE67")}});
  EXPECT_EQ(lineOf(ZRTTavikKernel::checkWifiVendorAgainstBoardConfig(&info, nullptr, &vendors, &code)),
            "(null): pass, DE67, one of BCD,DE67");
  EXPECT_EQ(lineOf(ZRTTavikKernel::checkWifiVendorAgainstBoardConfig(&info, nullptr, &vendors, nullptr)),
            "(null): FAIL, (null), one of BCD,DE67");
}

// A reference parser: the tree as text, or the error code.
std::string expectedTree(const std::string& expression) {
  std::vector<std::string> words(1);
  for (const char c : expression) c == ' ' ? words.emplace_back() : words.back() += c;
  const auto is = [&](std::size_t index, std::string word) {
    std::string upper;
    for (const char c : words[index]) upper += static_cast<char>(toupper(c));
    return upper == word;
  };
  if (words.size() == 1) return "SELECT(" + words[0] + ")";
  if (words.size() == 2) return is(0, "NOT") ? "NOT(" + words[1] + ")" : "-100006";
  if (words.size() == 3 && is(1, "AND")) return "AND(" + words[0] + "," + words[2] + ")";
  if (words.size() == 3 && is(1, "OR")) return "OR(" + words[0] + "," + words[2] + ")";
  return words.size() == 3 ? "-100006" : "-100007";
}

std::string treeOf(const std::string& expression, const PredicateKernel& kernel) {
  std::optional<Error> error;
  const auto tree = AbstractTreeNode::parsePredicateString(expression, kernel, error);
  if (tree == nullptr) {
    EXPECT_EQ(error->localizedDescription(), "invalid logical operator:" + expression);
    return std::to_string(error->code());
  }
  EXPECT_FALSE(error);
  std::string name = "SELECT";
  if (dynamic_cast<NotTreeNode*>(tree.get()) != nullptr) name = "NOT";
  if (dynamic_cast<AndTreeNode*>(tree.get()) != nullptr) name = "AND";
  if (dynamic_cast<OrTreeNode*>(tree.get()) != nullptr) name = "OR";
  return name + "(" + ZRTTavikKernel::arrayToString(&tree->children(), ",") + ")";
}

TEST(TreeTest, AllShortExpressions) {
  const PredicateKernel kernel(std::make_shared<TestPlatform>());
  const std::string words[] = {"NOT", "not", "AND", "and", "oR", "xor", "", "a", "b"};
  std::vector<std::string> expressions(std::begin(words), std::end(words));
  for (std::size_t done = 0, length = 1; length < 4; ++length) {
    const std::size_t end = expressions.size();
    for (; done < end; ++done) {
      for (const std::string& word : words) expressions.push_back(expressions[done] + " " + word);
    }
  }
  for (const std::string& expression : expressions) EXPECT_EQ(treeOf(expression, kernel), expectedTree(expression));
  std::optional<Error> error;
  EXPECT_EQ(AbstractTreeNode::parsePredicateString(std::nullopt, kernel, error), nullptr);
  EXPECT_EQ(error->code(), -100007);
  EXPECT_EQ(AbstractTreeNode::parsePredicateString("\xDE \xF0", kernel, error), nullptr) << "not UTF-8";
  EXPECT_EQ(error->localizedDescription(), "invalid logical operator:\uFFFD \uFFFD");
  const Value attribute("x");
  EXPECT_FALSE(AbstractTreeNode(kernel).process(&attribute, nullptr, nullptr));
}

constexpr std::string_view kLibrary = R"({
  version = 7;
  A = { attribute = a; value = "library A"; };
  B = { attribute = b; };
  Strange = notADefinition;
})";

// The assembled rules as "NAME=VALUE", or "NAME" without a value; or the error.
std::string assembled(std::string_view local, std::string_view device) {
  const auto kernel = kernelWith(kLibrary, std::make_shared<TestPlatform>());
  std::optional<Error> error;
  const auto rules = kernel->makeDeviceRules(parsedDictionary(local), parsedDictionary(device), error);
  if (!rules) return std::to_string(error->code()) + " " + std::string(error->localizedDescription());
  EXPECT_FALSE(error);
  std::string text;
  for (const auto [name, rule] : *rules) {
    const Value* value = rule.ifDictionary()->find("value");
    text += (text.empty() ? "" : " ") + std::string(name) + (value == nullptr ? "" : "=" + description(value));
  }
  return text;
}

TEST(DeviceRulesTest, PrecedenceOfLayers) {
  for (const Case& c : casesIn("device-rules.json")) {
    EXPECT_EQ(assembled(c["local"], c["device"]), c["rules"]) << c["why"];
  }
}

TEST(DeviceRulesTest, LogsEachRule) {
  auto platform = std::make_shared<TestPlatform>();
  const auto kernel = kernelWith(kLibrary, platform);
  std::optional<Error> error;
  const auto local = parsedDictionary(
      "{ GenericRules = { ARuleSet = {}; }; RuleSets = { ARuleSet = { A = { value = mine; }; B = {}; }; }; }");
  ASSERT_TRUE(kernel->makeDeviceRules(local, {}, error));
  EXPECT_THAT(platform->lines, ElementsAre("making local rule A", "making local rule B"));
  platform->lines.clear();
  EXPECT_FALSE(kernel->makeDeviceRules(parsedDictionary("{ MPNRules = {}; }"), {}, error));
  EXPECT_THAT(platform->lines, ElementsAre("*******ERROR:unknown MPN:(null)*******"));
}

// A host can derive nodes that do not combine certain records.
template <class Node>
class Strict : public Node {
 public:
  using Node::Node;
  bool isInvalidSelector(const Dictionary& record) const override {
    return record.findString("expected") == "valid predicate name";
  }
};

TEST(KernelTest, DerivedNodesDecideWhichRecordsAreCombined) {
  const PredicateKernel kernel(std::make_shared<TestPlatform>());
  const Value attribute("A");
  const auto line = [&](const AbstractTreeNode& node) { return lineOf(*node.process(&attribute, nullptr, nullptr)); };
  EXPECT_EQ(line(Strict<NotTreeNode>(kernel, "isUppercase")), "(null): FAIL, A, not A");
  for (const char* other : {"isUppercase", "unknown"}) {
    const std::string unknown = "(null): FAIL, unknown predicate unknown:value:, valid predicate name";
    EXPECT_EQ(line(Strict<NotTreeNode>(kernel, "unknown")), unknown);
    EXPECT_EQ(line(Strict<AndTreeNode>(kernel, "unknown", other)), unknown);
    EXPECT_EQ(line(Strict<AndTreeNode>(kernel, other, "unknown")), unknown);
    EXPECT_EQ(line(Strict<OrTreeNode>(kernel, "unknown", other)), unknown);
    EXPECT_EQ(line(Strict<OrTreeNode>(kernel, other, "unknown")), unknown);
  }
}

TEST(KernelTest, TheDefaultLogIsStandardError) {
  class Silent : public Platform {
    std::optional<Value> validatedPropertyListFromSignedDictionary(const Dictionary&, const std::string&,
                                                                   std::optional<std::string>&) const override {
      return std::nullopt;
    }
  };
  testing::internal::CaptureStderr();
  static_cast<void>(PredicateKernel(std::make_shared<Silent>()).handleError(-100006, "a message"));
  Silent().log("caf\u00e9 \x1b[2J\t\r\x7f\u009b\u2028\u202e\xe2\x80 \\\n2026-11-21 01:02:03.456 a second line\n");
  EXPECT_THAT(
      testing::internal::GetCapturedStderr(),
      testing::AllOf(testing::ContainsRegex("^20..-..-.. ..:..:..\\.... KernelTest: \\*+ERROR:a message\\*+\n20"),
                     testing::EndsWith("KernelTest: caf\u00e9 \\x1b[2J\\t\\r\\x7f\\u009b\\u2028\\u202e\\xe2\\x80 \\\n"
                                       "    2026-11-21 01:02:03.456 a second line\n    \n")));
}

// The public steps of the assembly.
TEST(KernelTest, StepsOfAssembly) {
  const auto kernel = kernelWith("{ version = 1; }", std::make_shared<TestPlatform>());
  const Dictionary rules = parsedDictionary(R"({
    MPNRules = { M = { A = { value = 1; }; RegionRules = { LL = { B = {}; A = { value = 2; }; }; Z = {}; }; C = {}; }; };
    RuleSets = { XRuleSet = { D = {}; A = { value = 3; }; }; };
  })");
  for (const Case& c : casesIn("assembly-steps.json")) {
    std::optional<Error> error;
    std::optional<Dictionary> entries;
    if (c.has("before")) {
      entries = parsedDictionary(c["before"]);
      EXPECT_EQ(kernel->expandRuleSets(rules, *entries, error), !c.has("error"));
    } else {
      entries = kernel->makeMPNRCRules(c.entries.find("partNumber"), c.entries.find("region"), rules, error);
    }
    const Value found = entries ? Value(*entries) : Value("absent");
    const Value expected = c.has("entries") ? parsed(c["entries"]) : Value("absent");
    EXPECT_EQ(description(&found), description(&expected));
    EXPECT_EQ(error ? error->localizedDescription() : "", c["error"]);
  }
  std::optional<Error> error;
  EXPECT_EQ(kernel->makeMPNRCRules(nullptr, nullptr, {}, error), Dictionary());
  EXPECT_FALSE(error);
}

}  // namespace
}  // namespace tavik
