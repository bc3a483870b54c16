#include "io/Json.h"

#include "ExitStatus.h"
#include "text/Text.h"

namespace tavik::tool {
namespace {

/// Commands print values from documents with a few levels around them.
constexpr int kMostOuterLevels = 8;

void appendJson(std::string& out, const Value& value, int outerLevels);

template <class Container, class Append>
void appendElements(std::string& out, const Container& container, std::string_view brackets, Append append) {
  out += brackets.front();
  const char* separator = "";
  for (const auto& element : container) {
    out += separator;
    separator = ", ";
    append(element);
  }
  out += brackets.back();
}

/// Writes a container on one line, so that it does not count as a nesting level.
void appendOuter(std::string& out, const Value& value, int outerLevels) {
  if (const Array* array = value.ifArray()) {
    return appendElements(out, *array, "[]", [&](const Value& element) { appendJson(out, element, outerLevels); });
  }
  appendElements(out, *value.ifDictionary(), "{}", [&](const Dictionary::Item& entry) {
    appendJsonString(out, entry.key);
    out += ": ";
    appendJson(out, entry.value, outerLevels);
  });
}

void appendJson(std::string& out, const Value& value, int outerLevels) {
  std::string error;
  if (tavik::appendJson(out, value, error)) return;
  const Dictionary* const dictionary = value.ifDictionary();
  const bool hasLevels = value.ifArray() != nullptr || (dictionary != nullptr && dictionary->size() > 1);
  if (!hasLevels || outerLevels == kMostOuterLevels) throw Unusable("cannot write JSON: " + error);
  appendOuter(out, value, outerLevels + 1);
}

}  // namespace

void appendJson(std::string& out, const Value& value, JsonLayout layout) {
  if (layout == JsonLayout::kOneLine) return appendJson(out, value, 0);
  std::string error;
  if (!tavik::appendJson(out, value, error, layout)) throw Unusable("cannot write JSON: " + error);
}

std::string toJson(const Value& value, JsonLayout layout) {
  std::string text;
  appendJson(text, value, layout);
  return text;
}

std::string shortJson(const Value& value, std::size_t width) { return shortened(visible(toJson(value)), width); }

}  // namespace tavik::tool
