// Reads old-style property lists: { key = value; } ( element, element ) <data in hexadecimal> "quoted" or plain
// strings.
//
// The encoding has no numbers, booleans or dates; everything other than data, arrays and dictionaries is a string.
// Every entry of a dictionary, including the last, must end with a semicolon; an array may have a comma after its last
// element.

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

#include "values/SharedContents.h"
#include "values/Text.h"
#include "values/ValueAccess.h"
#include "values/property_lists/Encodings.h"

namespace tavik {
namespace {

using detail::ValueAccess;

// The characters of a string without quotes. Includes the plus sign, because `description` prints numbers as "1e+20".
constexpr std::array<bool, 256> kPlain = [] {
  std::array<bool, 256> plain{};
  for (const char character :
       std::string_view("0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ_$/:.-+")) {
    plain[static_cast<unsigned char>(character)] = true;
  }
  return plain;
}();
bool isPlain(char character) noexcept { return kPlain[static_cast<unsigned char>(character)]; }

bool isSpace(char character) noexcept { return character == ' ' || (character >= '\t' && character <= '\r'); }

// Writers of this encoding escape control characters other than white space.
bool isForbiddenControl(char character) noexcept {
  return static_cast<unsigned char>(character) < 0x20 && !isSpace(character);
}

// The value of a digit up to base 16.
std::optional<std::uint32_t> digitValue(char character) noexcept {
  if (character >= '0' && character <= '9') return static_cast<std::uint32_t>(character - '0');
  if (character >= 'a' && character <= 'f') return static_cast<std::uint32_t>(character - 'a' + 10);
  if (character >= 'A' && character <= 'F') return static_cast<std::uint32_t>(character - 'A' + 10);
  return std::nullopt;
}

class TextReader {
 public:
  TextReader(std::string_view document, std::vector<ValueOffset>* offsets) : document_(document), offsets_(offsets) {}

  Value read();

 private:
  Value readValue(int depth, std::size_t keyOffset = ValueOffset::kNoKey);
  Array readArray(int depth);
  Dictionary readDictionary(int depth);
  Data readData();
  Value readString();
  Value readQuoted();
  void appendEscape();
  char32_t readUtf16Escape(std::size_t start);
  struct Digits {
    std::uint32_t number = 0;
    std::size_t count = 0;
  };
  Digits readDigits(std::size_t most, std::uint32_t base) noexcept;

  void skipBlank();
  bool skipComment();
  // Skips blanks, then takes `character` if it is next.
  bool takeNext(char character);

  [[nodiscard]] bool isAtEnd() const noexcept { return position_ == document_.size(); }
  [[nodiscard]] char peek() const noexcept { return isAtEnd() ? '\0' : document_[position_]; }
  bool take(std::string_view text) noexcept {
    if (!document_.substr(position_).starts_with(text)) return false;
    position_ += text.size();
    return true;
  }

