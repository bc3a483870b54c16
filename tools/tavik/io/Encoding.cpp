#include "io/Encoding.h"

#include <tavik/PropertyList.h>

#include <algorithm>
#include <cstddef>
#include <initializer_list>
#include <optional>
#include <utility>

#include "ExitStatus.h"
#include "io/Bytes.h"
#include "io/InMemory.h"
#include "io/Json.h"

namespace tavik::tool {
namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

std::string_view withoutByteOrderMark(std::string_view text) {
  return text.substr(text.starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0);
}

std::string_view withoutWhiteSpace(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(" \t\r\n"), text.size()));
  return text;
}

/// What follows the text in quotes that `text` begins with; empty when it does not end.
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

/// "{" begins a dictionary in old-style text too: there "=" or ";" follows a key in quotes, and a key may lack them.
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

Value parse(const std::string& name, std::string& bytes) {
  if (bytes.empty()) throw Unusable(name + ": is empty");
  if (isJson(bytes)) {
    bytes.erase(0, bytes.size() - withoutByteOrderMark(bytes).size());
    return parseJson(name, bytes);
  }
  std::string error;
  std::optional<Value> value = readPropertyList(bytesOf(bytes), error);
  if (!value) throw Unusable(name + ": " + error);
  return *std::move(value);
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

Value parseJson(const std::string& name, std::string& text) {
  std::string error;
  std::optional<Value> value = JsonReader().read(text, error);
  if (!value) throw Unusable(name + ": " + error);
  return *std::move(value);
}

Value parseValue(const std::string& name, std::string& bytes) {
  return inMemory(name, [&] { return parse(name, bytes); });
}

}  // namespace tavik::tool
