#include "io/JsonSyntax.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <utility>

#include "text/Text.h"

namespace tavik::tool {
namespace {

bool isDigit(char character) { return character >= '0' && character <= '9'; }

class SyntaxCheck {
 public:
  explicit SyntaxCheck(std::string_view text) : text_(text) {}

  /// Reads the text to its end; raises a SyntaxError.
  void run() {
    takeWhole();
    skipWhiteSpace();
    if (!atEnd()) fail(position_, "something follows the value");
  }

  /// Reads an object up to the end of the value of `key`; raises a SyntaxError.
  std::optional<std::string_view> takeMember(std::string_view key) {
    if (!takeIf('{')) return std::nullopt;
    do {
      const std::string_view quoted = takeKey();
      const std::string_view value = takeTextOfValue();
      if (quoted.substr(1, quoted.size() - 2) == key) return value;
    } while (takeIf(','));
    return std::nullopt;
  }

  /// Reads an array up to the end of the element at `index`; raises a SyntaxError.
  std::optional<std::string_view> takeElement(std::size_t index) {
    if (!takeIf('[')) return std::nullopt;
    do {
      const std::string_view value = takeTextOfValue();
      if (index-- == 0) return value;
    } while (takeIf(','));
    return std::nullopt;
  }

 private:
  [[noreturn]] static void fail(std::size_t offset, std::string why) { throw SyntaxError{offset, std::move(why)}; }

  [[noreturn]] void failAtEnd() const {
    if (open_.empty()) fail(position_, "there is no value");
    fail(position_, std::string("the text ends inside ") + (open_.back() == '[' ? "an array" : "an object"));
  }

  [[nodiscard]] bool atEnd() const { return position_ == text_.size(); }
  [[nodiscard]] char peek() const { return atEnd() ? '\0' : text_[position_]; }

  void skipWhiteSpace() { position_ = std::min(text_.find_first_not_of(" \t\r\n", position_), text_.size()); }

  bool takeIf(char character) {
    skipWhiteSpace();
    if (atEnd()) failAtEnd();
    if (text_[position_] != character) return false;
    ++position_;
    return true;
  }

  void expect(char character) {
    if (!takeIf(character)) fail(position_, std::string("\"") + character + "\" is missing");
  }

  /// A value with all that is in it.
  void takeWhole() {
    takeValue();
    while (!open_.empty()) takeNext();
  }

  std::string_view takeTextOfValue() {
    skipWhiteSpace();
    const std::size_t start = position_;
    takeWhole();
    return text_.substr(start, position_ - start);
  }

  /// A value, of a container its opening bracket.
  void takeValue() {
    skipWhiteSpace();
    if (atEnd()) failAtEnd();
    switch (peek()) {
      case '{':
      case '[':
        return takeOpening();
      case '"':
        return takeString();
      case 't':
        return takeWord("true");
      case 'f':
        return takeWord("false");
      case 'n':
        return takeWord("null");
      default:
        return takeNumber();
    }
  }

  void takeOpening() {
    open_ += text_[position_++];
    fresh_ = true;
  }

  /// What follows an opening bracket or a value inside a container.
  void takeNext() {
    const bool first = std::exchange(fresh_, false);
    if (takeIf(closing())) {
      open_.pop_back();
    } else if (first || takeIf(',')) {
      takeEntry();
    } else {
      fail(position_, std::string(R"("," or ")") + closing() + "\" is missing");
    }
  }

  void takeEntry() {
    if (open_.back() == '{') takeKey();
    takeValue();
  }

  /// A key in quotes, which are part of what is returned, with its colon.
  std::string_view takeKey() {
    skipWhiteSpace();
    if (atEnd()) failAtEnd();
    if (peek() != '"') fail(position_, "a key in quotes is missing");
    const std::size_t start = position_;
    takeString();
    const std::string_view key = text_.substr(start, position_ - start);
    expect(':');
    return key;
  }

  [[nodiscard]] char closing() const { return open_.back() == '[' ? ']' : '}'; }

  void takeWord(std::string_view word) {
    if (text_.substr(position_, word.size()) != word) failAsValue();
    position_ += word.size();
  }

  void takeNumber() {
    const std::size_t start = position_;
    if (peek() == '-') ++position_;
    if (!isDigit(peek())) {
      position_ = start;
      failAsValue();
    }
    if (peek() == '0' && isDigit(text_.substr(position_ + 1, 1).empty() ? '\0' : text_[position_ + 1])) {
      fail(start, "a number begins with 0");
    }
    skipDigits();
    if (peek() == '.') takeDigits(start);
    if (peek() == 'e' || peek() == 'E') {
      if (position_ + 1 < text_.size() && (text_[position_ + 1] == '+' || text_[position_ + 1] == '-')) ++position_;
      takeDigits(start);
    }
  }