  std::string_view document_;
  std::size_t position_ = 0;
  OpenContainers open_;
  std::string scratch_;                // a string with escapes
  std::vector<std::uint8_t> bytes_;    // data being read
  std::vector<ValueOffset>* offsets_;  // of all values; may be null
};

Value TextReader::read() {
  requireUtf8(document_);
  skipBlank();
  if (isAtEnd()) throw Refusal{position_, "the document is empty"};
  Value value = readValue(1);
  skipBlank();
  if (!isAtEnd()) throw Refusal{position_, "unexpected content after the property list"};
  return value;
}

// depth: the value's nesting depth if it is a container.
Value TextReader::readValue(int depth, std::size_t keyOffset) {
  skipBlank();
  if (offsets_ != nullptr) offsets_->push_back({position_, keyOffset});
  switch (peek()) {
    case '{':
      return readDictionary(depth);
    case '(':
      return readArray(depth);
    case '<':
      return readData();
    default:
      return readString();
  }
}

Array TextReader::readArray(int depth) {
  const std::size_t start = position_++;
  requireDepth(depth, start);
  const std::size_t begin = open_.openArray();
  while (!takeNext(')')) {
    open_.addElement(readValue(depth + 1));
    if (takeNext(',')) continue;
    if (takeNext(')')) break;
    throw Refusal{position_, "expected \",\" or \")\" in the array opened at", start};
  }
  return open_.closeArray(begin);
}

Dictionary TextReader::readDictionary(int depth) {
  const std::size_t start = position_++;
  requireDepth(depth, start);
  const std::size_t begin = open_.openDictionary();
  while (!takeNext('}')) {
    const std::size_t keyStart = position_;
    Value key = readString();
    if (!takeNext('=')) throw Refusal{position_, "expected \"=\" after the key at", keyStart};
    open_.addEntry({std::move(key), readValue(depth + 1, keyStart)}, keyStart);
    if (!takeNext(';')) throw Refusal{position_, "expected \";\" after the value of the key at", keyStart};
  }
  return open_.closeDictionary(begin);
}

Data TextReader::readData() {
  const std::size_t start = position_++;
  if (peek() == '*') throw Refusal{start, "typed values such as <*I5> are not supported"};
  bytes_.clear();
  std::uint32_t byte = 0;
  bool isHalf = false;
  for (; !take(">"); ++position_) {
    const char character = peek();
    if (isSpace(character)) continue;
    const std::optional<std::uint32_t> digit = digitValue(character);
    if (!digit) throw Refusal{position_, "expected a hexadecimal digit or \">\" in the data opened at", start};
    byte = byte << 4 | *digit;
    if (isHalf) bytes_.push_back(static_cast<std::uint8_t>(byte));
    isHalf = !isHalf;
  }
  if (isHalf) throw Refusal{start, "the data has an odd number of hexadecimal digits"};
  return Data(bytes_);
}

Value TextReader::readString() {
  if (peek() == '"' || peek() == '\'') return readQuoted();
  const std::size_t start = position_;
  while (!isAtEnd() && isPlain(document_[position_])) ++position_;
  if (position_ != start) return ValueAccess::string(document_.substr(start, position_ - start));
  if (isAtEnd()) throw Refusal{position_, "unexpected end of the document"};
  throw Refusal{position_,
                "unexpected character; strings with characters other than letters, digits and _$/:.-+ need quotes"};
}

Value TextReader::readQuoted() {
  const std::size_t start = position_;
  const char quote = document_[position_++];
  std::size_t plainStart = position_;
  scratch_.clear();
  while (peek() != quote) {
    if (isAtEnd()) throw Refusal{start, "unterminated string"};
    if (isForbiddenControl(peek())) throw Refusal{position_, "unescaped control character; write it as \\Uhhhh"};
    if (peek() != '\\') {
      ++position_;
      continue;
    }
    scratch_ += document_.substr(plainStart, position_ - plainStart);
    appendEscape();
    plainStart = position_;
  }
  const std::string_view plain = document_.substr(plainStart, position_ - plainStart);
  ++position_;
  if (scratch_.empty()) return ValueAccess::string(plain);
  scratch_ += plain;
  return ValueAccess::string(scratch_);
}

void TextReader::appendEscape() {
  constexpr std::string_view kEscapes = "abfnrtv\\\"'\n";
  constexpr std::string_view kCharacters = "\a\b\f\n\r\t\v\\\"'\n";
  const std::size_t start = position_++;
  const char escape = peek();
  if (const std::size_t index = kEscapes.find(escape); index != std::string_view::npos) {
    ++position_;
    scratch_ += kCharacters[index];
  } else if (escape == 'U') {
    appendUtf8(scratch_, readUtf16Escape(start));
  } else if (const Digits octal = readDigits(3, 8); octal.count != 0) {
    // The meaning of octal numbers beyond ASCII depends on a legacy character set.
    if (octal.number > 0x7F) throw Refusal{start, "octal escape above \\177; write the character as \\Uhhhh"};
    appendUtf8(scratch_, octal.number);
  } else {
    throw Refusal{start, "unknown escape; write a backslash as \\\\"};
  }
}

// Reads one character: "Uhhhh", or a surrogate pair "Uhhhh\Uhhhh".
char32_t TextReader::readUtf16Escape(std::size_t start) {
  const auto readUnit = [&] {
    ++position_;  // "U"
    const Digits unit = readDigits(4, 16);
    if (unit.count != 4) throw Refusal{start, "\\U needs four hexadecimal digits"};
    return unit.number;
  };
  constexpr const char* kLone = "unpaired surrogate";
  const std::uint32_t first = readUnit();
  if (first < 0xD800 || first > 0xDFFF) return first;
  if (first > 0xDBFF || !take("\\") || peek() != 'U') throw Refusal{start, kLone};
  const std::uint32_t second = readUnit();
  if (second < 0xDC00 || second > 0xDFFF) throw Refusal{start, kLone};
  return 0x10000 + ((first - 0xD800) << 10 | (second - 0xDC00));
}

TextReader::Digits TextReader::readDigits(std::size_t most, std::uint32_t base) noexcept {
  Digits digits;
  while (digits.count < most) {
    const std::optional<std::uint32_t> digit = digitValue(peek());
    if (!digit || *digit >= base) break;
    digits.number = digits.number * base + *digit;
    ++digits.count;
    ++position_;
  }
  return digits;
}

// Skips white space and comments.
void TextReader::skipBlank() {
  do {
    while (isSpace(peek())) ++position_;
  } while (skipComment());
}

bool TextReader::skipComment() {
  const std::size_t start = position_;
  if (take("//")) {
    position_ = std::min(document_.find_first_of("\r\n", position_), document_.size());
  } else if (take("/*")) {
    const std::size_t end = document_.find("*/", position_);
    if (end == std::string_view::npos) throw Refusal{start, "unterminated comment: missing \"*/\""};
    position_ = end + 2;
  }
  return position_ != start;
}

bool TextReader::takeNext(char character) {
  skipBlank();
  return take({&character, 1});
}

}  // namespace

Value readTextPropertyList(std::string_view document, std::vector<ValueOffset>* offsets) {
  return TextReader(document, offsets).read();
}

}  // namespace tavik
