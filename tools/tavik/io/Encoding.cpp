#include "io/Encoding.h"

#include <tavik/Json.h>

#include <algorithm>
#include <cstddef>
#include <initializer_list>
#include <optional>
#include <utility>

#include "io/Bytes.h"

namespace tavik::tool {
namespace {

std::string_view withoutByteOrderMark(std::string_view text) {
  return text.substr(text.starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0);
}

std::string_view withoutWhiteSpace(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(" \t\r\n"), text.size()));
  return text;
}

/// The rest after the quoted string at the beginning of `text`; empty if it is unterminated.
std::string_view afterQuotedText(std::string_view text) {
  for (std::size_t i = 1; i < text.size(); ++i) {
    if (text[i] == '\\') {
      ++i;
    } else if (text[i] == '"') {
      return text.substr(i + 1);
    }
  }
  return {};
}

/// "{" also begins a dictionary in old-style text: there "=" or ";" follows a quoted key, and a key may have no quotes.
bool objectIsJson(std::string_view text) {
  const std::string_view inside = withoutWhiteSpace(text.substr(1));
  if (!inside.starts_with('"')) return inside.empty() || inside.starts_with('}');
  const std::string_view next = withoutWhiteSpace(afterQuotedText(inside));
  return !next.starts_with('=') && !next.starts_with(';') && !next.starts_with('/');
}

bool isLiteral(std::string_view text) {
  return std::ranges::any_of(std::initializer_list<std::string_view>{"true", "false", "null"}, [&](auto word) {
    return text.starts_with(word) && withoutWhiteSpace(text.substr(word.size())).empty();
  });
}

std::optional<Value> read(std::string_view bytes, std::string& error, ValueLocations* locations) {
  if (isJson(bytes)) return locations != nullptr ? readJson(bytes, error, *locations) : readJson(bytes, error);
  return locations != nullptr ? readPropertyList(bytesOf(bytes), error, *locations)
                              : readPropertyList(bytesOf(bytes), error);
}

/// The text after white space and comments at its beginning.
std::string_view withoutComments(std::string_view text) {
  while (true) {
    text = withoutWhiteSpace(text);
    const std::string_view end = text.starts_with("//") ? "\n" : "*/";
    if (!text.starts_with("//") && !text.starts_with("/*")) return text;
    text.remove_prefix(std::min(text.find(end), text.size() - end.size()) + end.size());
  }
}

/// A hint about bytes that cannot be read.
std::string hintFor(std::string_view bytes) {
  const std::string_view firstLine = bytes.substr(0, bytes.find('\n'));
  if (bytes.starts_with("PK\x03\x04")) return "; this is a ZIP archive: unpack it first";
  if (bytes.starts_with("\xFF\xFE") || bytes.starts_with("\xFE\xFF")) return "; this is UTF-16: convert it to UTF-8";
  if (firstLine.starts_with("---")) return "; this may be YAML: convert it to JSON";
  const std::string_view text = withoutComments(bytes);
  if (isJson(text)) {
    const bool hasComment =
        text.size() != withoutWhiteSpace(bytes).size() || text.find(" //") != text.npos || text.find("/*") != text.npos;
    return hasComment ? "; JSON has no comments" : "";
  }
  const bool isTable =
      firstLine.find(',') != std::string_view::npos && firstLine.find_first_of("<({=") == std::string_view::npos;
  return isTable ? "; this may be CSV: convert it to JSON" : "";
}

Value parse(const std::string& name, std::string_view bytes, ValueLocations* locations) {
  if (bytes.empty()) throw Unusable(name + ": is empty");
  return inMemory(name, [&] {
    std::string error;
    std::optional<Value> value = read(bytes, error, locations);
    if (!value) throw Unusable(name + ": " + error + hintFor(bytes));
    return *std::move(value);
  });
}

}  // namespace

bool isJson(std::string_view bytes) {
  const std::string_view text = withoutWhiteSpace(withoutByteOrderMark(bytes));
  if (text.empty()) return false;
  switch (text.front()) {
    case '{':
      return objectIsJson(text);
    case '[':
    case '"':
    case '-':
      return true;
    default:
      return (text.front() >= '0' && text.front() <= '9') || isLiteral(text);
  }
}

Value parseJson(const std::string& name, std::string_view text) {
  std::string error;
  std::optional<Value> value = readJson(text, error);
  if (!value) throw Unusable(name + ": " + error);
  return *std::move(value);
}

Value parseValue(const std::string& name, std::string_view bytes) { return parse(name, bytes, nullptr); }

Value parseValue(const std::string& name, std::string_view bytes, ValueLocations& locations) {
  return parse(name, bytes, &locations);
}

Data toPropertyList(const std::string& name, const Value& value, PropertyListFormat format) {
  std::string error;
  std::optional<Data> bytes = writePropertyList(value, format, error);
  if (!bytes) throw Unusable(name + ": " + error);
  return *std::move(bytes);
}

}  // namespace tavik::tool
