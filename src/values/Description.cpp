// Textual descriptions of values. Arrays and dictionaries are printed as old-style property-list text. Open containers
// are kept in a list, not on the stack.

#include "values/Description.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "values/DateText.h"
#include "values/SharedContents.h"
#include "values/ValueAccess.h"

namespace tavik {

using detail::ValueAccess;

namespace {

constexpr std::size_t kDataGroup = 4;  // bytes between spaces

// Whether the old-style reader accepts the text without quotes, and no reader can mistake it for a comment or data.
bool isPlain(std::string_view text) noexcept {
  return !text.empty() && std::ranges::all_of(text, [](char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_' || c == '.' ||
           c == '+' || c == '-';
  });
}

void appendEscaped(TextBuffer& text, char character) {
  switch (character) {
    case '"':
    case '\\':
      text.append('\\');
      text.append(character);
      return;
    case '\n':
      return text.append("\\n");
    case '\r':
      return text.append("\\r");
    case '\t':
      return text.append("\\t");
    default:
      if (static_cast<unsigned char>(character) >= 0x20 && character != 0x7F) return text.append(character);
      text.append("\\U00");
      const auto byte = static_cast<std::uint8_t>(character);
      std::array<char, 2> digits;
      putHex(digits.data(), {&byte, 1});
      text.append({digits.data(), digits.size()});
  }
}

// The digits of four bytes, all in little-endian order.
std::uint64_t hexDigits(std::uint32_t bytes) noexcept {
  constexpr std::uint64_t kEachByte = 0x0101010101010101;
  std::uint64_t spread = bytes;
  spread = (spread | spread << 16) & 0x0000FFFF0000FFFF;
  spread = (spread | spread << 8) & 0x00FF00FF00FF00FF;
  const std::uint64_t nibbles = (spread >> 4 | spread << 8) & kEachByte * 0xF;
  const std::uint64_t letters = (nibbles + kEachByte * 6) >> 4 & kEachByte;
  return nibbles + kEachByte * '0' + letters * ('a' - '0' - 10);
}

void appendQuoted(TextBuffer& text, std::string_view string) {
  if (isPlain(string)) return text.append(string);
  text.append('"');
  for (const char character : string) appendEscaped(text, character);
  text.append('"');
}

void appendScalar(TextBuffer& text, const Value& value) {
  if (const auto string = value.ifString()) return text.append(*string);
  if (const auto integer = value.ifInteger()) return appendNumber(text, *integer);
  if (const auto real = value.ifReal()) return appendNumber(text, *real);
  if (const auto truth = value.ifBoolean()) return text.append(*truth ? '1' : '0');
  if (const auto* data = value.ifData()) return putDescription(text.extend(descriptionSize(*data)), *data);
  if (const auto date = value.ifDate()) return text.append(descriptionOfDate(*date));
}

// Prints a container and its contents, one line per element.
class Listing {
 public:
  explicit Listing(TextBuffer& text) : text_(text) {}

  void list(const Array& array) {
    enter(array);
    finish();
  }
  void list(const Dictionary& dictionary) {
    enter(dictionary);
    finish();
  }

 private:
  struct Open {
    const Value* element = nullptr;  // array: the next element
    const Value* end = nullptr;
    const Dictionary* dictionary = nullptr;  // null for an array
    Dictionary::Iterator entry;
  };

  void enter(const Array& array) {
    if (array.empty()) return text_.append("()");
    text_.append('(');
    open_.push_back({array.begin(), array.end(), nullptr, {}});
  }

  void enter(const Dictionary& dictionary) {
    if (dictionary.empty()) return text_.append("{}");
    text_.append('{');
    open_.push_back({nullptr, nullptr, &dictionary, dictionary.begin()});
  }

  void finish() {
    while (!open_.empty()) {
      Open& top = open_.back();
      top.dictionary != nullptr ? nextEntry(top) : nextElement(top);
    }
  }

  void nextElement(Open& top) {
    if (top.element == top.end) return leave(')');
    const Value& element = *top.element++;
    newLine();
    item(element, top.element == top.end ? "" : ",");
  }

