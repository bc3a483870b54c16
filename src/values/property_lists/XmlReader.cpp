// Reads XML property lists.
//
// Reads the document in one pass, element by element; a string without references is made directly from the document's
// bytes. Supports the parts of XML that property lists use: comments, processing instructions, CDATA, character
// references, the five named entities, and a document type declaration, which is skipped. Internal subsets, and with
// them user-defined entities, are not supported, because they would make reading unsafe or slow.

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <limits>
#include <system_error>
#include <utility>

#include "values/Numbers.h"
#include "values/SharedContents.h"
#include "values/Text.h"
#include "values/ValueAccess.h"
#include "values/property_lists/Base64.h"
#include "values/property_lists/Encodings.h"

namespace tavik {
namespace {

using detail::ValueAccess;

constexpr std::string_view kWhiteSpace = " \t\r\n";

// Character classes, as a bit set.
enum Class : std::uint8_t {
  kSpace = 1,
  kName = 2,
  kPlain = 4,  // character data that is taken over unchanged
};
constexpr std::array<std::uint8_t, 256> kClasses = [] {
  std::array<std::uint8_t, 256> classes{};
  for (std::size_t byte = 0x20; byte < classes.size(); ++byte) {
    const auto character = static_cast<char>(byte);
    if (character != ' ' && std::string_view("\"&'/<=>").find(character) == std::string_view::npos)
      classes[byte] |= kName;
    if (character != '<' && character != '&') classes[byte] |= kPlain;
  }
  classes['\t'] = classes['\n'] = kPlain;
  for (const char space : kWhiteSpace) classes[static_cast<unsigned char>(space)] |= kSpace;
  return classes;
}();
bool isOf(Class wanted, char character) noexcept {
  return (kClasses[static_cast<unsigned char>(character)] & wanted) != 0;
}

bool isSpace(char character) noexcept { return isOf(kSpace, character); }

bool isDigit(char character) noexcept { return character >= '0' && character <= '9'; }

bool isForbiddenControl(char character) noexcept {
  return static_cast<unsigned char>(character) < 0x20 && !isOf(kSpace, character);
}

constexpr const char* kControlCharacter = "control characters are not allowed in XML";

enum class Element : std::uint8_t {
  kArray,
  kData,
  kDate,
  kDictionary,
  kFalse,
  kInteger,
  kKey,
  kPlist,
  kReal,
  kString,
  kTrue,
  kUnknown,
};
constexpr std::string_view kElementNames[] = {"array", "data",  "date", "dict",   "false", "integer",
                                              "key",   "plist", "real", "string", "true"};
static_assert(std::size(kElementNames) == static_cast<std::size_t>(Element::kUnknown));

// The first eight characters of `text` as a number.
std::uint64_t packed(const char* text) noexcept {
  std::uint64_t number = 0;
  std::memcpy(&number, text, sizeof number);
  return number;
}

// The characters after the "<" of a tag, up to eight, which are compared at once.
struct PlainTag {
  constexpr PlainTag(std::string_view characters, Element named) noexcept
      : size(characters.size() + 1),
        element(named),
        isEnd(characters.starts_with('/')),
        isEmpty(characters.ends_with("/>")) {
    std::array<unsigned char, 8> bytes{};
    std::array<unsigned char, 8> wanted{};
    std::ranges::copy(characters, bytes.begin());
    std::fill_n(wanted.begin(), characters.size(), static_cast<unsigned char>(0xFF));
    text = std::bit_cast<std::uint64_t>(bytes);
    mask = std::bit_cast<std::uint64_t>(wanted);
  }
  std::uint64_t text = 0;
  std::uint64_t mask = 0;
  std::size_t size;
  Element element;
  bool isEnd;
  bool isEmpty;
};
constexpr PlainTag kPlainTags[] = {
    {"key>", Element::kKey},         {"string>", Element::kString},   {"/dict>", Element::kDictionary},
    {"dict>", Element::kDictionary}, {"integer>", Element::kInteger}, {"/array>", Element::kArray},
    {"array>", Element::kArray},     {"true/>", Element::kTrue},      {"false/>", Element::kFalse},
    {"data>", Element::kData},       {"real>", Element::kReal},
};

Element elementNamed(std::string_view name) noexcept {
  return static_cast<Element>(std::ranges::find(kElementNames, name) - std::begin(kElementNames));
}

// The character that "&reference;" stands for. Any Unicode character may be given by its number, including NUL: the
// writer uses this for characters that are not allowed in XML.
std::optional<char32_t> referredCharacter(std::string_view reference) noexcept {
  constexpr std::pair<std::string_view, char32_t> kNamed[] = {
      {"lt", U'<'}, {"gt", U'>'}, {"amp", U'&'}, {"quot", U'"'}, {"apos", U'\''},
  };
  for (const auto& [name, character] : kNamed) {
    if (reference == name) return character;
  }
  if (!reference.starts_with('#')) return std::nullopt;
  const bool isHexadecimal = reference.starts_with("#x");
  const std::string_view digits = reference.substr(isHexadecimal ? 2 : 1);
  std::uint32_t number = 0;
  const char* digitsEnd = digits.data() + digits.size();
  const auto [end, error] = std::from_chars(digits.data(), digitsEnd, number, isHexadecimal ? 16 : 10);
  if (error != std::errc() || end != digitsEnd) return std::nullopt;
  if (number > 0x10FFFF || (number >= 0xD800 && number <= 0xDFFF)) return std::nullopt;
  return static_cast<char32_t>(number);
}

bool isReadableEncoding(std::string_view name) {
  std::string upperCase(name);
  for (char& letter : upperCase) {
    if (letter >= 'a' && letter <= 'z') letter = static_cast<char>(letter - 'a' + 'A');
  }
  return upperCase == "UTF-8" || upperCase == "US-ASCII";
}

struct Tag {
  std::size_t offset = 0;  // of its "<"
  Element element = Element::kUnknown;
  bool isEnd = false;
  bool isEmpty = false;  // "<name/>"
};

// For messages; the element must be known.
std::string inBrackets(const Tag& tag) {
  return '<' + std::string(kElementNames[static_cast<std::size_t>(tag.element)]) + '>';
}

std::string_view withoutOuterSpace(std::string_view text) noexcept {
  const std::size_t start = text.find_first_not_of(kWhiteSpace);
  if (start == std::string_view::npos) return text.substr(text.size());
  return text.substr(start, text.find_last_not_of(kWhiteSpace) - start + 1);
}

// The text of an element, with references resolved and line ends normalized.
struct Characters {
  std::string_view text;
  std::size_t offset;
  bool isVerbatim;  // `text` is a part of the document, at `offset`

