#include "lint/Positions.h"

#include <algorithm>
#include <string>
#include <utility>

namespace tavik::tool::lint {
namespace {

constexpr std::string_view kSpace = " \t\r\n\v\f";

class Walker {
 public:
  explicit Walker(std::string_view file) : file_(file) {}

 protected:
  [[nodiscard]] bool isAt(std::string_view text) const { return file_.substr(position_).starts_with(text); }
  [[nodiscard]] bool isAtEnd() const { return position_ >= file_.size(); }
  [[nodiscard]] char next() const { return file_[position_]; }
  void skipPast(std::string_view end) {
    const std::size_t found = file_.find(end, position_);
    position_ = found == std::string_view::npos ? file_.size() : found + end.size();
  }
  void addValue(std::size_t offset) {
    offsets_.push_back({offset, key_});
    key_.reset();
  }

  std::string_view file_;
  std::size_t position_ = 0;
  std::optional<std::size_t> key_;  // of the value to come
  std::vector<Offsets> offsets_;
};

/// Each start tag is a value, but for those of keys and of the property list itself.
class XmlWalker : Walker {
 public:
  using Walker::Walker;

  std::vector<Offsets> walk() && {
    for (skipTo('<'); !isAtEnd(); skipTo('<')) {
      if (isAt("<!--")) {
        skipPast("-->");
      } else if (isAt("<![CDATA[")) {
        skipPast("]]>");
      } else if (isAt("<?")) {
        skipPast("?>");
      } else {
        readTag();
      }
    }
    return std::move(offsets_);
  }

 private:
  void skipTo(char character) { position_ = std::min(file_.find(character, position_), file_.size()); }

  void readTag() {
    const std::size_t start = position_++;
    const std::size_t nameEnd = std::min(file_.find_first_of(" \t\r\n/>", position_ + 1), file_.size());
    const std::string_view name = file_.substr(position_, nameEnd - position_);
    while (!isAtEnd() && next() != '>') {
      const char quote = next();
      ++position_;
      if (quote == '"' || quote == '\'') skipPast({&quote, 1});
    }
    if (name == "key") {
      key_ = start;
    } else if (name != "plist" && !name.starts_with('/') && !name.starts_with('!')) {
      addValue(start);
    }
  }
};

class TextWalker : Walker {
 public:
  using Walker::Walker;

  std::vector<Offsets> walk() && {
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    if (isAt(kByteOrderMark)) position_ = kByteOrderMark.size();
    for (skipBlank(); !isAtEnd(); skipBlank()) readToken();
    return std::move(offsets_);
  }

 private:
  void skipBlank() {
    while (!isAtEnd()) {
      if (isAt("//")) {
        position_ = std::min(file_.find_first_of("\r\n", position_), file_.size());
      } else if (isAt("/*")) {
        skipPast("*/");
      } else if (kSpace.find(next()) != std::string_view::npos) {
        ++position_;
      } else {
        return;
      }
    }
  }

  void readToken() {
    const std::size_t start = position_;
    switch (next()) {
      case '{':
      case '(':
        addValue(start);
        containers_.push_back(next());
        atKey_ = next() == '{';
        ++position_;
        break;
      case '}':
      case ')':
        if (!containers_.empty()) containers_.pop_back();
        ++position_;
        break;
      case ';':
        atKey_ = true;
        ++position_;
        break;
      case '=':
      case ',':
        atKey_ = false;
        ++position_;
        break;
      case '<':
        addValue(start);
        skipPast(">");
        break;
      default:
        skipString();
        readString(start);
    }
  }

  void readString(std::size_t start) {
    const bool isKey = atKey_ && !containers_.empty() && containers_.back() == '{';
    if (isKey) {
      key_ = start;
    } else {
      addValue(start);
    }
  }

  void skipString() {
    const char quote = next();
    if (quote != '"' && quote != '\'') {
      position_ = std::min(file_.find_first_of(" \t\r\n\v\f{}()<>;=,\"'", position_ + 1), file_.size());
      return;
    }
    for (++position_; !isAtEnd() && next() != quote; ++position_) {
      if (next() == '\\') ++position_;
    }
    ++position_;
  }

  std::string containers_;
  bool atKey_ = false;
};

}  // namespace

std::vector<Offsets> offsetsOfValues(std::string_view file) {
  const std::size_t start = file.find_first_not_of(kSpace);
  if (start == std::string_view::npos) return {};
  // Old-style data begins with the same character as XML, but is no document of rules.
  return file[start] == '<' || file.starts_with("\xEF\xBB\xBF<") ? XmlWalker(file).walk() : TextWalker(file).walk();
}

Position PositionFinder::at(std::size_t offset) {
  for (; offset_ < std::min(offset, file_.size()); ++offset_) {
    const auto byte = static_cast<unsigned char>(file_[offset_]);
    if (byte == '\n') {
      position_ = {position_.line + 1, 1};
    } else if ((byte & 0xC0U) != 0x80U) {
      ++position_.column;
    }
  }
  return position_;
}

}  // namespace tavik::tool::lint
