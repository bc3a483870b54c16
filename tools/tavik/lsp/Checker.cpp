#include "lsp/Checker.h"

#include <fmt/format.h>
#include <sys/eventfd.h>
#include <tavik/Platform.h>

#include <algorithm>
#include <deque>
#include <exception>
#include <unordered_set>
#include <utility>

#include "ExitStatus.h"
#include "io/ArgumentName.h"
#include "io/Bytes.h"
#include "io/Encoding.h"
#include "io/Inputs.h"
#include "lint/LintReport.h"
#include "lint/LintedDocuments.h"
#include "rules/HostPlatform.h"
#include "test/CaseFile.h"
#include "text/NearestName.h"
#include "text/Text.h"

namespace tavik::tool::lsp {
namespace {

using lint::Severity;

/// Reads and removes a word and the number after it: "line 3".
std::optional<std::size_t> takeNumber(std::string_view& text, std::string_view word) {
  if (!text.starts_with(word)) return std::nullopt;
  const std::size_t end = std::min(text.find_first_not_of("0123456789", word.size()), text.size());
  const auto number = numberIn<std::size_t>(text.substr(word.size(), end - word.size()));
  if (number) text.remove_prefix(end);
  return number;
}

/// A message that may begin with a location, which is removed: "line 3, column 9: expected a value".
std::optional<Location> takeLocation(std::string& message) {
  std::string_view rest = message;
  const auto line = takeNumber(rest, "line ");
  const auto column = line ? takeNumber(rest, ", column ") : std::nullopt;
  if (!column) return std::nullopt;
  rest.remove_prefix(std::min(rest.find_first_not_of(": "), rest.size()));
  message = std::string(rest);
  return Location{*line, *column};
}

/// The part of a text that a problem at an offset marks: a key, a string, the word in it to replace, or one character.
Span spanAt(const Outline& outline, std::size_t offset, const std::optional<lint::Suggestion>& suggestion) {
  const OutlineNode* const node = outline.beginningAt(offset);
  if (node == nullptr) {
    const std::size_t end = std::min(outline.text.find_first_of("\r\n", offset), outline.text.size());
    return {offset, std::min(end, offset + 1)};
  }
  const bool isKey = node->hasKey && node->key.whole.begin == offset;
  const bool isContainer = node->kind == OutlineNode::Kind::kDictionary || node->kind == OutlineNode::Kind::kArray;
  if (!isKey && isContainer) return {offset, offset + 1};
  const Span span = isKey ? node->key.content : node->value.content;
  const std::size_t word = suggestion ? span.in(outline.text).find(suggestion->name) : std::string_view::npos;
  if (word == std::string_view::npos) return span;
  return {span.begin + word, span.begin + word + suggestion->name.size()};
}

/// Converts locations of the library's readers in a text.
class Locator {
 public:
  explicit Locator(const SharedText& text)
      : text_(text),
        outline_(*text),
        positions_(*text, Unit::kCodePoint, outline_.format != Format::kJson),
        mark_(text->starts_with(kByteOrderMark) ? 1 : 0) {}

  [[nodiscard]] Span spanOf(const std::optional<Location>& location,
                            const std::optional<lint::Suggestion>& suggestion) const {
    if (!location) return {};
    const std::size_t skipped = location->line == 1 ? mark_ : 0;
    const std::size_t offset = positions_.offsetOf({location->line - 1, location->column - 1 + skipped});
    return spanAt(outline_, offset, suggestion);
  }

 private:
  SharedText text_;
  Outline outline_;
  TextPositions positions_;
  std::size_t mark_;  // columns do not count a byte order mark
};

class ProjectCheck {
 public:
  void add(CheckedDocument& document, const SharedText& text, const Value& content, const ValueLocations& locations) {
    const auto role = document.role == Role::kLibrary ? lint::Document::Role::kLibrary : lint::Document::Role::kRules;
    sources_.emplace_back(&document, text);
    linted_.push_back({role, document.path, content, locations});
  }

  void lint() {
    if (!hasLibrary()) return noteMissingLibrary();
    const lint::LintedDocuments parts(linted_);
    lint::Reporter reporter;
    runChecks(parts, reporter);
    for (const lint::PlacedFinding& placed : placed(std::move(reporter).take(), linted_)) addFinding(placed);
  }

  void checkCases(CheckedDocument& document) {
    const Locator locator(document.text);
    if (!document.path.empty()) {
      Inputs inputs(Inputs::Kinds::kFiles);
      try {
        (void)readCaseFile(inputs, document.path, *document.text);
      } catch (const Unusable& failure) {
        std::string message = failure.what();
        const std::string prefix = nameOf("", document.path) + ": ";
        if (message.starts_with(prefix)) message.erase(0, prefix.size());
        const std::optional<Location> location = takeLocation(message);
        document.problems.push_back({locator.spanOf(location, std::nullopt), Severity::kError, "case-file", message});
      }
    }
    checkRuleNames(document);
  }

 private:
  [[nodiscard]] bool hasLibrary() const {
    return !linted_.empty() && linted_.front().role == lint::Document::Role::kLibrary;
  }

  void noteMissingLibrary() {
    for (const auto& [document, text] : sources_) {
      document->problems.push_back({{},
                                    Severity::kInformation,
                                    "no-library",
                                    "No rule library is known for these local rules, so they are not checked. Name it "
                                    "in tavik-workspace.json."});
    }
  }