  // The location of a part of the text; the start of the text if it is not verbatim.
  [[nodiscard]] std::size_t offsetOf(std::string_view part) const noexcept {
    return isVerbatim ? offset + static_cast<std::size_t>(part.data() - text.data()) : offset;
  }
};

class XmlReader {
 public:
  XmlReader(std::string_view document, std::vector<ValueOffset>* offsets)
      : document_(document), pastBrackets_(document.rfind('<') + 1), offsets_(offsets) {}

  Value read();

 private:
  void readDeclaration();
  void skipDocumentType();
  Value readPlist(const Tag& tag);
  Value readRoot(const Tag& tag) {
    note(tag);
    return readValue(tag, 1);
  }
  Value readValue(const Tag& tag, int depth) {
    return tag.element == Element::kString ? readString(tag) : readOtherValue(tag, depth);
  }
  Value readString(const Tag& tag) { return ValueAccess::string(readCharacters(tag).text); }
  void note(const Tag& tag, std::size_t keyOffset = ValueOffset::kNoKey) {
    if (offsets_ != nullptr) offsets_->push_back({tag.offset, keyOffset});
  }
  [[gnu::noinline]] Value readOtherValue(const Tag& tag, int depth);
  Array readArray(const Tag& tag, int depth);
  Dictionary readDictionary(const Tag& tag, int depth);
  Value readBoolean(const Tag& tag, bool truth);
  Value readInteger(const Tag& tag);
  Value readReal(const Tag& tag);
  Value readDate(const Tag& tag);
  Value readData(const Tag& tag);
  [[noreturn]] static void refuseData(const Characters& characters);

  // Reads up to and including the end tag.
  Characters readCharacters(const Tag& tag) {
    if (tag.isEmpty) return {{}, tag.offset, false};
    const std::size_t start = position_;
    const std::string_view plain = takeAll(kPlain);
    if (takePlainEndTag(tag) || takeEndTag(tag)) return {plain, start, true};
    return readSpecialCharacters(tag, plain);
  }
  [[gnu::noinline]] Characters readSpecialCharacters(const Tag& tag, std::string_view plain);
  void appendSpecial(const Tag& tag);
  void appendCharacterData();
  void appendReference();

