// Finds the tokens of a text in each format, and continues after malformed parts.

#include <algorithm>

#include "lsp/Outline.h"

namespace tavik::tool::lsp {
namespace {

using Kind = OutlineNode::Kind;

/// The position after the next `end` from `from` on, or the end of the text.
std::size_t after(std::string_view text, std::string_view end, std::size_t from) {
  const std::size_t found = text.find(end, from);
  return found == std::string_view::npos ? text.size() : found + end.size();
}

std::size_t endOfLine(std::string_view text, std::size_t from) {
  while (from < text.size() && text[from] != '\r' && text[from] != '\n') ++from;
  return from;
}

class XmlScanner {
 public:
  XmlScanner(std::string_view text, OutlineBuilder& builder) : text_(text), builder_(builder) {}

  void scan() {
    while (!builder_.isFull() && (at_ = text_.find('<', at_)) != std::string_view::npos) readTag();
  }

 private:
  [[nodiscard]] bool isAt(std::string_view word) const { return text_.substr(at_).starts_with(word); }

  void readTag() {
    if (isAt("<!--")) {
      at_ = after(text_, "-->", at_);
    } else if (isAt("<!") || isAt("<?")) {
      at_ = after(text_, ">", at_);
    } else if (isAt("</")) {
      if (isAt("</dict")) builder_.close(Kind::kDictionary, after(text_, ">", at_));
      if (isAt("</array")) builder_.close(Kind::kArray, after(text_, ">", at_));
      at_ = after(text_, ">", at_);
    } else {
      readElement();
    }
  }

  void readElement() {
    const std::size_t begin = at_;
    const std::size_t tagEnd = std::min(text_.find_first_of("<>", begin + 1), text_.size());
    const std::string_view tag = text_.substr(begin + 1, tagEnd - begin - 1);
    at_ = tagEnd;
    if (tagEnd == text_.size() || text_[tagEnd] == '<') return;  // a tag that is being written
    ++at_;
    const std::string_view name = tag.substr(0, tag.find_first_of(" \t\r\n/"));
    const bool isEmpty = tag.ends_with('/');
    if (name == "dict" || name == "array") {
      const Kind kind = name == "dict" ? Kind::kDictionary : Kind::kArray;
      builder_.open(kind, begin);
      if (isEmpty) builder_.close(kind, at_);
    } else if (name != "plist") {
      const Token token = isEmpty ? Token{{begin, at_}, {begin, begin}} : readContent(begin, name);
      if (name == "key") {
        builder_.key(token);
      } else {
        builder_.scalar(name == "string" ? Kind::kString : Kind::kOther, token);
      }
    }
  }

  /// The element whose content begins here. One without an end tag ends with the line.
  Token readContent(std::size_t begin, std::string_view name) {
    const std::size_t content = at_;
    while ((at_ = std::min(text_.find('<', at_), text_.size())) < text_.size() && isAt("<![CDATA[")) {
      at_ = after(text_, "]]>", at_);
    }
    const std::size_t contentEnd = at_;
    if (isAt("</") && text_.substr(at_ + 2).starts_with(name)) {
      at_ = after(text_, ">", at_);
      return {{begin, at_}, {content, contentEnd}};
    }
    const std::size_t end = endOfLine(text_.substr(0, contentEnd), content);
    return {{begin, end}, {content, end}};
  }

  std::string_view text_;
  OutlineBuilder& builder_;
  std::size_t at_ = 0;
};

class TextScanner {
 public:
  TextScanner(std::string_view text, Format format, OutlineBuilder& builder)
      : text_(text), isJson_(format == Format::kJson), endsWithLine_(isJson_), builder_(builder) {}

  void scan() {
    while (!builder_.isFull() && at_ < text_.size()) readToken();
  }

 private:
  void readToken() {
    const char character = text_[at_];
    if (!isJson_ && text_.substr(at_).starts_with("//")) {
      at_ = endOfLine(text_, at_);
    } else if (!isJson_ && text_.substr(at_).starts_with("/*")) {
      at_ = after(text_, "*/", at_);
    } else if (character == '{' || character == '[' || character == '(') {
      builder_.open(character == '{' ? Kind::kDictionary : Kind::kArray, at_++);
    } else if (character == '}' || character == ']' || character == ')') {
      builder_.close(character == '}' ? Kind::kDictionary : Kind::kArray, ++at_);
    } else if (character == ',' || character == ';') {
      builder_.endEntry();
      ++at_;
    } else if (character == '"' || (!isJson_ && character == '\'')) {
      add(Kind::kString, readQuoted(character));
    } else if (!isJson_ && character == '<') {
      const std::size_t begin = at_;
      at_ = after(text_.substr(0, endOfLine(text_, at_)), ">", at_);
      add(Kind::kOther, {{begin, at_}, {begin, at_}});
    } else if (isPlain(character)) {
      const std::size_t begin = at_;
      while (at_ < text_.size() && isPlain(text_[at_])) ++at_;
      add(isJson_ ? Kind::kOther : Kind::kString, {{begin, at_}, {begin, at_}});
    } else {
      ++at_;
    }
  }

  void add(Kind kind, const Token& token) {
    if (builder_.expectsKey()) {
      builder_.key(token);
    } else {
      builder_.scalar(kind, token);
    }
  }

  /// Whether it belongs to a word without quotes.
  [[nodiscard]] bool isPlain(char character) const {
    constexpr std::string_view kOthers = " \t\r\n\v\f{}[]()\"'<>,;=";
    return kOthers.find(character) == std::string_view::npos && !(isJson_ && character == ':');
  }

  /// A string without a second quote ends with the line, and so do all strings after it: each is searched only once.
  Token readQuoted(char quote) {
    const std::size_t begin = at_++;
    std::size_t end = at_;
    for (; end < text_.size() && text_[end] != quote; ++end) {
      if (endsWithLine_ && (text_[end] == '\r' || text_[end] == '\n')) break;
      if (text_[end] == '\\' && end + 1 < text_.size()) ++end;
    }
    if (end < text_.size() && text_[end] == quote) {
      at_ = end + 1;
      return {{begin, at_}, {begin + 1, end}};
    }
    endsWithLine_ = true;
    at_ = endOfLine(text_, begin);
    return {{begin, at_}, {begin + 1, at_}};
  }

  std::string_view text_;
  bool isJson_;
  bool endsWithLine_;  // whether strings do
  OutlineBuilder& builder_;
  std::size_t at_ = 0;
};

}  // namespace

void scanXml(std::string_view text, OutlineBuilder& builder) { XmlScanner(text, builder).scan(); }

void scanText(std::string_view text, Format format, OutlineBuilder& builder) {
  TextScanner(text, format, builder).scan();
}

}  // namespace tavik::tool::lsp