  void addFinding(const lint::PlacedFinding& placed) {
    const lint::Finding& finding = placed.finding;
    const auto number = static_cast<std::size_t>(
        std::ranges::find_if(linted_, [&](const auto& document) { return &document == finding.document; }) -
        linted_.begin());
    const auto& [document, text] = sources_[number];
    if (!locators_.contains(number)) locators_.try_emplace(number, text);
    const Span span = locators_.at(number).spanOf(placed.position, finding.suggestion);
    const std::string path = placed.position || finding.path.empty() ? "" : finding.path + ": ";
    document->problems.push_back({text == document->text ? span : TextChange(*text, *document->text).moved(span),
                                  finding.check->severity, std::string(finding.check->name), path + finding.message(),
                                  finding.suggestion});
  }

  /// Finds the names of rules that neither the library nor local rules contain.
  void checkRuleNames(CheckedDocument& cases) {
    if (!hasLibrary()) return;
    if (known_.empty()) collectRuleNames();
    lint::Reporter reporter;
    const Outline outline(*cases.text);
    for (const Name& name : namesIn(outline, Role::kCases)) {
      if (name.kind != NameKind::kRule || inUse_.contains(name.text)) continue;
      const auto nearest = reporter.nearest(name.text, known_);
      cases.problems.push_back(
          {name.token.content, Severity::kWarning, "unknown-rule",
           fmt::format("The rule documents have no rule {}{}", lint::shown(std::string_view(name.text)),
                       nearest ? didYouMean(*nearest) : "."),
           nearest ? std::optional(lint::Suggestion{name.text, std::string(*nearest)}) : std::nullopt});
    }
  }

  /// Includes the names in local rules: a device can get a rule that the library does not define.
  void collectRuleNames() {
    for (const auto [name, definition] : linted_.front().entries()) {
      known_.push_back(name);
      inUse_.emplace(name);
    }
    for (const auto& [document, text] : sources_) {
      if (document->role != Role::kRules) continue;
      const Outline outline(*document->text);
      for (Name& name : namesIn(outline, Role::kRules)) {
        if (name.kind == NameKind::kRule) inUse_.insert(std::move(name.text));
      }
    }
  }

  std::deque<lint::Document> linted_;
  std::vector<std::pair<CheckedDocument*, SharedText>>
      sources_;  // of the linted documents, with the texts that were read
  std::map<std::size_t, Locator> locators_;
  std::vector<std::string_view> known_;    // rules of the library
  std::unordered_set<std::string> inUse_;  // and of local rules
};

}  // namespace

std::vector<CheckedDocument> Checker::check(std::vector<CheckedDocument> documents) {
  ProjectCheck project;
  for (CheckedDocument& document : documents) {
    if (document.role != Role::kLibrary && document.role != Role::kRules) continue;
    const Readable* const readable = read(document);
    if (readable != nullptr) project.add(document, readable->text, readable->content, readable->locations);
  }
  project.lint();
  for (CheckedDocument& document : documents) {
    if (document.role == Role::kCases) project.checkCases(document);
  }
  return documents;
}

/// Returns null if no text of the document could be read.
const Checker::Readable* Checker::read(CheckedDocument& document) {
  const auto last = lastReadable_.find(document.uri);
  if (last != lastReadable_.end() && last->second.text == document.text) return &last->second;
  std::string message;
  std::optional<Location> location;
  try {
    if (document.text->size() > kLargestRuleDocument) throw Unusable("is larger than 64 MiB");
    ValueLocations locations;
    const Value value = parseValue("", *document.text, locations);
    std::optional<Value> content = unwrapped(value);
    if (content && content->ifDictionary() != nullptr) {
      if (isSigned(*value.ifDictionary())) locations.clear();  // they refer to the signed form
      return &(lastReadable_[document.uri] = {document.text, *std::move(content), std::move(locations)});
    }
    message = "is not a dictionary";
  } catch (const Unusable& failure) {
    message = failure.what();
    if (message.starts_with(": ")) message.erase(0, 2);
    location = takeLocation(message);
  }
  document.problems.push_back(
      {Locator(document.text).spanOf(location, std::nullopt), Severity::kError, "syntax", message});
  return last == lastReadable_.end() ? nullptr : &last->second;
}

CheckThread::CheckThread() : event_(eventfd(0, EFD_CLOEXEC)), thread_([this] { run(); }) {}

CheckThread::~CheckThread() {
  {
    const std::lock_guard lock(mutex_);
    isEnding_ = true;
  }
  changed_.notify_one();
  thread_.join();
}

void CheckThread::start(std::vector<CheckedDocument> documents) {
  {
    const std::lock_guard lock(mutex_);
    input_ = std::move(documents);
  }
  isBusy_ = true;
  changed_.notify_one();
}

std::vector<CheckedDocument> CheckThread::take() {
  eventfd_t count = 0;
  eventfd_read(event_.number(), &count);
  isBusy_ = false;
  const std::lock_guard lock(mutex_);
  return *std::exchange(output_, std::nullopt);
}

void CheckThread::run() {
  Checker checker;
  std::unique_lock lock(mutex_);
  while (true) {
    changed_.wait(lock, [&] { return isEnding_ || input_; });
    if (isEnding_) return;
    std::vector<CheckedDocument> documents = *std::exchange(input_, std::nullopt);
    lock.unlock();
    try {
      documents = checker.check(std::move(documents));
    } catch (const std::exception&) {  // out of memory: these documents keep their last problems
      documents.clear();
    }
    lock.lock();
    output_ = std::move(documents);
    eventfd_write(event_.number(), 1);
  }
}

}  // namespace tavik::tool::lsp