  // Reads the tag of the next element in `parent`, or returns false after the end tag of `parent`.
  bool readChild(const Tag& parent, Tag& child) {
    if (parent.isEmpty) return false;
    skipSpace();
    if (!takePlainTag(child)) readOtherTag(parent, child);
    if (child.isEnd) requireEndOf(parent, child);
    return !child.isEnd;
  }
  void readTag(Tag& tag);
  bool takePlainTag(Tag& tag) noexcept;
  bool takePlainEndTag(const Tag& tag) noexcept {
    return tag.element == Element::kString ? take("</string>") : tag.element == Element::kKey && take("</key>");
  }
  [[gnu::noinline]] void readOtherTag(const Tag& parent, Tag& child);
  void readRestOfTag(Tag& tag);
  [[gnu::noinline]] bool takeEndTag(const Tag& tag);
  void requireMore(const Tag& open) const;
  static void requireEndOf(const Tag& begin, const Tag& end) {
    if (end.element != begin.element) refuseEnd(begin, end);
  }
  [[noreturn]] static void refuseEnd(const Tag& begin, const Tag& end);
  struct Attribute {
    std::string_view name;
    std::string_view value;
  };
  std::optional<Attribute> takeAttribute();
  void skipBlank();
  bool skipComment();
  bool skipSpace() noexcept { return !takeAll(kSpace).empty(); }
  // what: a noun for the construct that `end` terminates.
  void skipPast(std::string_view end, std::size_t start, std::string_view what);

  [[nodiscard]] bool isAtEnd() const noexcept { return position_ == document_.size(); }
  // The character `ahead` positions after the next one; NUL past the end.
  [[nodiscard]] char peek(std::size_t ahead = 0) const noexcept {
    return document_.size() - position_ > ahead ? document_[position_ + ahead] : '\0';
  }
  [[nodiscard]] std::string_view rest() const noexcept {
    return {document_.data() + position_, document_.size() - position_};
  }
  [[nodiscard]] bool isAt(std::string_view text) const noexcept { return rest().starts_with(text); }
  bool take(char character) noexcept {
    if (isAtEnd() || document_[position_] != character) return false;
    ++position_;
    return true;
  }
  bool take(std::string_view text) noexcept {
    if (!isAt(text)) return false;
    position_ += text.size();
    return true;
  }

  // "<" belongs to no class, so the end of the document need not be checked before the last "<".
  std::string_view takeAll(Class wanted) noexcept {
    const char* const start = document_.data() + position_;
    const char* next = start;
    if (position_ < pastBrackets_) {
      while (isOf(wanted, *next)) ++next;
    } else {
      const char* const end = document_.data() + document_.size();
      while (next != end && isOf(wanted, *next)) ++next;
    }
    position_ += static_cast<std::size_t>(next - start);
    return {start, next};
  }

