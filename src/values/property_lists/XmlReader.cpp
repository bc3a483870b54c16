// Reads XML property lists.
//
// One pass over the document, element by element; a string without references is made straight from the document's
// bytes. Of XML there is all that property lists in the field hold: comments, processing instructions, CDATA, character
// references, the five named entities, a document type line that is passed over. Left out is what would make reading
// unsafe or slow: internal subsets, and with them entities of a document's own.

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

// What a character may be part of.
enum Class : std::uint8_t {
  kSpace = 1,
  kName = 2,
  kPlain = 4,  // character data that goes on without a closer look
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

constexpr const char* kControlCharacter = "a control character stands here, which XML does not allow";

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

// The first eight characters of a text as a number.
std::uint64_t packed(const char* text) noexcept {
  std::uint64_t number = 0;
  std::memcpy(&number, text, sizeof number);
  return number;
}

// What stands behind the "<" of a tag: up to eight characters, which are compared in one go.
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

// The character that "&reference;" stands for. Any Unicode character may be given by its number, NUL too: the writer
// makes use of that for characters that XML has no other form for.
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

// For messages, which are about tags of known elements.
std::string inBrackets(const Tag& tag) {
  return '<' + std::string(kElementNames[static_cast<std::size_t>(tag.element)]) + '>';
}

std::string_view withoutOuterSpace(std::string_view text) noexcept {
  const std::size_t start = text.find_first_not_of(kWhiteSpace);
  if (start == std::string_view::npos) return text.substr(text.size());
  return text.substr(start, text.find_last_not_of(kWhiteSpace) - start + 1);
}

// The text of an element, references resolved and line ends normalised.
struct Characters {
  std::string_view text;
  std::size_t offset;
  bool isVerbatim;  // `text` is the document's own, at `offset`

  // The place of a part of the text, as nearly as it can be told.
  [[nodiscard]] std::size_t offsetOf(std::string_view part) const noexcept {
    return isVerbatim ? offset + static_cast<std::size_t>(part.data() - text.data()) : offset;
  }
};

class XmlReader {
 public:
  XmlReader(std::string_view document, std::vector<ValueOffset>* offsets) noexcept
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

  // Up to and including the end tag.
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

  // The tag of the next element in `parent`; false when it has no more and its end tag has been read.
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
  void skipPast(std::string_view end, std::size_t start);

  [[nodiscard]] bool isAtEnd() const noexcept { return position_ == document_.size(); }
  // The character `ahead` of the next one; NUL beyond the end.
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