  void skipDigits() {
    while (isDigit(peek())) ++position_;
  }

  /// A character, then digits.
  void takeDigits(std::size_t start) {
    ++position_;
    if (!isDigit(peek())) fail(start, "a number lacks digits after its point or exponent");
    skipDigits();
  }

  [[noreturn]] void failAsValue() const {
    std::string_view rest = text_.substr(position_);
    if (!takeCharacter(rest)) fail(position_, "invalid UTF-8");
    const std::string_view character = text_.substr(position_, text_.size() - rest.size() - position_);
    fail(position_, "no value begins with \"" + std::string(character) + "\"");
  }

  void takeString() {
    const std::size_t start = position_++;
    while (peek() != '"') {
      if (atEnd()) fail(start, "this text has no closing quote");
      if (peek() == '\\') {
        takeEscape();
      } else {
        takePlainCharacter();
      }
    }
    ++position_;
  }

  void takePlainCharacter() {
    if (static_cast<unsigned char>(peek()) < 0x20) fail(position_, "a control character stands in a text unescaped");
    std::string_view rest = text_.substr(position_);
    if (!takeCharacter(rest)) fail(position_, "invalid UTF-8");
    position_ = text_.size() - rest.size();
  }

  void takeEscape() {
    const std::size_t start = position_++;
    if (peek() != 'u') {
      if (atEnd() || std::string_view("\"\\/bfnrt").find(peek()) == std::string_view::npos)
        fail(start, "unknown escape");
      ++position_;
      return;
    }
    const unsigned unit = takeUnit(start);
    if (unit < 0xD800 || unit > 0xDFFF) return;
    const bool pair = unit < 0xDC00 && text_.substr(position_, 2) == R"(\u)";
    if (pair) ++position_;
    const unsigned second = pair ? takeUnit(start) : 0;
    if (second < 0xDC00 || second > 0xDFFF) fail(start, "half of a surrogate pair");
  }

  /// "u" and four hexadecimal digits.
  unsigned takeUnit(std::size_t start) {
    ++position_;
    unsigned unit = 0;
    for (int i = 0; i < 4; ++i, ++position_) {
      const char digit = peek();
      if (std::isxdigit(static_cast<unsigned char>(digit)) == 0) fail(start, "an escape lacks its four digits");
      const int number = isDigit(digit) ? digit - '0' : (digit | 0x20) - 'a' + 10;
      unit = unit << 4 | static_cast<unsigned>(number);
    }
    return unit;
  }

  std::string_view text_;
  std::size_t position_ = 0;
  std::string open_;    // the brackets not closed yet
  bool fresh_ = false;  // just after an opening bracket
};

std::optional<std::string_view> findElement(std::string_view text, std::size_t index) {
  try {
    return SyntaxCheck(text).takeElement(index);
  } catch (const SyntaxError&) {
    return std::nullopt;
  }
}

std::string keyInPath(std::string_view key) {
  constexpr std::size_t kMost = 40;
  const bool plain = !key.empty() && key.size() <= kMost && std::ranges::all_of(key, [](char character) {
    return character == '-' || character == '_' || (character >= '0' && character <= '9') ||
           (character >= 'A' && character <= 'Z') || (character >= 'a' && character <= 'z');
  });
  return plain ? std::string(key) : "\"" + shortened(visible(key), kMost) + "\"";
}

}  // namespace

std::optional<SyntaxError> findSyntaxError(std::string_view text) {
  try {
    SyntaxCheck(text).run();
  } catch (SyntaxError& error) {
    return std::move(error);
  }
  return std::nullopt;
}

std::optional<std::string_view> findMember(std::string_view text, std::string_view key) {
  try {
    return SyntaxCheck(text).takeMember(key);
  } catch (const SyntaxError&) {
    return std::nullopt;
  }
}

std::string jsonPath(std::span<const JsonStep> path) {
  constexpr std::size_t kMost = 8;
  std::string text = path.size() > kMost ? "…" : "";
  for (const JsonStep& step : path.last(std::min(path.size(), kMost))) {
    if (step.key) {
      text += (text.empty() ? "" : ".") + keyInPath(*step.key);
    } else {
      text += fmt::format("[{}]", step.index);
    }
  }
  return text;
}

std::optional<std::size_t> findPlace(std::string_view text, std::span<const JsonStep> path) {
  std::string_view value = text;
  for (const JsonStep& step : path) {
    const auto found = step.key ? findMember(value, *step.key) : findElement(value, step.index);
    if (!found) return std::nullopt;
    value = *found;
  }
  return static_cast<std::size_t>(value.data() - text.data());
}

}  // namespace tavik::tool