  std::string_view document_;
  std::size_t position_ = 0;
  std::size_t pastBrackets_;  // the position after the last "<"; 0 if there is none
  OpenContainers open_;
  std::string scratch_;                // text that is not verbatim
  std::vector<ValueOffset>* offsets_;  // of all values; may be null
};

Value XmlReader::read() {
  skipSpace();
  readDeclaration();
  requireUtf8(document_);
  skipBlank();
  if (isAt("<!DOCTYPE")) skipDocumentType();
  skipBlank();
  if (isAtEnd()) throw Refusal{position_, "the document has no elements"};
  if (peek() != '<') throw Refusal{position_, "unexpected text before the first element"};
  Tag root;
  readTag(root);
  if (root.isEnd) throw Refusal{root.offset, "unexpected end tag"};
  Value value = root.element == Element::kPlist ? readPlist(root) : readRoot(root);
  skipBlank();
  if (!isAtEnd()) throw Refusal{position_, "unexpected content after the property list"};
  return value;
}

// Only the encoding is read, and only to reject an unsupported one.
void XmlReader::readDeclaration() {
  const std::size_t start = position_;
  if (!take("<?xml") || !isOf(kSpace, peek())) {
    position_ = start;  // not a declaration; possibly another processing instruction
    return;
  }
  skipSpace();
  while (!take("?>")) {
    const std::size_t offset = position_;
    const std::optional<Attribute> attribute = takeAttribute();
    if (!attribute) throw Refusal{offset, "malformed XML declaration"};
    if (attribute->name == "encoding" && !isReadableEncoding(attribute->value)) {
      throw Refusal{offset, "the encoding " + quoted(attribute->value) + " is not supported; use UTF-8"};
    }
    skipSpace();
  }
}

void XmlReader::skipDocumentType() {
  const std::size_t start = position_;
  while (true) {
    const std::size_t next = std::min(document_.find_first_of(">[\"'", position_), document_.size());
    position_ = next;
    if (take('>')) return;
    if (isAtEnd()) throw Refusal{start, "unterminated document type declaration"};
    if (peek() == '[') throw Refusal{next, "internal subsets of document type declarations are not supported"};
    ++position_;
    skipPast(document_.substr(next, 1), next, "string");
  }
}

Value XmlReader::readPlist(const Tag& tag) {
  Tag child;
  if (!readChild(tag, child)) throw Refusal{tag.offset, "<plist> contains no value"};
  Value value = readRoot(child);
  if (readChild(tag, child)) throw Refusal{child.offset, "<plist> contains more than one value"};
  return value;
}

// depth: the value's nesting depth if it is a container.
Value XmlReader::readOtherValue(const Tag& tag, int depth) {
  switch (tag.element) {
    case Element::kString:
      return readString(tag);
    case Element::kDictionary:
      return readDictionary(tag, depth);
    case Element::kArray:
      return readArray(tag, depth);
    case Element::kInteger:
      return readInteger(tag);
    case Element::kTrue:
      return readBoolean(tag, true);
    case Element::kFalse:
      return readBoolean(tag, false);
    case Element::kData:
      return readData(tag);
    case Element::kReal:
      return readReal(tag);
    case Element::kDate:
      return readDate(tag);
    case Element::kKey:
      throw Refusal{tag.offset, "unexpected <key>; expected a value"};
    case Element::kPlist:
      throw Refusal{tag.offset, "<plist> must be the outermost element"};
    case Element::kUnknown:
      break;
  }
  position_ = tag.offset + 1;
  throw Refusal{tag.offset, "unknown element " + quoted(takeAll(kName))};
}

Array XmlReader::readArray(const Tag& tag, int depth) {
  requireDepth(depth, tag.offset);
  const std::size_t begin = open_.openArray();
  Tag child;
  while (readChild(tag, child)) {
    note(child);
    open_.addElement(readValue(child, depth + 1));
  }
  return open_.closeArray(begin);
}

Dictionary XmlReader::readDictionary(const Tag& tag, int depth) {
  requireDepth(depth, tag.offset);
  const std::size_t begin = open_.openDictionary();
  Tag child;
  while (readChild(tag, child)) {
    const std::size_t keyOffset = child.offset;
    if (child.element != Element::kKey) throw Refusal{keyOffset, "expected a <key> before this element"};
    Value key = readString(child);
    if (!readChild(tag, child)) throw Refusal{keyOffset, "the key has no value"};
    note(child, keyOffset);
    open_.addEntry({std::move(key), readValue(child, depth + 1)}, keyOffset);
  }
  return open_.closeDictionary(begin);
}

Value XmlReader::readBoolean(const Tag& tag, bool truth) {
  const Characters characters = readCharacters(tag);
  const std::string_view text = withoutOuterSpace(characters.text);
  if (!text.empty()) throw Refusal{characters.offsetOf(text), inBrackets(tag) + " must be empty"};
  return Value(truth);
}

Value XmlReader::readInteger(const Tag& tag) {
  const Characters characters = readCharacters(tag);
  const std::string_view text = withoutOuterSpace(characters.text);
  std::string_view digits = text;
  const bool isNegative = digits.starts_with('-');
  if (isNegative || digits.starts_with('+')) digits.remove_prefix(1);
  const bool isHexadecimal = digits.starts_with("0x") || digits.starts_with("0X");
  if (isHexadecimal) digits.remove_prefix(2);
  std::uint64_t magnitude = 0;
  const char* digitsEnd = digits.data() + digits.size();
  const auto [end, error] = std::from_chars(digits.data(), digitsEnd, magnitude, isHexadecimal ? 16 : 10);
  if (error == std::errc::invalid_argument || end != digitsEnd) {
    throw Refusal{characters.offsetOf(text), quoted(text) + " is not an integer"};
  }
  const std::uint64_t largest = std::numeric_limits<std::int64_t>::max() + std::uint64_t{isNegative};
  if (error != std::errc() || magnitude > largest) {
    throw Refusal{characters.offsetOf(text), outOfIntegerRange(text)};
  }
  return Value(static_cast<std::int64_t>(isNegative ? 0 - magnitude : magnitude));
}

Value XmlReader::readReal(const Tag& tag) {
  const Characters characters = readCharacters(tag);
  const std::string_view text = withoutOuterSpace(characters.text);
  const std::string_view number = text.starts_with('+') && !text.starts_with("+-") ? text.substr(1) : text;
  double real = 0;
  const auto [end, error] = tavik::readReal(number, real);
  if (error != std::errc() || end != number.end()) {
    throw Refusal{characters.offsetOf(text), quoted(text) + " is not a number"};
  }
  if (std::isinf(real) && std::ranges::any_of(number, isDigit)) {
    throw Refusal{characters.offsetOf(text), quoted(text) + " is out of range for a 64-bit floating-point number"};
  }
  return Value(real);
}

Value XmlReader::readDate(const Tag& tag) {
  const Characters characters = readCharacters(tag);
  const std::string_view text = withoutOuterSpace(characters.text);
  if (const std::optional<Date> date = dateFromIsoText(text)) return *date;
  throw Refusal{characters.offsetOf(text),
                quoted(text) + " is not a date such as 2026-11-21T01:02:03Z, in the years 1 to 9999"};
}

// White space may be anywhere in the text.
Value XmlReader::readData(const Tag& tag) {
  const Characters characters = readCharacters(tag);
  std::string_view digits = characters.text;
  std::string spaceless;
  if (std::ranges::any_of(digits, isSpace)) {
    std::ranges::remove_copy_if(digits, std::back_inserter(spaceless), isSpace);
    digits = spaceless;
  }
  if (std::optional<Data> data = dataFromBase64(digits)) return *std::move(data);
  refuseData(characters);
}

void XmlReader::refuseData(const Characters& characters) {
  const std::string_view text = characters.text;
  const std::size_t padding = std::min(text.find('='), text.size());
  const auto wrong = std::ranges::find_if(text, [&](const char& character) {
    const bool isPadding = &character >= text.data() + padding;
    return !isSpace(character) && (isPadding ? character != '=' : !isBase64Digit(character));
  });
  if (wrong != text.end()) throw Refusal{characters.offsetOf({wrong, 1}), "invalid base64 text"};
  throw Refusal{characters.offset, "the last group of base64 digits is incomplete"};
}

Characters XmlReader::readSpecialCharacters(const Tag& tag, std::string_view plain) {
  const std::size_t start = position_ - plain.size();
  scratch_ = plain;
  while (!takeEndTag(tag)) {
    appendSpecial(tag);
    scratch_ += takeAll(kPlain);
  }
  return {scratch_, start, false};
}

// Appends what follows plain text, unless it is a tag.
void XmlReader::appendSpecial(const Tag& tag) {
  requireMore(tag);
  if (isAt("<![CDATA[")) return appendCharacterData();
  if (skipComment()) return;
  if (peek() == '<') throw Refusal{position_, "unexpected element inside " + inBrackets(tag)};
  if (peek() == '&') return appendReference();
  if (!take('\r')) throw Refusal{position_, kControlCharacter};
  take('\n');
  scratch_ += '\n';
}

void XmlReader::appendCharacterData() {
  constexpr std::string_view kBegin = "<![CDATA[";
  constexpr std::string_view kEnd = "]]>";
  const std::size_t end = document_.find(kEnd, position_ + kBegin.size());
  if (end == std::string_view::npos) throw Refusal{position_, "unterminated CDATA section: missing \"]]>\""};
  for (position_ += kBegin.size(); position_ < end; ++position_) {
    const char character = document_[position_];
    if (isForbiddenControl(character)) throw Refusal{position_, kControlCharacter};
    if (character != '\r') {
      scratch_ += character;
    } else if (document_[position_ + 1] != '\n') {
      scratch_ += '\n';
    }
  }
  position_ += kEnd.size();
}

void XmlReader::appendReference() {
  const std::size_t start = position_;
  const std::size_t end = document_.find(';', start);
  const std::string_view reference = document_.substr(start + 1, end == std::string_view::npos ? 0 : end - start - 1);
  const std::optional<char32_t> character = referredCharacter(reference);
  if (!character) {
    throw Refusal{start, R"(unknown character reference; write "&" as "&amp;")"};
  }
  appendUtf8(scratch_, *character);
  position_ = end + 1;
}

// Takes a tag without white space and attributes, the usual form.
bool XmlReader::takePlainTag(Tag& tag) noexcept {
  if (document_.size() - position_ <= sizeof(std::uint64_t) || peek() != '<') return false;
  const std::uint64_t next = packed(document_.data() + position_ + 1);
  for (const PlainTag& plain : kPlainTags) {
    if ((next & plain.mask) != plain.text) continue;
    tag = {position_, plain.element, plain.isEnd, plain.isEmpty};
    position_ += plain.size;
    return true;
  }
  return false;
}

void XmlReader::readOtherTag(const Tag& parent, Tag& child) {
  skipBlank();
  requireMore(parent);
  if (peek() != '<' || peek(1) == '!') {
    throw Refusal{position_, "unexpected text inside " + inBrackets(parent)};
  }
  readTag(child);
}

void XmlReader::readTag(Tag& tag) {
  tag = Tag();
  tag.offset = position_++;
  tag.isEnd = take('/');
  tag.element = elementNamed(takeAll(kName));
  if (!take('>')) readRestOfTag(tag);
}

// Reads white space, attributes and the end of the tag.
void XmlReader::readRestOfTag(Tag& tag) {
  while (true) {
    const bool isSpaced = skipSpace();
    if (take('>')) return;
    tag.isEmpty = !tag.isEnd && take("/>");
    if (tag.isEmpty) return;
    if (tag.isEnd || !isSpaced || !takeAttribute()) throw Refusal{tag.offset, "malformed tag"};
  }
}

// Takes the end tag of `tag` if it is next. Rejects other end tags.
bool XmlReader::takeEndTag(const Tag& tag) {
  if (peek() != '<' || peek(1) != '/') return false;
  Tag end;
  readTag(end);
  requireEndOf(tag, end);
  return true;
}

void XmlReader::requireMore(const Tag& open) const {
  if (!isAtEnd()) return;
  throw Refusal{position_, "unexpected end inside the " + inBrackets(open) + " opened at", open.offset};
}

void XmlReader::refuseEnd(const Tag& begin, const Tag& end) {
  throw Refusal{end.offset, "mismatched end tag; expected the end of the " + inBrackets(begin) + " opened at",
                begin.offset};
}

std::optional<XmlReader::Attribute> XmlReader::takeAttribute() {
  Attribute attribute;
  attribute.name = takeAll(kName);
  skipSpace();
  if (attribute.name.empty() || !take('=')) return std::nullopt;
  skipSpace();
  const char quote = peek();
  if (quote != '"' && quote != '\'') return std::nullopt;
  const std::size_t start = ++position_;
  const std::size_t end = document_.find(quote, start);
  if (end == std::string_view::npos) return std::nullopt;
  attribute.value = document_.substr(start, end - start);
  if (attribute.value.find('<') != std::string_view::npos) return std::nullopt;
  position_ = end + 1;
  return attribute;
}

// Skips white space, comments and processing instructions.
void XmlReader::skipBlank() {
  do {
    skipSpace();
  } while (skipComment());
}

bool XmlReader::skipComment() {
  if (peek() != '<' || (peek(1) != '!' && peek(1) != '?')) return false;
  const std::size_t start = position_;
  if (take("<!--")) {
    skipPast("-->", start, "comment");
  } else if (take("<?")) {
    skipPast("?>", start, "processing instruction");
  }
  return position_ != start;
}

void XmlReader::skipPast(std::string_view end, std::size_t start, std::string_view what) {
  const std::size_t found = document_.find(end, position_);
  if (found == std::string_view::npos) {
    throw Refusal{start, "unterminated " + std::string(what) + ": missing " + quoted(end)};
  }
  position_ = found + end.size();
}

}  // namespace

Value readXmlPropertyList(std::string_view document, std::vector<ValueOffset>* offsets) {
  return XmlReader(document, offsets).read();
}

}  // namespace tavik
