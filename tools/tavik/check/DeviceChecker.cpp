#include "check/DeviceChecker.h"

#include <fmt/format.h>
#include <tavik/Json.h>

#include <algorithm>
#include <cstdint>
#include <new>
#include <string>
#include <string_view>
#include <utility>

#include "check/Outcome.h"
#include "text/Text.h"

namespace tavik::tool {
namespace {

constexpr std::string_view kId = "id";
constexpr std::string_view kAttributes = "attributes";
constexpr std::string_view kSources = "sources";
constexpr std::size_t kLargestResult = std::size_t{64} << 20;

std::string whyUnusableSources(const Value& sources) {
  if (sources.ifDictionary() == nullptr) return R"("sources" is not an object)";
  for (const auto [name, source] : *sources.ifDictionary()) {
    if (source.ifDictionary() == nullptr) {
      return fmt::format(R"(the source "{}" is not an object)", shortened(visible(name), 40));
    }
  }
  return "";
}

/// What is wrong with a JSON line; empty if it is valid.
std::string whyUnusable(const Value& line) {
  const Dictionary* const members = line.ifDictionary();
  if (members == nullptr) return "is not an object";
  for (const auto [key, value] : *members) {
    if (key != kId && key != kAttributes && key != kSources) {
      return fmt::format(R"(unknown key "{}"; expected "id", "attributes" or "sources")", shortened(visible(key), 40));
    }
  }
  const Value* const attributes = members->find(kAttributes);
  if (attributes == nullptr) return R"("attributes" is missing)";
  if (attributes->ifDictionary() == nullptr) return R"("attributes" is not an object)";
  const Value* const sources = members->find(kSources);
  return sources == nullptr ? "" : whyUnusableSources(*sources);
}

const Dictionary& memberOf(const Value& line, std::string_view key) {
  static const Dictionary kNone;
  const Dictionary* const member = line.ifDictionary()->findDictionary(key);
  return member == nullptr ? kNone : *member;
}

Value idOf(const Line& line, const std::optional<Value>& content) {
  const bool isObject = content && content->ifDictionary() != nullptr;
  const Value* const known = isObject ? content->ifDictionary()->find(kId) : nullptr;
  if (known != nullptr) return *known;
  const std::optional<Value> found = content ? std::nullopt : readJsonMember(line.text, kId);
  return found.value_or(Value(static_cast<std::int64_t>(line.number)));
}

/// The approximate number of bytes of text that show a value.
std::size_t textSize(const Value& value) {
  if (const auto text = value.ifString()) return text->size();
  if (const Data* const data = value.ifData()) return data->size();
  std::size_t size = 8;
  if (const Array* const array = value.ifArray()) {
    for (const Value& element : *array) size += textSize(element);
  } else if (const Dictionary* const dictionary = value.ifDictionary()) {
    for (const auto [key, entry] : *dictionary) size += key.size() + textSize(entry);
  }
  return size;
}

bool isTooLarge(const std::optional<Array>& records, const Line& line) {
  constexpr std::size_t kMostQuotes = 4;  // in the line of one record
  return records && kMostQuotes * records->size() * line.text.size() > kLargestResult &&
         textSize(Value(*records)) > kLargestResult;
}

DeviceResult unusable(const Line& line, const std::optional<Value>& content, std::string_view why) {
  return {.id = idOf(line, content), .inputError = fmt::format("line {}: {}", line.number, why)};
}

DeviceResult parsed(const Line& line) {
  if (!line.whyCut.empty()) return unusable(line, std::nullopt, line.whyCut);
  std::string error;
  const std::optional<Value> content = readJson(line.text, error, line.number);
  if (!content) return {.id = idOf(line, content), .inputError = error};  // with its location
  if (error = whyUnusable(*content); !error.empty()) return unusable(line, content, error);
  return {.id = idOf(line, content),
          .attributes = memberOf(*content, kAttributes),
          .sources = memberOf(*content, kSources)};
}

DeviceResult checked(const PreparedRules& rules, const Line& line) {
  DeviceResult result = parsed(line);
  if (!result.inputError.empty()) return result;
  result.outcome = runCheck(rules, result.attributes, result.sources);
  if (!isTooLarge(result.outcome.records, line)) return result;
  result.inputError = fmt::format("line {}: the result is larger than {} MiB", line.number, kLargestResult >> 20U);
  return {.id = std::move(result.id), .inputError = std::move(result.inputError)};
}

/// The result of `make`, or an unusable line if memory runs out.
template <class Make>
DeviceResult inMemory(const Line& line, Make make) {
  try {
    return make();
  } catch (const std::bad_alloc&) {
    return unusable(line, std::nullopt, "out of memory");
  }
}

}  // namespace

NoteMaker::NoteMaker(const Dictionary& library, const Dictionary& localRules, bool alwaysNote)
    : origins(library, localRules), always(alwaysNote) {
  for (const auto [name, definition] : library) {
    const Dictionary* const rule = definition.ifDictionary();
    const Array* const references = rule == nullptr ? nullptr : rule->findArray("references");
    if (references == nullptr) continue;
    for (const Value& reference : *references) {
      const auto source =
          reference.ifDictionary() == nullptr ? std::nullopt : reference.ifDictionary()->findString("source");
      if (source) sources.emplace(*source);
    }
  }
}

std::shared_ptr<const RuleNotes> NoteMaker::notesOn(const DeviceResult& result) const {
  const auto isGiven = [&](const std::string& source) { return result.sources.contains(source); };
  const bool isOfInterest = always || !std::ranges::all_of(sources, isGiven);
  if (result.outcome.verdict != Verdict::kFailed || !isOfInterest) return nullptr;
  return std::make_shared<const RuleNotes>(notesAfterCheck(result.attributes, result.sources, origins));
}

DeviceResult readDevice(const Line& line) {
  return inMemory(line, [&] { return parsed(line); });
}

DeviceResult DeviceChecker::check(const Line& line) const {
  return inMemory(line, [&] {
    DeviceResult result = checked(rules_, line);
    if (notes_ != nullptr && result.inputError.empty()) result.notes = notes_->notesOn(result);
    return result;
  });
}

}  // namespace tavik::tool
