// Reads devices from JSON lines and writes their results.

#include <tavik/DeviceLine.h>
#include <tavik/Json.h>
#include <tavik/VisibleText.h>

#include <cstdint>
#include <new>
#include <span>
#include <utility>

#include "kernel/PreparedDocuments.h"
#include "values/MaybeAbsent.h"
#include "values/SharedContents.h"
#include "values/Text.h"
#include "values/ValueAccess.h"
#include "values/property_lists/Encodings.h"
#include "values/property_lists/JsonWriter.h"

namespace tavik {
namespace {

using detail::DataBuffer;
using detail::entriesOf;
using detail::Entry;
using detail::ValueAccess;

constexpr char kId[] = "id";
constexpr char kAttributes[] = "attributes";
constexpr char kSources[] = "sources";
constexpr std::size_t kLargestResult = std::size_t{64} << 20;

// A name from a line for a message, in quotes.
std::string quotedName(std::string_view name) {
  constexpr std::size_t kLongest = 40;  // in characters
  const std::string visible = visibleText(name);
  std::string_view rest = visible;
  std::size_t kept = 0;
  for (std::size_t count = 1; !rest.empty(); ++count) {
    if (count == kLongest) kept = visible.size() - rest.size();
    if (count > kLongest) return '"' + visible.substr(0, kept) + "…\"";
    takeCharacter(rest);
  }
  return '"' + visible + '"';
}

std::string whyUnusableSources(const Value& sources) {
  if (sources.ifDictionary() == nullptr) return R"("sources" is not an object)";
  for (const auto [name, source] : *sources.ifDictionary()) {
    if (source.ifDictionary() == nullptr) return "the source " + quotedName(name) + " is not an object";
  }
  return "";
}

// What is wrong with the content of a line; empty if it is valid.
std::string whyUnusable(const Value& content) {
  const Dictionary* const members = content.ifDictionary();
  if (members == nullptr) return "is not an object";
  for (const auto [key, value] : *members) {
    if (key != kId && key != kAttributes && key != kSources) {
      return "unknown key " + quotedName(key) + R"(; expected "id", "attributes" or "sources")";
    }
  }
  const Value* const attributes = find(members, kAttributes);
  if (attributes == nullptr) return R"("attributes" is missing)";
  if (attributes->ifDictionary() == nullptr) return R"("attributes" is not an object)";
  const Value* const sources = find(members, kSources);
  return sources == nullptr ? "" : whyUnusableSources(*sources);
}

Value idOf(const Value* given, std::size_t number) {
  return given != nullptr ? *given : Value(static_cast<std::int64_t>(number));
}

DeviceLine unusable(Value id, std::size_t number, std::string_view why) {
  return {.id = std::move(id), .inputError = "line " + std::to_string(number) + ": " + std::string(why)};
}

// The approximate number of bytes of text that show a value.
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

bool isTooLarge(const std::optional<Array>& records, std::string_view line) {
  constexpr std::size_t kMostQuotes = 4;  // in the line of one record
  return records && kMostQuotes * records->size() * line.size() > kLargestResult &&
         textSize(Value(*records)) > kLargestResult;
}

// Writes one result. The records may be nested deeper than documents, because records add levels to the device's
// values.
class ResultWriter {
 public:
  explicit ResultWriter(DataBuffer& out) : out_(out), json_(out, JsonLayout::kOneLine) {}

  void append(const LineResult& result) {
    add(R"({"id": )", result.id);
    if (result.inputError.empty()) {
      append(result.outcome);
    } else {
      add(R"(, "input_error": )", result.inputError);
    }
    out_ += "}\n";
  }

 private:
  static constexpr int kDepth = -7;
  static constexpr std::size_t kBytesPerRecord = 160;  // a guess

  template <std::size_t kSize>
  void add(const char (&before)[kSize], const Value& value) {
    out_ += before;
    json_.append(value, kDepth);
  }

  template <std::size_t kSize>
  void addOrNull(const char (&before)[kSize], const Value* value) {
    if (value != nullptr) return add(before, *value);
    out_ += before;
    out_ += "null";
  }