  void nextEntry(Open& top) {
    if (top.entry == top.dictionary->end()) return leave('}');
    const auto [key, value] = *top.entry++;
    newLine();
    appendQuoted(text_, key);
    text_.append(" = ");
    item(value, ";");
  }

  // The separator after a container is stored with the open container until it is closed.
  void item(const Value& value, std::string_view separator) {
    const std::size_t depth = open_.size();
    if (const auto* array = value.ifArray()) {
      enter(*array);
    } else if (const auto* dictionary = value.ifDictionary()) {
      enter(*dictionary);
    } else if (const auto string = value.ifString()) {
      appendQuoted(text_, *string);
    } else if (value.kind() == Kind::kDate) {
      appendQuoted(text_, descriptionOfDate(*value.ifDate()));
    } else {
      appendScalar(text_, value);
    }
    open_.size() == depth ? text_.append(separator) : separators_.push_back(separator);
  }

  void leave(char bracket) {
    open_.pop_back();
    newLine();
    text_.append(bracket);
    if (open_.empty()) return;
    text_.append(separators_.back());
    separators_.pop_back();
  }

  // Deeper lines are not indented further, so that the size of the text is proportional to that of the value.
  static constexpr std::size_t kDeepestIndent = 16;

  void newLine() {
    text_.append('\n');
    for (std::size_t depth = std::min(open_.size(), kDeepestIndent); depth != 0; --depth) text_.append("    ");
  }

  TextBuffer& text_;
  std::vector<Open> open_;
  std::vector<std::string_view> separators_;
};

}  // namespace

void appendElements(TextBuffer& text, const Array& array, std::string_view delineator) {
  for (const Value& element : array) {
    if (&element != array.begin()) text.append(delineator);
    const auto string = ValueAccess::text(element);
    string ? text.append(*string) : appendDescription(text, &element);
  }
}

std::size_t descriptionSize(const Data& data) noexcept {
  return data.empty() ? 2 : 2 + 2 * data.size() + (data.size() - 1) / kDataGroup;
}

void putDescription(char* to, const Data& data) noexcept {
  *to++ = '<';
  std::span<const std::uint8_t> rest = data.bytes();
  for (; rest.size() > kDataGroup; rest = rest.subspan(kDataGroup)) {
    putHex(to, rest.first(kDataGroup));
    to += 2 * kDataGroup;
    *to++ = ' ';
  }
  putHex(to, rest);
  to[2 * rest.size()] = '>';
}

void putHex(char* to, std::span<const std::uint8_t> bytes) noexcept {
  std::uint32_t four = 0;
  while (std::endian::native == std::endian::little && bytes.size() >= sizeof four) {
    std::memcpy(&four, bytes.data(), sizeof four);
    const std::uint64_t digits = hexDigits(four);
    std::memcpy(to, &digits, sizeof digits);
    to += sizeof digits;
    bytes = bytes.subspan(sizeof four);
  }
  constexpr std::string_view kDigits = "0123456789abcdef";
  for (const std::uint8_t byte : bytes) {
    *to++ = kDigits[byte >> 4];
    *to++ = kDigits[byte & 0xF];
  }
}

void appendNumber(TextBuffer& text, std::int64_t number) { text.append(IntegerText(number).view()); }
void appendNumber(TextBuffer& text, double number) { text.append(RealText(number).view()); }

void appendDescription(TextBuffer& text, const Value* value) {
  if (value == nullptr) return text.append("(null)");
  if (const auto* array = value->ifArray()) return appendDescription(text, *array);
  if (const auto* dictionary = value->ifDictionary()) return appendDescription(text, *dictionary);
  appendScalar(text, *value);
}

void appendDescription(TextBuffer& text, const Array& array) { Listing(text).list(array); }

void appendDescription(TextBuffer& text, const Dictionary& dictionary) { Listing(text).list(dictionary); }

std::string description(const Value* value) {
  TextBuffer text;
  appendDescription(text, value);
  return std::string(text.view());
}

}  // namespace tavik
