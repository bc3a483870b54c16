#include "test/CaseFile.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <initializer_list>
#include <map>
#include <set>
#include <span>
#include <string_view>
#include <utility>

#include "ExitStatus.h"
#include "io/ArgumentName.h"
#include "io/Encoding.h"
#include "io/Inputs.h"
#include "test/Device.h"
#include "text/NearestName.h"
#include "text/Text.h"

namespace tavik::tool {
namespace {

/// The file being read, for the locations in messages.
struct Source {
  std::string name;
  Value content;
  ValueLocations locations;
};

/// A key as it appears in a path.
std::string keyInPath(std::string_view key) {
  constexpr std::size_t kLongest = 40;
  const bool isPlain = !key.empty() && key.size() <= kLongest && std::ranges::all_of(key, [](char c) {
    return c == '-' || c == '_' || (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
  });
  return isPlain ? std::string(key) : "\"" + shortened(visible(key), kLongest) + "\"";
}

/// A value of a case file that knows its path: "cases[2].name".
class Node {
 public:
  explicit Node(const Source& source) : Node(source, source.content, "") {}

  [[noreturn]] void refuse(const std::string& why) const {
    std::string place;
    const ValueLocation* const location = findLocation(source_->content, source_->locations, *value_);
    if (location != nullptr) place += ": " + location->value.text();
    if (!path_.empty()) place += fmt::format("{}({})", location != nullptr ? " " : ": ", path_);
    throw Unusable(source_->name + place + ": " + why);
  }

  [[nodiscard]] const Value& value() const { return *value_; }
  [[nodiscard]] bool isText() const { return value_->isString(); }

  [[nodiscard]] std::string text() const {
    if (!isText() || value_->ifString()->empty()) refuse("expected a nonempty string");
    return std::string(*value_->ifString());
  }

  [[nodiscard]] bool flag() const {
    const std::optional<bool> flag = value_->ifBoolean();
    if (!flag) refuse("expected true or false");
    return *flag;
  }

  /// One of the given words, as its position.
  [[nodiscard]] std::size_t choice(std::initializer_list<std::string_view> words) const {
    const auto* const found = std::ranges::find(words, value_->ifString().value_or(""));
    if (found == words.end()) refuse(fmt::format("expected one of \"{}\"", fmt::join(words, "\", \"")));
    return static_cast<std::size_t>(found - words.begin());
  }

  [[nodiscard]] const Dictionary& object() const {
    if (value_->ifDictionary() == nullptr) refuse("is not an object");
    return *value_->ifDictionary();
  }

  /// An object with no keys other than these.
  [[nodiscard]] const Dictionary& object(std::span<const std::string_view> known) const {
    for (const auto [key, value] : object()) {
      if (std::ranges::find(known, key) != known.end()) continue;
      child(key, value).refuse("unknown key" + didYouMean(key, known));
    }
    return object();
  }

  /// An object with at least one of these keys.
  [[nodiscard]] const Dictionary& someOf(std::span<const std::string_view> known) const {
    if (object(known).empty()) refuse(fmt::format("expected at least one of \"{}\"", fmt::join(known, "\", \"")));
    return object();
  }

  [[nodiscard]] std::optional<Node> find(std::string_view key) const {
    const Value* const member = object().find(key);
    return member == nullptr ? std::nullopt : std::optional(child(key, *member));
  }

  [[nodiscard]] Node at(std::string_view key) const {
    const std::optional<Node> member = find(key);
    if (!member) refuse(fmt::format("\"{}\" is missing", key));
    return *member;
  }

  [[nodiscard]] std::vector<std::pair<std::string, Node>> members() const {
    std::vector<std::pair<std::string, Node>> members;
    for (const auto [key, value] : object()) members.emplace_back(key, child(key, value));
    return members;
  }

  [[nodiscard]] std::vector<Node> elements() const {
    const Array* const array = value_->ifArray();
    if (array == nullptr) refuse("is not an array");
    std::vector<Node> elements;
    for (std::size_t i = 0; i < array->size(); ++i) {
      elements.push_back(Node(*source_, array->at(i), fmt::format("{}[{}]", path_, i)));
    }
    return elements;
  }

 private:
  Node(const Source& source, const Value& value, std::string path)
      : source_(&source), value_(&value), path_(std::move(path)) {}

  [[nodiscard]] Node child(std::string_view key, const Value& value) const {
    return {*source_, value, path_ + (path_.empty() ? "" : ".") + keyInPath(key)};
  }

  const Source* source_;
  const Value* value_;
  std::string path_;
};

constexpr std::string_view kRecordKeys[] = {"result", "actual", "expected", "hideResult", "attributes"};
constexpr std::string_view kFileKeys[] = {"$schema",   "comment",    "library", "rules", "unsigned",
                                          "publicKey", "attributes", "sources", "cases"};
constexpr std::string_view kCaseKeys[] = {"name", "comment", "attributes", "change", "remove", "sources", "expect"};
constexpr std::string_view kExpectKeys[] = {"rules", "others", "station", "error", "fault"};
constexpr std::string_view kErrorKeys[] = {"code", "description"};
constexpr std::string_view kFaultKeys[] = {"kind", "message"};

RuleExpectation readRuleExpectation(const std::string& rule, const Node& node) {
  if (node.isText()) {
    const std::size_t word = node.choice({"pass", "fail", "absent"});
    return {rule, word != 2, word == 2 ? Dictionary() : Dictionary{{"result", Value(word == 0)}}};
  }
  const Dictionary& entries = node.someOf(kRecordKeys);
  if (const std::optional<Node> result = node.find("result")) (void)result->flag();
  return {rule, true, entries};
}

std::vector<RuleExpectation> readRuleExpectations(const Node& node) {
  std::vector<RuleExpectation> expectations;
  for (const auto& [rule, expected] : node.members()) expectations.push_back(readRuleExpectation(rule, expected));
  return expectations;
}

Dictionary readErrorExpectation(const Node& node) {
  const Dictionary& entries = node.someOf(kErrorKeys);
  if (const auto code = node.find("code"); code && !code->value().ifInteger()) code->refuse("is not an integer");
  if (const auto description = node.find("description")) (void)description->text();
  return entries;
}

Dictionary readFaultExpectation(const Node& node) {
  const Dictionary& entries = node.someOf(kFaultKeys);
  if (const auto kind = node.find("kind")) (void)kind->choice({"range", "invalid-argument"});
  if (const auto message = node.find("message")) (void)message->text();
  return entries;
}

Expectation readExpectation(const Node& node) {
  const Dictionary& entries = node.someOf(kExpectKeys);
  Expectation expectation;
  if (const auto error = node.find("error")) expectation.error = readErrorExpectation(*error);
  if (const auto fault = node.find("fault")) expectation.fault = readFaultExpectation(*fault);
  const bool ends = expectation.error || expectation.fault;
  if (ends && entries.size() > 1)
    node.refuse("\"error\" and \"fault\" cannot be combined with other keys: such a run checks no rules");
  if (const auto rules = node.find("rules")) expectation.rules = readRuleExpectations(*rules);
  if (const auto others = node.find("others"))
    expectation.others = static_cast<OtherRules>(others->choice({"pass", "any", "none"}));
  if (const auto station = node.find("station")) expectation.station = station->object();
  return expectation;
}

/// Reads a case file and the files that it names.
class CaseFileReader {
 public:
  CaseFileReader(Inputs& inputs, const std::string& path)
      : inputs_(inputs), folder_(std::filesystem::path(path).parent_path()) {}

  CaseFile read(const Node& root, const std::string& name) {
    (void)root.object(kFileKeys);
    CaseFile file;
    file.name = name;
    file.library = pathAt(root, "library");
    file.rules = pathAt(root, "rules");
    file.publicKey = pathAt(root, "publicKey");
    if (const auto flag = root.find("unsigned")) file.unsignedDocuments = flag->flag();
    if (file.unsignedDocuments && file.publicKey) root.refuse("\"unsigned\" and \"publicKey\" exclude each other");
    file.tests = readTests(root);
    return file;
  }

 private:
  /// A path in the case file, resolved. "-" is a file of that name.
  [[nodiscard]] std::string resolved(const std::string& path) const {
    return (path == "-" && folder_.empty() ? std::filesystem::path("./-") : folder_ / path).string();
  }

  [[nodiscard]] std::optional<std::string> pathAt(const Node& node, std::string_view key) const {
    const std::optional<Node> path = node.find(key);
    return path ? std::optional(resolved(path->text())) : std::nullopt;
  }

  std::vector<RuleTest> readTests(const Node& root) {
    const std::vector<Node> cases = root.at("cases").elements();
    if (cases.empty()) root.at("cases").refuse("has no cases");
    std::vector<RuleTest> tests;
    std::set<std::string> names;
    for (const Node& node : cases) {
      tests.push_back(readTest(root, node));
      if (!names.insert(tests.back().name).second) node.at("name").refuse("another case has this name");
    }
    return tests;
  }

  RuleTest readTest(const Node& root, const Node& node) {
    (void)node.object(kCaseKeys);
    RuleTest test;
    test.name = node.at("name").text();
    const std::optional<Node> own = node.find("attributes");
    test.attributes = readDictionary(own ? *own : attributesOf(root, node));
    if (const auto removed = node.find("remove")) remove(test, *removed);
    if (const auto changed = node.find("change")) change(test, *changed);
    for (const Node& level : {root, node}) {
      if (const auto sources = level.find("sources")) readSources(*sources, test.sources);
    }
    test.expected = readExpectation(node.at("expect"));
    return test;
  }

  static Node attributesOf(const Node& root, const Node& node) {
    const std::optional<Node> common = root.find("attributes");
    if (!common) node.refuse("has no \"attributes\", and neither does the file");
    return *common;
  }

  static void remove(RuleTest& test, const Node& names) {
    for (const Node& name : names.elements()) {
      const std::string text = name.text();
      if (!removeAttribute(test.attributes, text))
        name.refuse("the device has no such attribute" + nearestIn(test.attributes, name));
      test.changed.push_back(text);
    }
  }

  static std::string nearestIn(const Dictionary& attributes, const Node& name) {
    std::vector<std::string_view> known;
    for (const auto [key, value] : attributes) known.push_back(key);
    return didYouMean(name.text(), known);
  }

  /// Fields of packed attributes come last, so that they also apply to a packed attribute that is itself changed.
  static void change(RuleTest& test, const Node& changes) {
    for (const bool fields : {false, true}) {
      for (const auto [key, value] : changes.object()) {
        if (packedAttributeOf(key).empty() == fields) continue;
        setAttribute(test.attributes, key, value);
        test.changed.emplace_back(key);
      }
    }
  }

  /// A case's source replaces the file's source of the same name.
  void readSources(const Node& node, Dictionary& sources) {
    for (const auto& [name, source] : node.members()) sources.set(name, Value(readDictionary(source)));
  }

  /// An inline dictionary, or one in a file, which is read only once.
  Dictionary readDictionary(const Node& node) {
    if (!node.isText()) return node.object();
    const std::string path = resolved(node.text());
    const auto known = dictionaries_.find(path);
    if (known != dictionaries_.end()) return known->second;
    try {
      return dictionaries_[path] = inputs_.dictionary("", path);
    } catch (const Unusable& refusal) {
      node.refuse(refusal.what());
    }
  }

  Inputs& inputs_;
  std::filesystem::path folder_;
  std::map<std::string, Dictionary> dictionaries_;
};

}  // namespace

CaseFile readCaseFile(Inputs& inputs, const std::string& path) {
  return readCaseFile(inputs, path, inputs.bytes("", path));
}

CaseFile readCaseFile(Inputs& inputs, const std::string& path, std::string_view text) {
  Source source{.name = nameOf("", path), .content = {}, .locations = {}};
  source.content = parseValue(source.name, text, source.locations);
  return CaseFileReader(inputs, path).read(Node(source), source.name);
}

}  // namespace tavik::tool