  // A "<" is of no class, so as long as one lies ahead, the end of the document need not be looked for.
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
  std::size_t pastBrackets_;  // where the last "<" ends; 0 without one
  OpenContainers open_;
  std::string scratch_;                // text that is not verbatim
  std::vector<ValueOffset>* offsets_;  // of all values, null if they are not wanted
};

Value XmlReader::read() {
  skipSpace();
  readDeclaration();
  requireUtf8(document_);
  skipBlank();
  if (isAt("<!DOCTYPE")) skipDocumentType();
  skipBlank();
  if (isAtEnd()) throw Refusal{position_, "the document has no element"};
  if (peek() != '<') throw Refusal{position_, "text stands before the first element"};
  Tag root;
  readTag(root);
  if (root.isEnd) throw Refusal{root.offset, "there is nothing that this tag could end"};
  Value value = root.element == Element::kPlist ? readPlist(root) : readRoot(root);
  skipBlank();
  if (!isAtEnd()) throw Refusal{position_, "something follows the end of the property list"};
  return value;
}

// Only the encoding matters, and it may not be another than the one that is read anyway.
void XmlReader::readDeclaration() {
  const std::size_t start = position_;
  if (!take("<?xml") || !isOf(kSpace, peek())) {
    position_ = start;  // an instruction of another name, if it is one
    return;
  }
  skipSpace();
  while (!take("?>")) {
    const std::size_t offset = position_;
    const std::optional<Attribute> attribute = takeAttribute();
    if (!attribute) throw Refusal{offset, "the XML declaration is malformed"};
    if (attribute->name == "encoding" && !isReadableEncoding(attribute->value)) {
      throw Refusal{offset, "the encoding " + quoted(attribute->value) + " is not supported; only UTF-8 is read"};
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
    if (isAtEnd()) throw Refusal{start, "the document type line does not end"};
    if (peek() == '[') throw Refusal{next, "the document type line holds declarations, which are not supported"};
    ++position_;
    skipPast(document_.substr(next, 1), next);
  }
}

Value XmlReader::readPlist(const Tag& tag) {
  Tag child;
  if (!readChild(tag, child)) throw Refusal{tag.offset, "<plist> has no value in it"};
  Value value = readRoot(child);
  if (readChild(tag, child)) throw Refusal{child.offset, "<plist> has a second value in it"};
  return value;
}

// `depth` is the one that the value has if it is a container.
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
      throw Refusal{tag.offset, "a <key> stands where a value should"};
    case Element::kPlist:
      throw Refusal{tag.offset, "<plist> may only be the outermost element"};
    case Element::kUnknown:
      break;
  }
  position_ = tag.offset + 1;
  throw Refusal{tag.offset, "property lists have no element named " + quoted(takeAll(kName))};
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
    if (child.element != Element::kKey) throw Refusal{keyOffset, "a <key> is missing before this element"};
    Value key = readString(child);
    if (!readChild(tag, child)) throw Refusal{keyOffset, "this key has no value"};
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
  if (wrong != text.end()) throw Refusal{characters.offsetOf({wrong, 1}), "this is not base64 text"};
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

// What stands where plain text stops, unless it is a tag.
void XmlReader::appendSpecial(const Tag& tag) {
  requireMore(tag);
  if (isAt("<![CDATA[")) return appendCharacterData();
  if (skipComment()) return;
  if (peek() == '<') throw Refusal{position_, "an element stands in the text of " + inBrackets(tag)};
  if (peek() == '&') return appendReference();
  if (!take('\r')) throw Refusal{position_, kControlCharacter};
  take('\n');
  scratch_ += '\n';
}

void XmlReader::appendCharacterData() {
  constexpr std::string_view kBegin = "<![CDATA[";
  constexpr std::string_view kEnd = "]]>";
  const std::size_t end = document_.find(kEnd, position_ + kBegin.size());
  if (end == std::string_view::npos) throw Refusal{position_, "this CDATA section does not end"};
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
    throw Refusal{start, R"("&" begins no character reference that is known; for the character itself write "&amp;")"};
  }
  appendUtf8(scratch_, *character);
  position_ = end + 1;
}

// A tag as it is nearly always written, without white space or attributes.
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
    throw Refusal{position_, "something other than an element stands in " + inBrackets(parent)};
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

// White space, attributes, the end.
void XmlReader::readRestOfTag(Tag& tag) {
  while (true) {
    const bool isSpaced = skipSpace();
    if (take('>')) return;
    tag.isEmpty = !tag.isEnd && take("/>");
    if (tag.isEmpty) return;
    if (tag.isEnd || !isSpaced || !takeAttribute()) throw Refusal{tag.offset, "this tag is malformed"};
  }
}

// The end tag of `tag`, if there is one here.
bool XmlReader::takeEndTag(const Tag& tag) {
  if (peek() != '<' || peek(1) != '/') return false;
  Tag end;
  readTag(end);
  requireEndOf(tag, end);
  return true;
}

void XmlReader::requireMore(const Tag& open) const {
  if (!isAtEnd()) return;
  throw Refusal{position_, "the document ends inside the " + inBrackets(open) + " of", open.offset};
}

void XmlReader::refuseEnd(const Tag& begin, const Tag& end) {
  throw Refusal{end.offset, "this tag ends no " + inBrackets(begin) + ", which is open from", begin.offset};
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

// White space, comments and instructions.
void XmlReader::skipBlank() {
  do {
    skipSpace();
  } while (skipComment());
}

bool XmlReader::skipComment() {
  if (peek() != '<' || (peek(1) != '!' && peek(1) != '?')) return false;
  const std::size_t start = position_;
  if (take("<!--")) {
    skipPast("-->", start);
  } else if (take("<?")) {
    skipPast("?>", start);
  }
  return position_ != start;
}

void XmlReader::skipPast(std::string_view end, std::size_t start) {
  const std::size_t found = document_.find(end, position_);
  if (found == std::string_view::npos) {
    throw Refusal{start, "what begins here does not end: " + quoted(end) + " is missing"};
  }
  position_ = found + end.size();
}

}  // namespace

Value readXmlPropertyList(std::string_view document, std::vector<ValueOffset>* offsets) {
  return XmlReader(document, offsets).read();
}

}  // namespace tavik