  void append(const CheckOutcome& outcome) {
    const Dictionary entries = outcome.dictionary();
    out_ += R"(, "records": )";
    appendRecords(outcome.records);
    addOrNull(R"(, "station": )", find(&entries, "station"));
    addOrNull(R"(, "error": )", find(&entries, "error"));
    if (const Value* const fault = find(&entries, "fault")) add(R"(, "fault": )", *fault);
    addOrNull(R"(, "verdict": )", find(&entries, "verdict"));
    const Dictionary* const reason = dictionaryOf(find(&entries, "reason"));
    if (reason == nullptr) return static_cast<void>(out_ += R"(, "reason": null)");
    addOrNull(R"(, "reason": {"kind": )", find(reason, "kind"));
    addOrNull(R"(, "rule": )", find(reason, "rule"));
    addOrNull(R"(, "description": )", find(reason, "description"));
    out_ += '}';
  }

  void appendRecords(const std::optional<Array>& records) {
    if (!records) return static_cast<void>(out_ += "null");
    out_.reserve(out_.size() + kBytesPerRecord * records->size());
    out_ += '[';
    for (const Value& record : *records) {
      if (&record != records->begin()) out_ += ", ";
      appendRecord(record);
    }
    out_ += ']';
  }

  // The keys of nearly every record are known, so that they need not be escaped one by one.
  void appendRecord(const Value& record) {
    const std::span<const Entry> entries = entriesOf(*record.ifDictionary());
    const auto has = [&](std::size_t position, ValueAccess::Literal key) {
      return ValueAccess::is(entries[position].key, key);
    };
    if (entries.size() != 4 || !has(0, "rule") || !has(1, "result") || !has(2, "actual") || !has(3, "expected")) {
      return json_.append(record, kDepth);
    }
    add(R"({"rule": )", entries[0].value);
    add(R"(, "result": )", entries[1].value);
    add(R"(, "actual": )", entries[2].value);
    add(R"(, "expected": )", entries[3].value);
    out_ += '}';
  }

  DataBuffer& out_;
  JsonWriter json_;
};

}  // namespace

DeviceLine DeviceLine::read(std::string_view line, std::size_t number) {
  try {
    std::string error;
    const std::optional<Value> content = readJson(line, error, number);
    if (!content) {
      const auto id = readJsonMember(line, kId);
      return {.id = idOf(id ? &*id : nullptr, number), .inputError = error};  // which gives the location
    }
    const Dictionary* const members = content->ifDictionary();
    Value id = idOf(find(members, kId), number);
    if (error = whyUnusable(*content); !error.empty()) return tavik::unusable(std::move(id), number, error);
    const Dictionary* const sources = dictionaryOf(find(members, kSources));
    return {.id = std::move(id),
            .attributes = *dictionaryOf(find(members, kAttributes)),
            .sources = sources == nullptr ? Dictionary() : *sources};
  } catch (const std::bad_alloc&) {
    return unusable(line, number, "out of memory");
  }
}

DeviceLine DeviceLine::unusable(std::string_view line, std::size_t number, std::string_view why) {
  const auto id = readJsonMember(line, kId);
  return tavik::unusable(idOf(id ? &*id : nullptr, number), number, why);
}

class LineChecker {
 public:
  static LineResult check(const PreparedRules& rules, std::string_view line, std::size_t number) {
    LineResult result{DeviceLine::read(line, number)};
    if (!result.inputError.empty()) return result;
    const Dictionary* const sources = result.sources.empty() ? nullptr : &result.sources;
    result.outcome = rules.documents_->run(result.attributes, result.attributes, sources, {});
    if (!isTooLarge(result.outcome.records, line)) return result;
    const std::string why = "the result is larger than " + std::to_string(kLargestResult >> 20U) + " MiB";
    return {unusable(std::move(result.id), number, why)};
  }
};

LineResult checkLine(const PreparedRules& rules, std::string_view line, std::size_t number) {
  try {
    return LineChecker::check(rules, line, number);
  } catch (const std::bad_alloc&) {
    return {DeviceLine::unusable(line, number, "out of memory")};
  }
}

bool appendJsonLine(std::string& out, const LineResult& result) {
  try {
    DataBuffer line;
    ResultWriter(line).append(result);
    out += line.view();
    return true;
  } catch (const Unwritable&) {
    return false;
  }
}

}  // namespace tavik
